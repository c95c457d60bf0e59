// SPDX-License-Identifier: MIT
#include "listview/rows/RowStore_p.h"

#include <Brennvox10/Failure.h>

#include <QHashFunctions>

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

namespace Brennvox10 {

namespace {

constexpr quint32 HeaderSize = 4;
constexpr quint32 FirstChunkSize = 16 * 1024;
constexpr quint32 LargestChunkSize = 4 * 1024 * 1024;
// Sizes and offsets in a chunk are 32-bit: a row must stay below that, with room to spare.
constexpr quint64 LargestRow = 0xffff0000u;
// Below this much garbage a rewrite never pays for itself.
constexpr quint64 CompactionFloor = 1024 * 1024;

quint32 varintSize(quint64 v)
{
    quint32 n = 1;
    while (v >= 0x80) {
        v >>= 7;
        ++n;
    }
    return n;
}

char *putVarint(char *p, quint64 v)
{
    while (v >= 0x80) {
        *p++ = char(quint8(v) | 0x80);
        v >>= 7;
    }
    *p++ = char(v);
    return p;
}

const char *getVarint(const char *p, quint64 *v)
{
    quint64 result = 0;
    int shift = 0;
    quint8 byte;
    do {
        byte = quint8(*p++);
        result |= quint64(byte & 0x7f) << shift;
        shift += 7;
    } while (byte & 0x80);
    *v = result;
    return p;
}

quint64 zigzag(qint64 v)
{
    return (quint64(v) << 1) ^ quint64(v >> 63);
}

qint64 unzigzag(quint64 v)
{
    return qint64(v >> 1) ^ -qint64(v & 1);
}

quint32 readU32(const char *p)
{
    quint32 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

void writeU32(char *p, quint32 v)
{
    std::memcpy(p, &v, sizeof v);
}

quint8 tagOf(const CellValue &v)
{
    if (v.kind == CellValue::Kind::Empty)
        return 0;
    return quint8(quint8(v.kind) | quint8(v.style) << 3 | (v.hasTime ? 0x20 : 0));
}

// 64-bit: a cell of gigabytes must be measured, not wrapped, to be refused.
quint64 cellSize(const CellValue &v)
{
    switch (v.kind) {
    case CellValue::Kind::Empty:
        return 1;
    case CellValue::Kind::Text:
        return 1 + varintSize(quint64(v.text.size())) + quint64(v.text.size());
    case CellValue::Kind::Integer:
    case CellValue::Kind::Boolean:
        return 1 + varintSize(zigzag(v.integer));
    case CellValue::Kind::Real:
        return 1 + sizeof(double);
    case CellValue::Kind::DateTime:
        return 1 + varintSize(zigzag(v.integer)) + (v.hasTime ? varintSize(quint32(v.msecs)) : 0);
    }
    return 1;
}

char *putCell(char *p, const CellValue &v)
{
    *p++ = char(tagOf(v));
    switch (v.kind) {
    case CellValue::Kind::Empty:
        break;
    case CellValue::Kind::Text:
        p = putVarint(p, quint64(v.text.size()));
        if (!v.text.isEmpty())
            std::memcpy(p, v.text.data(), size_t(v.text.size()));
        p += v.text.size();
        break;
    case CellValue::Kind::Integer:
    case CellValue::Kind::Boolean:
        p = putVarint(p, zigzag(v.integer));
        break;
    case CellValue::Kind::Real:
        std::memcpy(p, &v.real, sizeof(double));
        p += sizeof(double);
        break;
    case CellValue::Kind::DateTime:
        p = putVarint(p, zigzag(v.integer));
        if (v.hasTime)
            p = putVarint(p, quint32(v.msecs));
        break;
    }
    return p;
}

const char *getCell(const char *p, CellValue *v)
{
    const quint8 tag = quint8(*p++);
    v->kind = CellValue::Kind(tag & 0x07);
    v->style = CellValue::Style((tag >> 3) & 0x03);
    v->hasTime = tag & 0x20;
    quint64 raw = 0;
    switch (v->kind) {
    case CellValue::Kind::Empty:
        break;
    case CellValue::Kind::Text:
        p = getVarint(p, &raw);
        v->text = QByteArrayView(p, qsizetype(raw));
        p += raw;
        break;
    case CellValue::Kind::Integer:
    case CellValue::Kind::Boolean:
        p = getVarint(p, &raw);
        v->integer = unzigzag(raw);
        break;
    case CellValue::Kind::Real:
        std::memcpy(&v->real, p, sizeof(double));
        p += sizeof(double);
        break;
    case CellValue::Kind::DateTime:
        p = getVarint(p, &raw);
        v->integer = unzigzag(raw);
        if (v->hasTime) {
            p = getVarint(p, &raw);
            v->msecs = qint32(raw);
        }
        break;
    }
    return p;
}

// Skips the key; returns the first cell.
const char *cellsOf(const char *blob, QByteArrayView *key = nullptr)
{
    quint64 length;
    const char *p = getVarint(blob + HeaderSize, &length);
    if (key)
        *key = QByteArrayView(p, qsizetype(length));
    return p + length;
}

// Throws Failure 7 for a row the store cannot hold, as for one there is no memory for.
void checkRowSize(quint64 bytes)
{
    if (bytes > LargestRow)
        throw failureFor(FailureNumber::OutOfMemory);
}

quint64 rowSize(QByteArrayView key, const std::vector<CellValue> &cells)
{
    quint64 size = HeaderSize + varintSize(quint64(key.size())) + quint64(key.size());
    for (const CellValue &c : cells)
        size += cellSize(c);
    return size;
}

void encodeRow(char *p, quint32 size, QByteArrayView key, const std::vector<CellValue> &cells)
{
    writeU32(p, size - HeaderSize);
    p = putVarint(p + HeaderSize, quint64(key.size()));
    if (!key.isEmpty())
        std::memcpy(p, key.data(), size_t(key.size()));
    p += key.size();
    for (const CellValue &c : cells)
        p = putCell(p, c);
}

// A row that outgrows its chunk moves to one with room for half as much again: a row of many big cells
// is then copied a few times, not once for every cell.
quint64 roomToGrow(quint64 bytes)
{
    return std::min(LargestRow, bytes + bytes / 2);
}

bool sameBytes(QByteArrayView a, QByteArrayView b)
{
    return a.size() == b.size() && (a.isEmpty() || std::memcmp(a.data(), b.data(), size_t(a.size())) == 0);
}

} // namespace

RowStore::RowStore()
    : m_seed(QHashSeed::globalSeed())
{
}

RowStore::~RowStore() = default;

const char *RowStore::blob(quint32 id) const
{
    const quint64 location = m_rows[id];
    return m_chunks[size_t(location >> 32)].data.get() + quint32(location);
}

quint32 RowStore::blobSize(quint32 id) const
{
    return HeaderSize + readU32(blob(id));
}

char *RowStore::allocate(quint32 bytes, quint64 *location, quint64 room)
{
    if (m_chunks.empty() || m_chunks.back().size - m_chunks.back().used < bytes) {
        const quint32 planned = std::min(LargestChunkSize, FirstChunkSize << std::min(m_nextChunk, 8u));
        const quint64 wanted = std::max({ quint64(bytes), quint64(planned), std::min(room, LargestRow) });
        Chunk chunk;
        if (!m_spare.empty() && m_spare.back().size >= wanted) {
            chunk.data = std::move(m_spare.back().data);
            chunk.size = m_spare.back().size;
            m_spare.pop_back();
        } else {
            chunk.size = quint32(wanted);
            chunk.data = bulkBlock(chunk.size);
        }
        m_chunks.push_back(std::move(chunk));
        ++m_nextChunk;
    }
    Chunk &chunk = m_chunks.back();
    *location = quint64(m_chunks.size() - 1) << 32 | chunk.used;
    char *p = chunk.data.get() + chunk.used;
    chunk.used += bytes;
    chunk.live += bytes;
    m_used += bytes;
    return p;
}

void RowStore::release(quint64 location, quint32 bytes)
{
    Chunk &chunk = m_chunks[size_t(location >> 32)];
    chunk.live -= bytes;
    m_waste += bytes;
    if (chunk.live > 0)
        return;
    // Nothing lives here any more: a big row that moved on leaves no copy behind.
    m_used -= chunk.used;
    m_waste -= chunk.used;
    if (&chunk == &m_chunks.back())
        chunk.used = 0;
    else
        chunk = Chunk();
}

quint32 RowStore::hashOf(QByteArrayView key) const
{
    const size_t h = qHash(key, m_seed);
    return quint32(h ^ (quint64(h) >> 32));
}

void RowStore::growSlots(size_t minimumRows)
{
    const size_t wanted = std::max<size_t>(16, std::bit_ceil(minimumRows * 2));
    if (wanted > m_slots.size())
        rehashSlots(wanted);
}

void RowStore::rehashSlots(size_t size)
{
    BulkVector<quint64> fresh(size, 0);
    const size_t mask = size - 1;
    for (quint64 e : m_slots) {
        if (!e)
            continue;
        size_t i = size_t(e >> 32) & mask;
        while (fresh[i])
            i = (i + 1) & mask;
        fresh[i] = e;
    }
    fresh.swap(m_slots);
}

void RowStore::insertSlot(quint32 hash, quint32 id)
{
    if ((m_keyed + 1) * 2 > m_slots.size())
        growSlots(m_keyed + 1);
    const size_t mask = m_slots.size() - 1;
    size_t i = hash & mask;
    while (m_slots[i])
        i = (i + 1) & mask;
    m_slots[i] = quint64(hash) << 32 | (quint64(id) + 1);
    ++m_keyed;
}

void RowStore::eraseSlot(quint32 id)
{
    const size_t mask = m_slots.size() - 1;
    size_t hole = hashOf(key(id)) & mask;
    while (quint32(m_slots[hole]) != id + 1)
        hole = (hole + 1) & mask;
    // Backward shift keeps every probe chain unbroken without tombstones.
    for (size_t j = (hole + 1) & mask; m_slots[j]; j = (j + 1) & mask) {
        const size_t home = size_t(m_slots[j] >> 32) & mask;
        const bool staysPut = hole <= j ? (home > hole && home <= j) : (home > hole || home <= j);
        if (!staysPut) {
            m_slots[hole] = m_slots[j];
            hole = j;
        }
    }
    m_slots[hole] = 0;
    --m_keyed;
}

quint32 RowStore::find(QByteArrayView key) const
{
    if (key.isEmpty() || m_slots.empty())
        return None;
    return find(key, hashOf(key));
}

quint32 RowStore::find(QByteArrayView key, quint32 hash) const
{
    if (m_slots.empty())
        return None;
    const size_t mask = m_slots.size() - 1;
    for (size_t i = hash & mask; m_slots[i]; i = (i + 1) & mask) {
        const quint64 e = m_slots[i];
        if (quint32(e >> 32) != hash)
            continue;
        const quint32 id = quint32(e) - 1;
        if (sameBytes(this->key(id), key))
            return id;
    }
    return None;
}

char *RowStore::placeRow(QByteArrayView key, quint32 bytes, quint64 *location)
{
    // Everything that can run out of memory comes before the first change.
    if (!key.isEmpty() && (m_keyed + 1) * 2 > m_slots.size())
        growSlots(m_keyed + 1);
    if (m_rows.size() == m_rows.capacity())
        m_rows.reserve(std::max<size_t>(16, m_rows.size() * 2));
    return allocate(bytes, location);
}

quint32 RowStore::addRow(QByteArrayView key, quint32 hash, quint64 location, int cells)
{
    const quint32 id = quint32(m_rows.size());
    m_rows.push_back(location);
    if (!key.isEmpty())
        insertSlot(hash, id);
    ++m_live;
    m_tail = id;
    m_tailCells = cells;
    return id;
}

quint32 RowStore::append(QByteArrayView key, const CellValue &text)
try {
    quint32 hash = 0;
    if (!key.isEmpty()) {
        hash = hashOf(key);
        if (find(key, hash) != None)
            return None;
    }
    const quint64 payload = varintSize(quint64(key.size())) + quint64(key.size()) + cellSize(text);
    checkRowSize(HeaderSize + payload);
    quint64 location;
    char *p = placeRow(key, quint32(HeaderSize + payload), &location);
    writeU32(p, quint32(payload));
    p = putVarint(p + HeaderSize, quint64(key.size()));
    if (!key.isEmpty())
        std::memcpy(p, key.data(), size_t(key.size()));
    putCell(p + key.size(), text);
    return addRow(key, hash, location, 1);
} catch (const std::bad_alloc &) {
    throw failureFor(FailureNumber::OutOfMemory);
}

namespace {
// A packed row: the hash seed and the key's hash under it, the number of cells, then the row's blob.
struct PackedHeader {
    quint64 seed;
    quint32 hash;
    quint32 cells;
};
constexpr size_t PackedHeaderSize = sizeof(PackedHeader);
} // namespace

void RowStore::pack(QByteArrayView key, const CellValue *cells, int count, std::vector<char> &out)
{
    quint64 payload = varintSize(quint64(key.size())) + quint64(key.size());
    for (int i = 0; i < count; ++i)
        payload += cellSize(cells[i]);
    checkRowSize(HeaderSize + payload);
    const size_t seed = QHashSeed::globalSeed();
    const size_t h = qHash(key, seed);
    const PackedHeader header { quint64(seed), quint32(h ^ (quint64(h) >> 32)), quint32(count) };
    const size_t at = out.size();
    out.resize(at + PackedHeaderSize + HeaderSize + payload);
    char *p = out.data() + at;
    std::memcpy(p, &header, sizeof header);
    p += PackedHeaderSize;
    writeU32(p, quint32(payload));
    p = putVarint(p + HeaderSize, quint64(key.size()));
    if (!key.isEmpty())
        std::memcpy(p, key.data(), size_t(key.size()));
    p += key.size();
    for (int i = 0; i < count; ++i)
        p = putCell(p, cells[i]);
}

void RowStore::unpack(QByteArrayView packed, QByteArrayView &key, std::vector<CellValue> &cells)
{
    PackedHeader header;
    std::memcpy(&header, packed.data(), sizeof header);
    const char *p = cellsOf(packed.data() + PackedHeaderSize, &key);
    cells.resize(header.cells);
    for (CellValue &cell : cells)
        p = getCell(p, &cell);
}

void RowStore::prefetchPacked(QByteArrayView packed) const
{
    if (size_t(packed.size()) <= PackedHeaderSize || m_slots.empty())
        return;
    PackedHeader header;
    std::memcpy(&header, packed.data(), sizeof header);
    if (header.seed == m_seed)
        __builtin_prefetch(&m_slots[header.hash & (m_slots.size() - 1)]);
}

quint32 RowStore::appendPacked(QByteArrayView packed)
try {
    PackedHeader header;
    std::memcpy(&header, packed.data(), sizeof header);
    const char *row = packed.data() + PackedHeaderSize;
    const quint32 size = quint32(size_t(packed.size()) - PackedHeaderSize);
    QByteArrayView key;
    cellsOf(row, &key);
    // A seed changed since the row was packed leaves its hash meaningless here.
    const quint32 hash = key.isEmpty() ? 0 : header.seed == m_seed ? header.hash : hashOf(key);
    if (!key.isEmpty() && find(key, hash) != None)
        return None;
    quint64 location;
    std::memcpy(placeRow(key, size, &location), row, size);
    return addRow(key, hash, location, int(header.cells));
} catch (const std::bad_alloc &) {
    throw failureFor(FailureNumber::OutOfMemory);
}

void RowStore::setCell(quint32 id, int index, const CellValue &value)
try {
    if (id == m_tail && index >= m_tailCells) {
        // The bulk load's path: the newest row grows at the end of its chunk.
        const quint32 gap = quint32(index - m_tailCells);
        const quint64 location = m_rows[id];
        const quint32 size = blobSize(id);
        checkRowSize(size + gap + cellSize(value));
        const quint32 growth = quint32(gap + cellSize(value));
        char *start = m_chunks[size_t(location >> 32)].data.get() + quint32(location);
        char *end;
        if (Chunk &chunk = m_chunks.back(); chunk.size - chunk.used >= growth) {
            end = chunk.data.get() + chunk.used;
            chunk.used += growth;
            chunk.live += growth;
            m_used += growth;
        } else {
            quint64 moved;
            char *copy = allocate(size + growth, &moved, roomToGrow(quint64(size) + growth));
            std::memcpy(copy, start, size);
            release(location, size);
            m_rows[id] = moved;
            start = copy;
            end = copy + size;
        }
        std::memset(end, 0, gap);
        putCell(end + gap, value);
        writeU32(start, readU32(start) + growth);
        m_tailCells = index + 1;
        return;
    }

    // Any other change rewrites the row: row maintenance touches one row at a time.
    const char *b = blob(id);
    const char *end = b + blobSize(id);
    QByteArrayView key;
    const char *p = cellsOf(b, &key);
    std::vector<CellValue> cells;
    while (p < end) {
        cells.emplace_back();
        p = getCell(p, &cells.back());
    }
    if (size_t(index) >= cells.size())
        cells.resize(size_t(index) + 1);
    cells[size_t(index)] = value;
    rewrite(id, key, cells);
    m_tailCells = int(cells.size());
} catch (const std::bad_alloc &) {
    throw failureFor(FailureNumber::OutOfMemory);
}

void RowStore::rewrite(quint32 id, QByteArrayView key, const std::vector<CellValue> &cells)
{
    // The cells view the row's present bytes, which stay until the new ones are written.
    const quint64 bytes = rowSize(key, cells);
    checkRowSize(bytes);
    const quint32 size = quint32(bytes);
    const quint64 location = m_rows[id];
    const quint32 old = blobSize(id);
    if (id == m_tail) {
        Chunk &chunk = m_chunks[size_t(location >> 32)];
        const quint32 offset = quint32(location);
        if (chunk.size - offset >= size) {
            QByteArray row(qsizetype(size), Qt::Uninitialized);
            encodeRow(row.data(), size, key, cells);
            std::memcpy(chunk.data.get() + offset, row.constData(), size);
            chunk.used = offset + size;
            chunk.live = chunk.live - old + size;
            m_used = m_used - old + size;
            return;
        }
    }
    quint64 moved;
    encodeRow(allocate(size, &moved, roomToGrow(size)), size, key, cells);
    release(location, old);
    m_rows[id] = moved;
    m_tail = id;
    compactIfWasteful();
}

void RowStore::compactIfWasteful()
{
    if (m_waste < CompactionFloor || m_waste * 2 < m_used)
        return;
    const quint64 used = m_used, waste = m_waste;
    const quint32 nextChunk = m_nextChunk;
    std::vector<Chunk> old;
    BulkVector<quint64> moved;
    try {
        moved.assign(m_rows.size(), Dead);
        old.swap(m_chunks);
        m_used = 0;
        m_waste = 0;
        m_nextChunk = 0;
        for (size_t id = 0; id < m_rows.size(); ++id) {
            const quint64 location = m_rows[id];
            if (location == Dead)
                continue;
            const char *src = old[size_t(location >> 32)].data.get() + quint32(location);
            const quint32 size = HeaderSize + readU32(src);
            std::memcpy(allocate(size, &moved[id]), src, size);
        }
    } catch (const std::bad_alloc &) {
        // Compacting only saves room: without the memory for it the rows stay where they are.
        if (!old.empty())
            m_chunks.swap(old);
        m_used = used;
        m_waste = waste;
        m_nextChunk = nextChunk;
        return;
    }
    m_rows.swap(moved);
    m_tail = None;
}

CellValue RowStore::cell(quint32 id, int index) const
{
    CellValue v;
    const char *b = blob(id);
    const char *end = b + blobSize(id);
    const char *p = cellsOf(b);
    for (int i = 0; p < end; ++i) {
        if (i == index) {
            getCell(p, &v);
            return v;
        }
        CellValue skipped;
        p = getCell(p, &skipped);
    }
    return v;
}

QByteArrayView RowStore::key(quint32 id) const
{
    QByteArrayView k;
    cellsOf(blob(id), &k);
    return k;
}

void RowStore::remove(quint32 id)
{
    if (!key(id).isEmpty())
        eraseSlot(id);
    release(m_rows[id], blobSize(id));
    m_rows[id] = Dead;
    if (id == m_tail)
        m_tail = None;
    --m_live;
    compactIfWasteful();
}

void RowStore::clear(bool keepRoom)
{
    if (keepRoom) {
        for (Chunk &chunk : m_chunks) {
            if (chunk.data)
                m_spare.push_back(Chunk { std::move(chunk.data), chunk.size });
        }
        // The biggest are taken first.
        std::sort(m_spare.begin(), m_spare.end(), [](const Chunk &a, const Chunk &b) { return a.size < b.size; });
        std::vector<Chunk>().swap(m_chunks);
        m_rows.clear();
        std::fill(m_slots.begin(), m_slots.end(), 0);
    } else {
        std::vector<Chunk>().swap(m_chunks);
        std::vector<Chunk>().swap(m_spare);
        BulkVector<quint64>().swap(m_rows);
        BulkVector<quint64>().swap(m_slots);
    }
    m_keyed = 0;
    m_live = 0;
    ++m_generation;
    m_nextChunk = 0;
    m_used = 0;
    m_waste = 0;
    m_tail = None;
    m_tailCells = 0;
}

void RowStore::releaseRoom()
{
    std::vector<Chunk>().swap(m_spare);
    // A table kept for more rows than came back shrinks to what they need.
    const size_t fitting = std::max<size_t>(16, std::bit_ceil(m_keyed * 2));
    try {
        if (m_slots.size() > 2 * fitting)
            rehashSlots(fitting);
        if (m_rows.capacity() > 2 * std::max<size_t>(16, m_rows.size()))
            m_rows.shrink_to_fit();
    } catch (const std::bad_alloc &) {
        // Shrinking only saves room.
    }
}

} // namespace Brennvox10
