// SPDX-License-Identifier: MIT
#pragma once
// Keyed rows of typed cells packed into byte chunks: a million rows cost little more than their data.
// A row is one blob [u32 payload size][varint key length][key][cells...]; a cell is a tag byte (kind,
// style, has-time) and its payload. Rows are named by ids that stay fixed until the row is removed or
// the store cleared; ids grow in the order rows were added and start again at 0 after a clear, which
// begins a new generation.
// A change that needs more memory than there is, or a row past what 32-bit sizes reach, throws Failure 7
// and leaves the store as it was.

#include "core/Prefault.h"

#include <Brennvox10/ListView.h>

#include <QByteArrayView>

#include <memory>
#include <vector>

namespace Brennvox10 {

class RowStore {
public:
    static constexpr quint32 None = 0xffffffffu;

    RowStore();
    ~RowStore();
    RowStore(const RowStore &) = delete;
    RowStore &operator=(const RowStore &) = delete;

    int count() const { return m_live; }
    // One past the highest id ever given since the last clear.
    quint32 idLimit() const { return quint32(m_rows.size()); }
    bool isAlive(quint32 id) const { return id < m_rows.size() && m_rows[id] != Dead; }
    quint32 generation() const { return m_generation; }

    // None when no row has that key; an empty key names no row.
    quint32 find(QByteArrayView key) const;
    // Appends a row whose first cell is text; None, and nothing added, when the key is taken.
    quint32 append(QByteArrayView key, const CellValue &text);

    // A whole row packed on any thread, ready to be appended in one step as append() and setCell()
    // for each cell in turn would make it. Appends to out; Failure 7 for a row too big to hold.
    static void pack(QByteArrayView key, const CellValue *cells, int count, std::vector<char> &out);
    // The key and cells of a packed row, viewing its bytes.
    static void unpack(QByteArrayView packed, QByteArrayView &key, std::vector<CellValue> &cells);
    // None, and nothing added, when the key is taken. Failure 7, and nothing added, when memory
    // runs out.
    quint32 appendPacked(QByteArrayView packed);
    // Brings the table's slot for a packed row's key into the cache ahead of its append: a table of
    // millions of keys misses the cache on nearly every lookup, and the reader packs rows early.
    void prefetchPacked(QByteArrayView packed) const;
    void setCell(quint32 id, int index, const CellValue &value);
    // An empty cell when never set. Text views into the store: valid until the next change.
    CellValue cell(quint32 id, int index) const;
    QByteArrayView key(quint32 id) const;
    void remove(quint32 id);
    // keepRoom: a load follows at once, and takes the memory of the rows there were instead of
    // asking the system for new (which costs a page fault a page) until releaseRoom().
    void clear(bool keepRoom = false);
    // Gives back what a load after clear(true) did not reuse.
    void releaseRoom();

private:
    static constexpr quint64 Dead = ~quint64(0);
    struct Chunk {
        std::unique_ptr<char[]> data;
        quint32 size = 0;
        quint32 used = 0;
        quint32 live = 0; // bytes of the blobs still in use here
    };

    const char *blob(quint32 id) const;
    quint32 blobSize(quint32 id) const;
    // A new chunk gets at least `room` bytes. Throws std::bad_alloc, with nothing changed.
    char *allocate(quint32 bytes, quint64 *location, quint64 room = 0);
    // Room for a new row of `bytes` and its entries, before anything changes; throws std::bad_alloc.
    char *placeRow(QByteArrayView key, quint32 bytes, quint64 *location);
    // The row placed there becomes the newest, with `cells` cells.
    quint32 addRow(QByteArrayView key, quint32 hash, quint64 location, int cells);
    // The blob at `location` is no longer used; a chunk left with none goes at once.
    void release(quint64 location, quint32 bytes);
    void rewrite(quint32 id, QByteArrayView key, const std::vector<CellValue> &cells);
    void compactIfWasteful();
    quint32 hashOf(QByteArrayView key) const;
    quint32 find(QByteArrayView key, quint32 hash) const;
    void insertSlot(quint32 hash, quint32 id);
    void eraseSlot(quint32 id);
    void growSlots(size_t minimumRows);
    // Throws std::bad_alloc, with nothing changed.
    void rehashSlots(size_t size);

    std::vector<Chunk> m_chunks;
    std::vector<Chunk> m_spare; // memory kept by clear(true) for the load that follows
    BulkVector<quint64> m_rows; // id -> chunk << 32 | offset, or Dead
    // Open addressing with linear probing: hash << 32 | (id + 1), 0 when free.
    BulkVector<quint64> m_slots;
    size_t m_keyed = 0;
    size_t m_seed = 0;
    int m_live = 0;
    quint32 m_generation = 0;
    quint32 m_nextChunk = 0;
    quint64 m_used = 0; // bytes of every blob placed in the chunks there are
    quint64 m_waste = 0; // bytes of those blobs that were moved or removed since
    // The row whose blob ends its chunk's used part: cells are appended to it in place.
    quint32 m_tail = None;
    int m_tailCells = 0;
};

} // namespace Brennvox10
