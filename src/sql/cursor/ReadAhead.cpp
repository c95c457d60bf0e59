// SPDX-License-Identifier: MIT
#include "sql/cursor/ReadAhead.h"

#include "core/BusyCursor.h"

#include <charconv>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>

namespace Brennvox10::data {

namespace {

using Clock = std::chrono::steady_clock;

// Small at first, so that the first rows come at once; then big enough that handing a batch over
// costs nothing next to its rows, and small enough to stay in the caches.
constexpr int firstBatchRows = 64, maxBatchRows = 512;
constexpr size_t batchBytes = 64 * 1024;
// Batches read and not yet taken: the reader waits beyond these, so memory stays bounded.
constexpr size_t queueDepth = 3;
// While the caller waits, what there is goes over once it is this much or this old.
constexpr int waitedRows = 256;
constexpr auto waitedAge = std::chrono::milliseconds(10);
constexpr auto waitSlice = std::chrono::milliseconds(20);

struct Cell {
    union {
        qint64 integer;
        double real;
    };
    quint32 offset; // of the text or bytes in the batch
    quint32 size;
    Storage storage;
    bool hasText; // a number whose text is kept too
};

struct Batch {
    std::vector<Cell> cells; // row after row, every column
    std::vector<char> bytes;
    int rows = 0;
};

// Columns whose numbers are read as text (a text column holding numbers) keep the text the engine
// gives, so that it stays exactly the engine's.
bool readAsNumber(int declaredType)
{
    switch (declaredType) {
    case AdoType::SmallInt:
    case AdoType::Integer:
    case AdoType::BigInt:
    case AdoType::Single:
    case AdoType::Double:
    case AdoType::Currency:
    case AdoType::Decimal:
    case AdoType::Boolean:
    case AdoType::Date:
        return true;
    default:
        return false;
    }
}

class ReadAheadCursor final : public Cursor {
public:
    ReadAheadCursor(std::unique_ptr<Cursor> inner, qint64 maxRows)
        : m_inner(std::move(inner))
        , m_maxRows(maxRows)
    {
        columns = m_inner->columns;
        m_columnCount = columns.size();
        m_keepText.resize(m_columnCount);
        for (size_t i = 0; i < m_columnCount; ++i)
            m_keepText[i] = !readAsNumber(columns[i].declaredType);
        m_formatted.resize(m_columnCount);
        m_thread = std::thread([this] { read(); });
    }

    ~ReadAheadCursor() override
    {
        {
            std::lock_guard lock(m_mutex);
            m_abandoned = true;
            m_inner->stopRequested = true;
        }
        m_changed.notify_all();
        if (m_thread.joinable())
            m_thread.join();
    }

    bool next() override
    {
        if (m_current && ++m_index < m_current->rows) {
            m_row = m_current->cells.data() + size_t(m_index) * m_columnCount;
            return true;
        }
        return takeBatch();
    }

    Storage storage(int column) const override { return m_row[column].storage; }
    qint64 integer(int column) const override { return m_row[column].integer; }
    double real(int column) const override { return m_row[column].real; }
    QByteArrayView text(int column) const override
    {
        const Cell &cell = m_row[column];
        if (cell.storage == Storage::Text || cell.storage == Storage::Blob || cell.hasText)
            return { m_current->bytes.data() + cell.offset, qsizetype(cell.size) };
        if (cell.storage == Storage::Null)
            return {};
        return formatted(column, cell);
    }
    QByteArrayView blob(int column) const override { return text(column); }
    bool peek(int rows, int column, Storage &storage, qint64 &integer, QByteArrayView &text) const override
    {
        if (!m_current || m_index + rows >= m_current->rows)
            return false;
        const Cell &cell = m_current->cells[size_t(m_index + rows) * m_columnCount + size_t(column)];
        storage = cell.storage;
        integer = cell.integer;
        text = cell.hasText ? QByteArrayView(m_current->bytes.data() + cell.offset, qsizetype(cell.size)) : QByteArrayView();
        return true;
    }

private:
    // The reader thread: rows into batches until the end, the row limit, a Failure or the wrapper's end.
    void read()
    {
        std::unique_ptr<Batch> batch = freshBatch();
        int wanted = firstBatchRows;
        Clock::time_point begun = Clock::now();
        std::exception_ptr failure;
        try {
            for (qint64 read = 0; batch && (m_maxRows < 0 || read < m_maxRows); ++read) {
                if (!m_inner->next())
                    break;
                copyRow(*batch);
                if (batch->rows >= wanted || batch->bytes.size() >= batchBytes
                    || (m_waiting.load(std::memory_order_relaxed)
                        && (batch->rows >= waitedRows || Clock::now() - begun >= waitedAge))) {
                    publish(std::move(batch));
                    batch = freshBatch();
                    wanted = std::min(wanted * 4, maxBatchRows);
                    begun = Clock::now();
                }
            }
        } catch (...) {
            failure = std::current_exception();
        }
        std::lock_guard lock(m_mutex);
        if (batch && batch->rows > 0)
            m_ready.push_back(std::move(batch));
        m_failure = failure;
        m_finished = true;
        m_changed.notify_all();
    }

    void copyRow(Batch &batch)
    {
        for (size_t c = 0; c < m_columnCount; ++c) {
            const int column = int(c);
            Cell cell {};
            cell.storage = m_inner->storage(column);
            switch (cell.storage) {
            case Storage::Integer:
                cell.integer = m_inner->integer(column);
                if (m_keepText[c])
                    keepBytes(batch, cell, m_inner->text(column));
                break;
            case Storage::Real:
                cell.real = m_inner->real(column);
                if (m_keepText[c])
                    keepBytes(batch, cell, m_inner->text(column));
                break;
            case Storage::Text:
                keepBytes(batch, cell, m_inner->text(column));
                break;
            case Storage::Blob:
                keepBytes(batch, cell, m_inner->blob(column));
                break;
            case Storage::Null:
                break;
            }
            batch.cells.push_back(cell);
        }
        ++batch.rows;
    }

    static void keepBytes(Batch &batch, Cell &cell, QByteArrayView bytes)
    {
        cell.offset = quint32(batch.bytes.size());
        cell.size = quint32(bytes.size());
        cell.hasText = true;
        batch.bytes.insert(batch.bytes.end(), bytes.begin(), bytes.end());
    }

    // A batch to fill, once there is room in the queue; null when the wrapper is going away. A stop
    // asked for does not wait: the inner cursor is about to fail, and that failure must come through.
    std::unique_ptr<Batch> freshBatch()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] {
            return m_abandoned || m_ready.size() < queueDepth || m_inner->stopRequested.load();
        });
        if (m_abandoned)
            return nullptr;
        if (m_spare.empty())
            return std::make_unique<Batch>();
        std::unique_ptr<Batch> batch = std::move(m_spare.back());
        m_spare.pop_back();
        batch->cells.clear();
        batch->bytes.clear();
        // A batch that once held a huge value does not keep its memory for the rest of the load.
        if (batch->bytes.capacity() > 8 * batchBytes)
            batch->bytes.shrink_to_fit();
        batch->rows = 0;
        return batch;
    }

    void publish(std::unique_ptr<Batch> batch)
    {
        std::lock_guard lock(m_mutex);
        m_ready.push_back(std::move(batch));
        m_changed.notify_all();
    }

    // The caller's side: the next batch, waiting for it with the window alive; at the end, the inner
    // cursor's Failure if it had one.
    bool takeBatch()
    {
        m_row = nullptr;
        if (m_ended)
            return false;
        noticeEsc();
        std::unique_lock lock(m_mutex);
        if (m_current)
            m_spare.push_back(std::move(m_current));
        while (m_ready.empty() && !m_finished) {
            m_waiting.store(true, std::memory_order_relaxed);
            if (m_changed.wait_for(lock, waitSlice, [&] { return !m_ready.empty() || m_finished; }))
                break;
            lock.unlock();
            busy::tickWaiting();
            noticeEsc();
            lock.lock();
        }
        m_waiting.store(false, std::memory_order_relaxed);
        if (!m_ready.empty()) {
            m_current = std::move(m_ready.front());
            m_ready.pop_front();
            m_changed.notify_all();
            m_index = 0;
            m_row = m_current->cells.data();
            return true;
        }
        lock.unlock();
        m_thread.join();
        m_ended = true;
        if (m_failure)
            std::rethrow_exception(std::exchange(m_failure, nullptr));
        return false;
    }

    void noticeEsc()
    {
        if (busy::cancelRequested() && !m_inner->stopRequested.load()) {
            std::lock_guard lock(m_mutex);
            m_inner->stopRequested = true;
            m_changed.notify_all();
        }
    }

    // A number asked for as text in a column read as numbers: the engine's usual forms.
    QByteArrayView formatted(int column, const Cell &cell) const
    {
        char digits[32];
        int size = 0;
        if (cell.storage == Storage::Integer) {
            size = int(std::to_chars(digits, digits + sizeof digits, cell.integer).ptr - digits);
        } else {
            size = std::snprintf(digits, sizeof digits, "%.15g", cell.real);
            if (QByteArrayView(digits, size).indexOf('.') < 0 && QByteArrayView(digits, size).indexOf('e') < 0
                && QByteArrayView(digits, size).indexOf('n') < 0)
                size += std::snprintf(digits + size, sizeof digits - size_t(size), ".0");
        }
        QByteArray &text = m_formatted[size_t(column)];
        text = QByteArray(digits, size);
        return text;
    }

    std::unique_ptr<Cursor> m_inner;
    const qint64 m_maxRows;
    size_t m_columnCount = 0;
    std::vector<bool> m_keepText;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::unique_ptr<Batch>> m_ready; // read, in order, not yet taken
    std::vector<std::unique_ptr<Batch>> m_spare; // taken and done with, to be filled again
    bool m_finished = false; // the reader has stopped; nothing more comes
    bool m_abandoned = false;
    std::exception_ptr m_failure;
    std::atomic_bool m_waiting { false }; // the caller waits on an empty queue
    std::thread m_thread;

    // The caller's thread only.
    std::unique_ptr<Batch> m_current;
    int m_index = 0;
    const Cell *m_row = nullptr;
    bool m_ended = false;
    mutable std::vector<QByteArray> m_formatted;
};

} // namespace

std::unique_ptr<Cursor> readAhead(std::unique_ptr<Cursor> inner, qint64 maxRows)
{
    return std::make_unique<ReadAheadCursor>(std::move(inner), maxRows);
}

} // namespace Brennvox10::data
