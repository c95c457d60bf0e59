// SPDX-License-Identifier: MIT
// The shown order against a plain vector: lists of several blocks, every edit at and beside the block
// edges, where an off-by-one in the block lookup puts a row in the wrong block.
#include "listview/rows/RowOrder_p.h"

#include <QTest>

#include <random>
#include <vector>

using namespace Brennvox10;

namespace {

struct Model {
    RowOrder order;
    std::vector<quint32> ids;
    quint32 nextId = 0;

    void insert(size_t at)
    {
        order.insert(at, nextId);
        ids.insert(ids.begin() + ptrdiff_t(at), nextId++);
    }
    void erase(size_t at)
    {
        order.erase(at);
        ids.erase(ids.begin() + ptrdiff_t(at));
    }
    // A changed row leaves its place and goes to another, as a re-sorted row does.
    void move(size_t from, size_t to)
    {
        const quint32 id = ids[from];
        order.erase(from);
        ids.erase(ids.begin() + ptrdiff_t(from));
        order.insert(to, id);
        ids.insert(ids.begin() + ptrdiff_t(to), id);
    }
};

// Every position and every row's position agree with the vector; the first disagreement is reported.
bool same(const Model &m, QByteArray &why)
{
    if (m.order.size() != m.ids.size()) {
        why = "size " + QByteArray::number(qulonglong(m.order.size())) + " instead of "
            + QByteArray::number(qulonglong(m.ids.size()));
        return false;
    }
    for (size_t p = 0; p < m.ids.size(); ++p) {
        if (m.order.at(p) != m.ids[p] || m.order.positionOf(m.ids[p]) != p) {
            why = "at position " + QByteArray::number(qulonglong(p));
            return false;
        }
    }
    return true;
}

// Positions at and beside the edges of blocks of 1024 and of 2048 (blocks split at twice their size).
std::vector<size_t> edges(size_t size)
{
    std::vector<size_t> at;
    for (size_t edge = 1024; edge < size; edge += 1024)
        for (size_t p : { edge - 1, edge, edge + 1 })
            if (p < size)
                at.push_back(p);
    at.push_back(0);
    at.push_back(size - 1);
    return at;
}

} // namespace

class tst_RowOrder : public QObject {
    Q_OBJECT

private slots:
    void matchesVector_data()
    {
        QTest::addColumn<int>("rows");
        QTest::addColumn<bool>("assigned"); // a full sort's assignment, or rows added one by one
        QTest::addColumn<int>("seed");
        QTest::newRow("5000 assigned") << 5000 << true << 1;
        QTest::newRow("5000 pushed") << 5000 << false << 2;
        QTest::newRow("3073 assigned") << 3073 << true << 3;
        QTest::newRow("2049 pushed") << 2049 << false << 4;
    }

    void matchesVector()
    {
        QFETCH(int, rows);
        QFETCH(bool, assigned);
        QFETCH(int, seed);
        Model m;
        BulkVector<quint32> initial;
        for (int i = 0; i < rows; ++i) {
            m.ids.push_back(m.nextId);
            assigned ? initial.push_back(m.nextId++) : m.order.pushBack(m.nextId++);
        }
        if (assigned)
            m.order.assign(initial);
        QByteArray why;
        QVERIFY2(same(m, why), why.constData());

        // Given a list of several blocks, when a row is added, removed or moved at each block edge,
        // then both lookups still agree with the vector.
        for (size_t at : edges(m.ids.size())) {
            m.insert(at);
            QVERIFY2(same(m, why), ("insert " + QByteArray::number(qulonglong(at)) + ": " + why).constData());
            m.erase(at);
            QVERIFY2(same(m, why), ("erase " + QByteArray::number(qulonglong(at)) + ": " + why).constData());
            m.move(at, m.ids.size() - 1 - at);
            QVERIFY2(same(m, why), ("move " + QByteArray::number(qulonglong(at)) + ": " + why).constData());
        }

        // Then a long random mix, with bursts of inserts into one block so that it splits, and runs of
        // removals that empty blocks.
        std::mt19937 random { quint32(seed) };
        for (int step = 0; step < 6000; ++step) {
            const size_t size = m.ids.size();
            const auto pick = [&](size_t n) { return size_t(random() % n); };
            switch (random() % 5) {
            case 0:
            case 1:
                m.insert(pick(size + 1));
                break;
            case 2:
                if (size > 1)
                    m.erase(pick(size));
                break;
            case 3:
                if (size > 1)
                    m.move(pick(size), pick(size));
                break;
            default: {
                const size_t at = pick(size);
                const bool adding = random() % 2;
                for (int n = 0; n < 300 && m.ids.size() > 1; ++n)
                    adding ? m.insert(std::min(at, m.ids.size())) : m.erase(std::min(at, m.ids.size() - 1));
            }
            }
            if (step % 500 == 499)
                QVERIFY2(same(m, why), ("step " + QByteArray::number(step) + ": " + why).constData());
        }
        QVERIFY2(same(m, why), why.constData());
        const BulkVector<quint32> all = m.order.toVector();
        QVERIFY(std::equal(all.begin(), all.end(), m.ids.begin(), m.ids.end()));
    }
};

QTEST_APPLESS_MAIN(tst_RowOrder)
#include "tst_roworder.moc"
