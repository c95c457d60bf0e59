// SPDX-License-Identifier: MIT
#include "listview/rows/TextSort_p.h"
#include "core/BusyCursor.h"

#include <QHashFunctions>

#include <algorithm>
#include <utility>

namespace Brennvox10 {

namespace {

struct Sorter {
    const char16_t *texts;
    bool descending;

    // The code unit at depth d, or -1 past the end, turned so that ascending order sorts the result.
    int unit(const SortEntry &e, quint32 d) const
    {
        const int u = d < e.length ? int(texts[e.offset + d]) : -1;
        return descending ? -u : u;
    }

    bool less(const SortEntry &a, const SortEntry &b, quint32 d) const
    {
        for (;; ++d) {
            const int x = unit(a, d), y = unit(b, d);
            if (x != y)
                return x < y;
            if (d >= a.length) // both ended: equal texts
                return a.position < b.position;
        }
    }

    void sort(SortEntry *lo, SortEntry *hi, quint32 d) const
    {
        if (d > 256) {
            // Texts alike this far are rare: compare them whole rather than recurse deeper.
            std::sort(lo, hi, [this, d](const SortEntry &x, const SortEntry &y) { return less(x, y, d); });
            return;
        }
        while (hi - lo > 12) {
            // Median of three units as the pivot.
            const int a = unit(lo[0], d), b = unit(lo[(hi - lo) / 2], d), c = unit(hi[-1], d);
            const int pivot = std::max(std::min(a, b), std::min(std::max(a, b), c));
            SortEntry *lt = lo, *gt = hi, *i = lo;
            while (i < gt) {
                const int u = unit(*i, d);
                if (u < pivot)
                    std::swap(*lt++, *i++);
                else if (u > pivot)
                    std::swap(*i, *--gt);
                else
                    ++i;
            }
            // The smaller outer parts recursively, the larger one in this loop.
            if (pivot == (descending ? 1 : -1)) {
                // Texts that all ended here are equal: their former order decides.
                std::sort(lt, gt, [](const SortEntry &x, const SortEntry &y) { return x.position < y.position; });
            } else {
                sort(lt, gt, d + 1);
            }
            if (lt - lo < hi - gt) {
                sort(lo, lt, d);
                lo = gt;
            } else {
                sort(gt, hi, d);
                hi = lt;
            }
        }
        // Insertion sort for the last few.
        for (SortEntry *i = lo + 1; i < hi; ++i) {
            SortEntry v = *i;
            SortEntry *j = i;
            for (; j > lo && less(v, j[-1], d); --j)
                *j = j[-1];
            *j = v;
        }
    }
};

} // namespace

void sortTexts(SortEntry *first, SortEntry *last, const char16_t *texts, bool descending)
{
    Sorter { texts, descending }.sort(first, last, 0);
}

void appendSortText(const CellValue &cell, const QLocale &locale, BulkVector<char16_t> &texts)
{
    if (cell.kind == CellValue::Kind::Text) {
        // Decoded and folded straight into the block: folding a character of the basic plane never
        // depends on its neighbours nor changes the length, so each one is folded on its own. Anything
        // else (other planes, malformed bytes) takes the general way below.
        const auto *b = reinterpret_cast<const unsigned char *>(cell.text.data());
        const size_t size = size_t(cell.text.size());
        const size_t start = texts.size();
        const auto follows = [&](size_t i) { return i < size && (b[i] & 0xC0) == 0x80; };
        size_t i = 0;
        while (i < size) {
            const unsigned c = b[i];
            if (c < 0x80) {
                texts.push_back(char16_t(c >= 'A' && c <= 'Z' ? c + 32 : c));
                ++i;
            } else if (c >= 0xC2 && c < 0xE0 && follows(i + 1)) {
                texts.push_back(char16_t(QChar::toCaseFolded(char32_t((c & 0x1F) << 6 | (b[i + 1] & 0x3F)))));
                i += 2;
            } else if (c >= 0xE0 && c < 0xF0 && follows(i + 1) && follows(i + 2)) {
                const char32_t u = char32_t((c & 0x0F) << 12 | (b[i + 1] & 0x3F) << 6 | (b[i + 2] & 0x3F));
                if (u < 0x800 || (u >= 0xD800 && u < 0xE000))
                    break;
                texts.push_back(char16_t(QChar::toCaseFolded(u)));
                i += 3;
            } else {
                break;
            }
        }
        if (i == size)
            return;
        texts.resize(start);
    }
    const QString folded = cellText(cell, locale).toCaseFolded();
    texts.insert(texts.end(), folded.utf16(), folded.utf16() + folded.size());
}

RowSort::RowSort(size_t rows)
{
    m_rowText.reserve(rows);
    m_texts.reserve(std::min<size_t>(rows, 65536) * 16);
    m_slots.assign(1024, 0);
    m_seed = quint32(QHashSeed::globalSeed());
}

void RowSort::add(const CellValue &cell, const QLocale &locale)
{
    busy::tick();
    const quint64 offset = m_texts.size();
    appendSortText(cell, locale, m_texts);
    const quint32 length = quint32(m_texts.size() - offset);
    // Mostly distinct texts make the table cost more than it saves: after a fair sample, stop looking.
    if (m_dedupe && m_rowText.size() == 65536 && m_distinct.size() > m_rowText.size() / 2)
        m_dedupe = false;
    m_rowText.push_back(distinctOf(offset, length));
}

quint32 RowSort::distinctOf(quint64 offset, quint32 length)
{
    const quint32 added = quint32(m_distinct.size());
    if (!m_dedupe) {
        m_distinct.push_back({ offset, length, added });
        return added;
    }
    const QStringView text(m_texts.data() + offset, length);
    const size_t mask = m_slots.size() - 1;
    for (size_t slot = qHash(text, m_seed) & mask;; slot = (slot + 1) & mask) {
        const quint32 at = m_slots[slot];
        if (at == 0) {
            m_slots[slot] = added + 1;
            break;
        }
        const SortEntry &e = m_distinct[at - 1];
        if (QStringView(m_texts.data() + e.offset, e.length) == text) {
            m_texts.resize(offset); // already kept once
            return at - 1;
        }
    }
    m_distinct.push_back({ offset, length, added });
    if (m_distinct.size() * 2 > m_slots.size()) {
        BulkVector<quint32> grown(m_slots.size() * 2, 0);
        const size_t grownMask = grown.size() - 1;
        for (const SortEntry &e : m_distinct) {
            size_t slot = qHash(QStringView(m_texts.data() + e.offset, e.length), m_seed) & grownMask;
            while (grown[slot] != 0)
                slot = (slot + 1) & grownMask;
            grown[slot] = e.position + 1;
        }
        m_slots.swap(grown);
    }
    return added;
}

BulkVector<quint32> RowSort::sortedPositions(bool descending)
{
    BulkVector<quint32>().swap(m_slots);
    sortTexts(m_distinct.data(), m_distinct.data() + m_distinct.size(), m_texts.data(), descending);
    // Texts kept apart (the table gave up on them) may still be equal: they share a rank.
    BulkVector<quint32> rank(m_distinct.size());
    quint32 ranks = 0;
    for (size_t i = 0; i < m_distinct.size(); ++i) {
        const SortEntry &e = m_distinct[i];
        const QStringView text(m_texts.data() + e.offset, e.length);
        if (i > 0) {
            const SortEntry &p = m_distinct[i - 1];
            if (QStringView(m_texts.data() + p.offset, p.length) != text)
                ++ranks;
        }
        rank[e.position] = ranks;
    }
    // Counting sort by rank, rows taken in their current order: stable.
    BulkVector<quint32> start(size_t(ranks) + 2, 0);
    for (quint32 t : m_rowText)
        ++start[rank[t] + 1];
    for (size_t r = 1; r < start.size(); ++r)
        start[r] += start[r - 1];
    BulkVector<quint32> sorted(m_rowText.size());
    for (size_t row = 0; row < m_rowText.size(); ++row)
        sorted[start[rank[m_rowText[row]]]++] = quint32(row);
    return sorted;
}

} // namespace Brennvox10
