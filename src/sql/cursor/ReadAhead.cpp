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

#include <sys/resource.h>

namespace Brennvox10::data {

namespace {

using Clock = std::chrono::steady_clock;

// How often this thread has waited for something (a read from disk, a lock) since it started.
long threadWaits()
{
    rusage usage {};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

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

constexpr quint32 NoCells = 0xffffffffu;

struct Batch {
    std::vector<Cell> cells; // row after row, every column, for the rows the shaper left
    std::vector<char> bytes;
    std::vector<char> shaped; // what the shaper made of each row, row after row
    // Per row: its first cell, or NoCells for a row the shaper took, and where its shaped part ends.
    std::vector<quint32> firstCell;
    std::vector<quint32> shapedEnds;

    int rows() const { return int(firstCell.size()); }
    const Cell *rowCells(int row) const
    {
        const quint32 first = firstCell[size_t(row)];
        return first == NoCells ? nullptr : cells.data() + first;
    }
    QByteArrayView shapedRow(int row) const
    {
        if (shapedEnds.empty())
            return {};
        const quint32 begin = row > 0 ? shapedEnds[size_t(row - 1)] : 0;
        return { shaped.data() + begin, qsizetype(shapedEnds[size_t(row)] - begin) };
    }
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

// One row of a batch, read as a cursor's current row. A row the shaper took keeps no cells: it reads
// as all Null, and its reader has the shaped bytes instead.
class BatchRow final : public Cursor {
public:
    explicit BatchRow(size_t columnCount)
        : m_formatted(columnCount)
    {
    }
    void point(const Batch *batch, const Cell *row)
    {
        m_batch = batch;
        m_row = row;
    }

    bool next() override { return false; }
    Storage storage(int column) const override { return m_row ? m_row[column].storage : Storage::Null; }
    qint64 integer(int column) const override { return m_row ? m_row[column].integer : 0; }
    double real(int column) const override { return m_row ? m_row[column].real : 0; }
    QByteArrayView text(int column) const override
    {
        if (!m_row)
            return {};
        const Cell &cell = m_row[column];
        if (cell.storage == Storage::Text || cell.storage == Storage::Blob || cell.hasText)
            return { m_batch->bytes.data() + cell.offset, qsizetype(cell.size) };
        if (cell.storage == Storage::Null)
            return {};
        return formatted(column, cell);
    }
    QByteArrayView blob(int column) const override { return text(column); }

private:
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

    const Batch *m_batch = nullptr;
    const Cell *m_row = nullptr;
    mutable std::vector<QByteArray> m_formatted;
};

class ReadAheadCursor final : public Cursor {
public:
    ReadAheadCursor(std::unique_ptr<Cursor> inner, qint64 maxRows, RowShaper shaper)
        : m_inner(std::move(inner))
        , m_maxRows(maxRows)
        , m_shaper(std::move(shaper))
        , m_view(m_inner->columns.size())
    {
        columns = m_inner->columns;
        m_columnCount = columns.size();
        m_keepText.resize(m_columnCount);
        for (size_t i = 0; i < m_columnCount; ++i)
            m_keepText[i] = !readAsNumber(columns[i].declaredType);
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
        if (m_current && ++m_index < m_current->rows()) {
            m_view.point(m_current.get(), m_current->rowCells(m_index));
            return true;
        }
        return takeBatch();
    }

    Storage storage(int column) const override { return m_view.storage(column); }
    qint64 integer(int column) const override { return m_view.integer(column); }
    double real(int column) const override { return m_view.real(column); }
    QByteArrayView text(int column) const override { return m_view.text(column); }
    QByteArrayView blob(int column) const override { return m_view.text(column); }
    QByteArrayView shaped(int ahead) const override
    {
        if (!m_current || ahead < 0 || m_index + ahead >= m_current->rows())
            return {};
        return m_current->shapedRow(m_index + ahead);
    }

private:
    // The reader thread: rows into batches until the end, the row limit, a Failure or the wrapper's end.
    void read()
    {
        std::unique_ptr<Batch> batch = freshBatch();
        int wanted = firstBatchRows;
        Clock::time_point begun = Clock::now();
        long waitsBegun = threadWaits();
        std::exception_ptr failure;
        try {
            for (qint64 read = 0; batch && (m_maxRows < 0 || read < m_maxRows); ++read) {
                if (!m_inner->next())
                    break;
                if (!m_shapeBatch || !shapeRow(*batch))
                    copyRow(*batch);
                const int rows = batch->rows();
                if (rows >= wanted || batch->bytes.size() + batch->shaped.size() >= batchBytes
                    || (m_waiting.load(std::memory_order_relaxed) && rows % 16 == 0
                        && (rows >= waitedRows || Clock::now() - begun >= waitedAge))) {
                    // A batch read with waits (on a disk, on another process) leaves this thread
                    // time to shape rows in; one read straight through does not.
                    m_readerSlack = threadWaits() != waitsBegun;
                    publish(std::move(batch));
                    batch = freshBatch();
                    wanted = std::min(wanted * 4, maxBatchRows);
                    begun = Clock::now();
                    waitsBegun = threadWaits();
                }
            }
        } catch (...) {
            failure = std::current_exception();
        }
        std::lock_guard lock(m_mutex);
        if (batch && batch->rows() > 0)
            m_ready.push_back(std::move(batch));
        m_failure = failure;
        m_finished = true;
        m_changed.notify_all();
    }

    void copyRow(Batch &batch)
    {
        batch.firstCell.push_back(quint32(batch.cells.size()));
        if (m_shaper)
            batch.shapedEnds.push_back(quint32(batch.shaped.size()));
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
    }

    // False when the shaper left nothing: the row is then kept as cells.
    bool shapeRow(Batch &batch)
    {
        if (!data::shapeRow(m_shaper, *m_inner, batch.shaped))
            return false;
        batch.firstCell.push_back(NoCells);
        batch.shapedEnds.push_back(quint32(batch.shaped.size()));
        return true;
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
        // Shaping here costs less than in the caller, and saves the caller's time: worth it unless
        // this thread is the one holding the load up, busy all the time while the caller waits for
        // it. Then the caller takes plain rows sooner and shapes them itself.
        m_shapeBatch = m_shaper
            && (m_readerSlack || (!m_ready.empty() && !m_waiting.load(std::memory_order_relaxed)));
        if (m_spare.empty())
            return std::make_unique<Batch>();
        std::unique_ptr<Batch> batch = std::move(m_spare.back());
        m_spare.pop_back();
        batch->cells.clear();
        batch->bytes.clear();
        batch->shaped.clear();
        batch->firstCell.clear();
        batch->shapedEnds.clear();
        // A batch that once held a huge value does not keep its memory for the rest of the load.
        if (batch->bytes.capacity() > 8 * batchBytes)
            batch->bytes.shrink_to_fit();
        if (batch->shaped.capacity() > 8 * batchBytes)
            batch->shaped.shrink_to_fit();
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
        m_view.point(nullptr, nullptr);
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
            m_view.point(m_current.get(), m_current->rowCells(0));
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

    std::unique_ptr<Cursor> m_inner;
    const qint64 m_maxRows;
    const RowShaper m_shaper;
    // The reader's own: whether the batch being filled is shaped, and whether the last one left it idle
    // for a while.
    bool m_shapeBatch = false;
    bool m_readerSlack = true;
    BatchRow m_view; // the caller's current row
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
    bool m_ended = false;
};

} // namespace

bool shapeRow(const RowShaper &shaper, const Cursor &row, std::vector<char> &out)
{
    const size_t begin = out.size();
    try {
        shaper(row, out);
    } catch (...) {
        out.resize(begin);
    }
    return out.size() > begin;
}

std::unique_ptr<Cursor> readAhead(std::unique_ptr<Cursor> inner, qint64 maxRows, RowShaper shaper)
{
    return std::make_unique<ReadAheadCursor>(std::move(inner), maxRows, std::move(shaper));
}

} // namespace Brennvox10::data
