// SPDX-License-Identifier: MIT
// Cells of every kind and style: any value formats under the locales hosts use, and a row store
// gives back exactly the values it was given, whatever their sizes and order of writing, rows added
// cell by cell or packed whole.
#include "listview/rows/RowStore_p.h"

#include <Brennvox10/ListView.h>

#include <QLocale>

#include <cstdlib>
#include <cstring>

namespace {

template <typename T> T take(const uint8_t *&data, size_t &size)
{
    T v {};
    const size_t n = std::min(size, sizeof v);
    std::memcpy(&v, data, n);
    data += n;
    size -= n;
    return v;
}

bool same(const Brennvox10::CellValue &a, const Brennvox10::CellValue &b)
{
    using K = Brennvox10::CellValue::Kind;
    if (a.kind != b.kind || (a.kind != K::Empty && a.style != b.style))
        return false;
    switch (a.kind) {
    case K::Empty:
        return true;
    case K::Text:
        return a.text == b.text;
    case K::Integer:
    case K::Boolean:
        return a.integer == b.integer;
    case K::Real:
        return std::memcmp(&a.real, &b.real, sizeof a.real) == 0;
    case K::DateTime:
        return a.integer == b.integer && a.msecs == b.msecs && a.hasTime == b.hasTime;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace Brennvox10;
    static const QLocale locales[] = { QLocale::c(), QLocale(QStringLiteral("es_ES")), QLocale(QStringLiteral("en_US")) };
    RowStore store;
    std::vector<std::vector<CellValue>> expected;
    std::vector<QByteArray> texts; // kept alive: the store copies, the expected values view these
    texts.reserve(256);
    while (size > 0 && expected.size() < 64) {
        const uint8_t op = take<uint8_t>(data, size);
        const auto style = CellValue::Style(take<uint8_t>(data, size) % 3);
        CellValue cell;
        switch (op % 6) {
        case 0: {
            const size_t n = std::min<size_t>(take<uint16_t>(data, size), size);
            texts.emplace_back(reinterpret_cast<const char *>(data), qsizetype(n));
            data += n;
            size -= n;
            cell = CellValue::fromText(texts.back(), style);
            break;
        }
        case 1:
            cell = CellValue::fromInteger(take<qint64>(data, size), style);
            break;
        case 2:
            cell = CellValue::fromReal(take<double>(data, size), style);
            break;
        case 3:
            cell = CellValue::fromDate(take<qint64>(data, size) % 100000000, take<qint32>(data, size) % 86400000,
                (op & 0x40) != 0, style);
            break;
        case 4:
            cell = CellValue::fromBoolean((op & 0x80) != 0);
            break;
        default:
            break;
        }
        for (const QLocale &l : locales)
            (void)cellText(cell, l);
        // Into a new row, or into a cell of a row already there.
        const uint8_t at = take<uint8_t>(data, size);
        if (expected.empty() || (at & 1)) {
            const QByteArray key = QByteArray::number(qulonglong(expected.size()));
            const CellValue first = cell.kind == CellValue::Kind::Text ? cell : CellValue::fromText("t");
            if (at & 2) {
                // Packed whole, as a reader thread packs a row: the first cell and this one after it.
                const CellValue cells[] = { first, cell };
                std::vector<char> packed;
                RowStore::pack(key, cells, 2, packed);
                if (store.appendPacked(QByteArrayView(packed.data(), qsizetype(packed.size()))) == RowStore::None)
                    std::abort();
                expected.push_back({ first, cell });
            } else {
                if (store.append(key, first) == RowStore::None)
                    std::abort();
                expected.push_back({ first });
            }
        } else {
            const size_t row = (at >> 1) % expected.size();
            const int index = (at >> 4) % 8;
            store.setCell(quint32(row), index, cell);
            if (expected[row].size() <= size_t(index))
                expected[row].resize(size_t(index) + 1);
            expected[row][size_t(index)] = cell;
        }
    }
    for (size_t row = 0; row < expected.size(); ++row)
        for (size_t i = 0; i < expected[row].size(); ++i)
            if (!same(store.cell(quint32(row), int(i)), expected[row][i]))
                std::abort(); // the store gave back another value than it was given
    return 0;
}
