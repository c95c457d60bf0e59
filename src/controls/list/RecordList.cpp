// SPDX-License-Identifier: MIT
#include "controls/list/RecordList.h"
#include "core/BusyCursor.h"

#include "controls/list/Cells.h"
#include "listview/PackedRows.h"
#include "core/Conversions.h"
#include "recordset/RowWalk.h"
#include "xml/XmlHelper.h"
#include "core/Guard.h"
#include "recordset/Recordset.h"
#include "sql/cursor/ActionTime.h"

#include "widgets/Twips.h"
#include <Brennvox10/ListView.h>
#include <Brennvox10/Services.h>
#include <Brennvox10/TabStrip.h>

#include <QScopedValueRollback>
#include <QLabel>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcList, "brennvox.list")

namespace Brennvox10 {

namespace {
// How far ahead the key table is warmed: a few rows' work covers one miss of main memory.
constexpr int KeyLookahead = 8;
const QString MsgCannotLoad = QStringLiteral("no se puede cargar configuracion del listado");
const QString MsgNoKeyField = QStringLiteral("campo principal no definido");
const QString MsgNoDataSource = QStringLiteral("no existe origen de datos");
// The definition's root, and its line limit: the one attribute the list writes back.
const QString DefinitionElement = QStringLiteral("lrfmt");
const QString MaxLinesAttribute = QStringLiteral("ListMaxLineas");
// The tabs a strip's query adds are keyed by this and their value; its default tab by its value alone.
const QString TabKeyPrefix = QStringLiteral("i");

// A failing step of a single-row operation closes its recordset before it is reported, so what
// follows a skip fails again on the closed recordset and is reported again.
template <class F> auto closingOnFailure(data::Recordset &rs, F &&body)
{
    return [&rs, body = std::forward<F>(body)] {
        try {
            body();
        } catch (...) {
            closeIfOpen(rs);
            throw;
        }
    };
}

QString selectFrom(const QString &source)
{
    return QStringLiteral("Select * from (") + source + QStringLiteral(")");
}

QString rowQuery(const QString &source, const QString &keyField, const QString &rowKey)
{
    return selectFrom(source) + QStringLiteral(" where ") + keyField + QStringLiteral(" = '") + rowKey
        + QStringLiteral("'");
}
} // namespace

QString limitCaption(const QString &lines)
{
    return QStringLiteral("Limitar lineas a ") + lines;
}

RecordList::RecordList(QWidget &control, ListView &list, QLabel &limitLabel, std::array<TabStrip *, 2> strips)
    : m_control(control)
    , m_list(list)
    , m_limitLabel(limitLabel)
    , m_strips(strips)
{
}

void RecordList::Showme()
{
    // The tab queries and the list query share one time limit.
    const data::ActionTime action;
    const busy::Scope busy;
    guarded(m_control, [&](Guard &g) {
        g.step([&] { LoadDefinition(); });
        g.step([&] { m_loading = 1; });
        for (size_t i = 0; i < m_strips.size(); ++i) {
            if (!m_strips[i])
                continue;
            // The remembered tab where it still exists, else the first.
            g.step([&] {
                const int n = m_strips[i]->Tabs().Count();
                const int p = m_tabs[i].SelectedTab;
                m_strips[i]->selectTab(p >= 1 && p <= n ? p : 1);
            });
        }
        g.step([&] { m_loading = 0; });
        g.step([&] { LoadList(); });
    });
}

// ---- the definition file ------------------------------------------------------------------------

bool RecordList::openDefinition(Guard &g, xml::Document &doc)
{
    g.step([&] {
        if (m_configFileName.isEmpty())
            m_configFileName = services().libraryFolder() + QStringLiteral("/conf/lrfmt.conf");
    });
    bool loaded = false;
    g.step([&] { loaded = doc.load(m_configFileName); });
    if (!loaded)
        qCWarning(lcList).noquote() << "cannot load" << m_configFileName << ":" << doc.errorText();
    return loaded;
}

void RecordList::LoadDefinition()
{
    guarded(m_control, [&](Guard &g) {
        g.step([&] { m_loading = 1; });
        xml::Document doc;
        if (!openDefinition(g, doc)) {
            g.step([&] { services().messageBox(MsgCannotLoad); });
            return;
        }
        xml::Node lrfmt;
        g.step([&] { lrfmt = xmlHelper().FindNode(DefinitionElement, doc.childNodes()); });
        readListAttributes(g, lrfmt);
        g.step([&] { m_list.ListItems().Clear(); });
        g.step([&] { m_list.ColumnHeaders().Clear(); });
        readColumns(g, lrfmt);
        const xml::Node tabsNode = hasTabs() ? readTabSpecs(g, lrfmt) : xml::Node();
        g.step([&] { m_effectiveConnection = m_connection.compose(); });
        for (int i = 0; i < 2; ++i)
            loadTabs(i);
        // With tab strips the Filters element is found beside Tabs, that is among lrfmt's children
        // again, by way of the Tabs element (so a missing Tabs element is reported here too).
        g.step([&] {
            const xml::Node parent = hasTabs() ? parentOf(tabsNode) : lrfmt;
            m_filtersXml = xmlOf(xmlHelper().FindNode(QStringLiteral("Filters"), childNodesOf(parent)));
        });
        g.step([&] { m_loading = 0; });
    });
}

void RecordList::readListAttributes(Guard &g, const xml::Node &lrfmt)
{
    XmlHelper &helper = xmlHelper();
    // One attribute read is one statement: a skip leaves that one target as it was.
    g.step([&] { m_caption = helper.GetAttribute(lrfmt, QStringLiteral("Caption")); });
    g.step([&] { m_keyField = helper.GetAttribute(lrfmt, QStringLiteral("Key")); });
    g.step([&] { m_source = helper.GetAttribute(lrfmt, QStringLiteral("ListSQLSource")); });
    g.step([&] { m_maxLines = toLong(helper.GetAttribute(lrfmt, MaxLinesAttribute)); });
    g.step([&] { m_limitLabel.setText(limitCaption(QString::number(m_maxLines))); });
}

void RecordList::readColumns(Guard &g, const xml::Node &lrfmt)
{
    XmlHelper &helper = xmlHelper();
    xml::Node columns;
    g.step([&] { columns = helper.FindNode(QStringLiteral("Columns"), childNodesOf(lrfmt)); });
    std::vector<xml::Node> columnNodes;
    g.step([&] { columnNodes = childNodesOf(columns); });
    // Kept across entries: a skipped read leaves the previous entry's value, as a statement
    // sequence over the same variables would.
    qint32 width = 0;
    qint16 alignment = 0;
    QString caption, fieldName;
    for (const xml::Node &column : columnNodes) {
        g.step([&] { width = toLong(helper.GetAttribute(column, QStringLiteral("ColWidth"))); });
        g.step([&] { caption = helper.GetAttribute(column, QStringLiteral("ColCaption")); });
        g.step([&] { alignment = toInteger(helper.GetAttribute(column, QStringLiteral("ColAligment"))); });
        g.step([&] { fieldName = helper.GetAttribute(column, QStringLiteral("ColFieldname")); });
        g.step([&] {
            const float listWidth = float(twipsGeometry(&m_list).width());
            m_list.ColumnHeaders().Add(fieldName, caption, listWidth * float(width) / 100.0f, alignment);
        });
    }
}

xml::Node RecordList::readTabSpecs(Guard &g, const xml::Node &lrfmt)
{
    XmlHelper &helper = xmlHelper();
    xml::Node tabsNode;
    g.step([&] { tabsNode = helper.FindNode(QStringLiteral("Tabs"), childNodesOf(lrfmt)); });
    std::vector<xml::Node> entries;
    g.step([&] { entries = childNodesOf(tabsNode); });
    // One entry per strip; more are not read.
    for (size_t k = 0; k < std::min<size_t>(entries.size(), 2); ++k) {
        TabSpec &t = m_tabs[k];
        const std::pair<const char16_t *, QString *> fields[]
            = { { u"tabID", &t.tabID }, { u"tabName", &t.tabName }, { u"tabSQLSource", &t.tabSQLSource },
                  { u"tabDefFunc", &t.tabDefFunc }, { u"tabDefValue", &t.tabDefValue },
                  { u"tabDefCaption", &t.tabDefCaption }, { u"tabFieldname", &t.tabFieldname } };
        for (const auto &[name, target] : fields)
            g.step([&] { *target = helper.GetAttribute(entries[k], QString::fromUtf16(name)); });
    }
    return tabsNode;
}

// One strip's tabs from its own query; runs inside LoadDefinition's procedure.
void RecordList::loadTabs(int i)
{
    TabStrip *strip = m_strips[size_t(i)];
    if (!strip)
        return;
    guarded(m_control, [&](Guard &g) {
        const TabSpec &t = m_tabs[size_t(i)];
        data::Recordset rs;
        g.step([&] { strip->Tabs().Clear(); });
        g.step([&] { rs.Open(t.tabSQLSource, m_effectiveConnection, 3, 3, -1); });
        g.step([&] { strip->Tabs().Clear(); });
        g.step([&] { strip->Tabs().Add(t.tabDefValue, t.tabDefCaption); });
        forEachRow(g, rs, [&] {
            g.step(
                [&] { strip->Tabs().Add(TabKeyPrefix + fieldText(rs.Fields(0)), fieldText(rs.Fields(1))); });
            return true;
        });
        g.step([&] { rs.Close(); });
    });
}

void RecordList::SaveConfig()
{
    guarded(m_control, [&](Guard &g) {
        xml::Document doc;
        if (!openDefinition(g, doc))
            return;
        XmlHelper &helper = xmlHelper();
        xml::Node lrfmt;
        g.step([&] { lrfmt = helper.FindNode(DefinitionElement, doc.childNodes()); });
        if (lrfmt.isNull())
            return;
        g.step([&] {
            helper.SetAttribute(MaxLinesAttribute, formatPlainDigits(m_maxLines), lrfmt);
        });
    });
}

// ---- tabs -----------------------------------------------------------------------------------------

void RecordList::tabChoice(int i)
{
    TabStrip *strip = m_strips[size_t(i)];
    if (!strip)
        return;
    const data::ActionTime action;
    guarded(m_control, [&](Guard &g) {
        TabSpec &t = m_tabs[size_t(i)];
        Tab *tab = nullptr;
        int p = 0;
        g.step([&] {
            tab = strip->SelectedItem();
            if (!tab)
                throw failureFor(FailureNumber::ObjectNotSet);
            p = tab->Index();
        });
        if (!tab)
            return;
        if (p == 1) {
            g.step([&] { t.TabFieldValue = tab->Key(); });
            g.step([&] { t.TabFilter = t.tabDefFunc + QStringLiteral(" like ") + t.TabFieldValue; });
        } else {
            g.step([&] { t.TabFieldValue = tab->Key().mid(TabKeyPrefix.size()); });
            g.step([&] {
                t.TabFilter
                    = t.tabFieldname + QStringLiteral(" like '") + t.TabFieldValue + QStringLiteral("'");
            });
        }
        g.step([&] { t.SelectedTab = qint16(p); });
        if (m_loading == 0)
            g.step([&] { LoadList(); });
    });
}

// ---- rows -----------------------------------------------------------------------------------------

bool RecordList::checksPass(Guard &g)
{
    bool go = false;
    g.step([&] {
        if (m_effectiveConnection.isEmpty() || m_connection.dataSource.isEmpty())
            return;
        if (m_keyField.isEmpty()) {
            services().messageBox(MsgNoKeyField);
            return;
        }
        if (!services().fileExists(m_connection.dataSource)) {
            services().messageBox(MsgNoDataSource);
            return;
        }
        go = true;
    });
    return go;
}

QString RecordList::listQuery() const
{
    QString query = selectFrom(m_source);
    if (!hasTabs()) {
        if (!m_userFilter.isEmpty())
            query += QStringLiteral(" where (") + m_userFilter + QStringLiteral(")");
        return query;
    }
    QString c;
    for (const TabSpec &t : m_tabs) {
        if (!c.isEmpty())
            c += QStringLiteral(" and ");
        c += QStringLiteral(" ") + t.TabFilter;
    }
    if (!m_userFilter.isEmpty())
        c += QStringLiteral(" and (") + m_userFilter + QStringLiteral(")");
    return query + QStringLiteral("where ") + c;
}

void RecordList::LoadList()
{
    if (m_readingRows)
        return;
    const QScopedValueRollback<bool> reading(m_readingRows, true);
    const data::ActionTime action;
    const busy::Scope busy;
    guarded(m_control, [&](Guard &g) {
        if (!checksPass(g))
            return;
        QString query;
        g.step([&] { query = listQuery(); });
        data::Recordset rs;
        // The rows shown are all the rows read: the engine reads ahead on its own thread while the
        // list stores, and stops at the line limit.
        rs.setReadAhead(true);
        rs.setMaxRecords(std::max<qint64>(m_maxLines, 0));
        // The reader thread packs each row as the list will take it, so that adding it here is one
        // step: the fields are those fillList resolves, by the same names.
        QStringList packedFor;
        for (int j = 1; j <= m_list.ColumnHeaders().Count(); ++j)
            packedFor << m_list.ColumnHeaders().Item(j)->Key();
        packedFor << m_keyField;
        const data::Recordset::ShaperFactory packer = [packedFor](const std::vector<data::ColumnInfo> &columns) {
            std::vector<int> fieldOf;
            for (qsizetype j = 0; j + 1 < packedFor.size(); ++j)
                fieldOf.push_back(data::Recordset::fieldIndex(columns, packedFor[j]));
            return rowPacker(columns, data::Recordset::fieldIndex(columns, packedFor.back()), std::move(fieldOf));
        };
        rs.setRowShaper(packer);
        g.step([&] {
            rs.setCursorLocation(3);
            rs.Open(query, m_effectiveConnection, 3, 3, -1);
        });
        // The rows read reuse the memory of the rows they replace; what they leave goes back at the
        // end, however the load ends.
        struct LoadDone {
            ListItems &items;
            ~LoadDone() { loadDone(items); }
        } done { m_list.ListItems() };
        g.step([&] { clearForLoad(m_list.ListItems()); });
        fillList(g, rs, packedFor, packer);
        g.step([&] { rs.Close(); });
    });
}

void RecordList::fillList(
    Guard &g, data::Recordset &rs, const QStringList &packedFor, const data::Recordset::ShaperFactory &packer)
{
    ListItems &items = m_list.ListItems();
    // Fields are resolved once per load; a column whose field is missing fails on every row, as a
    // lookup by name would.
    ColumnHeaders &headers = m_list.ColumnHeaders();
    const int columnCount = headers.Count();
    std::vector<int> fieldOf(size_t(std::max(columnCount, 1)), -1);
    std::vector<QString> fieldNames(size_t(std::max(columnCount, 1)));
    for (int j = 1; j <= columnCount; ++j)
        fieldNames[size_t(j - 1)] = headers.Item(j)->Key();
    int keyIndex = -1;
    if (rs.State() != 0) {
        keyIndex = rs.fieldIndex(m_keyField);
        for (int j = 1; j <= columnCount; ++j)
            fieldOf[size_t(j - 1)] = rs.fieldIndex(fieldNames[size_t(j - 1)]);
    }
    const auto field = [&](int index, const QString &name) -> data::Field & {
        if (index < 0)
            return rs.Fields(name); // fails with the provider's own "item not found"
        return rs.Fields(index);
    };
    QByteArray keyBuffer;
    keyBuffer.reserve(64);
    // Rows the reader thread left unpacked (it packs only while it keeps ahead) are packed here, for
    // the columns and key there are now, if they are still those the packer was made for.
    data::RowShaper packHere;
    if (rs.State() != 0
        && packedFor == QStringList(fieldNames.begin(), fieldNames.begin() + columnCount) + QStringList { m_keyField })
        packHere = packer(rs.columns());
    std::vector<char> packedHere;
    std::vector<CellValue> unpacked;

    // The recordset itself ends at the line limit.
    forEachRow(g, rs, [&] {
        // A packed row goes in whole; its key taken (or the columns changed since it was packed), it
        // goes in cell by cell as below, to meet that failure in order. A row that cannot be packed
        // takes the long way, reading its fields.
        QByteArrayView packed = rs.shaped();
        const bool packedAhead = !packed.isEmpty();
        if (packedAhead) {
            prefetchPackedRow(items, rs.shaped(KeyLookahead));
        } else if (packHere) {
            packedHere.clear();
            if (rs.shapeCurrent(packHere, packedHere))
                packed = QByteArrayView(packedHere.data(), qsizetype(packedHere.size()));
        }
        if (!packed.isEmpty() && headers.Count() == columnCount && addPackedRow(items, packed))
            return true;
        if (packedAhead) {
            // The reader kept no fields for this row: its packed cells are what they would give.
            QByteArrayView key;
            unpackRow(packed, key, unpacked);
            ListItem item;
            g.step([&] { item = items.Add(key, unpacked[0]); });
            for (size_t j = 1; item && j < unpacked.size(); ++j)
                g.step([&] { item.setSubItems(int(j), unpacked[j]); });
            return true;
        }
        ListItem item;
        g.step([&] {
            if (columnCount == 0)
                throw failureFor(FailureNumber::IndexOutOfBounds);
            const QByteArrayView key = itemKeyFor(field(keyIndex, m_keyField), keyBuffer);
            item = items.Add(key, cellFor(field(fieldOf[0], fieldNames[0]), false));
        });
        // A row whose item could not be added has no cells to set.
        if (item) {
            for (int j = 2; j <= columnCount; ++j) {
                g.step([&] {
                    item.setSubItems(
                        j - 1, cellFor(field(fieldOf[size_t(j - 1)], fieldNames[size_t(j - 1)]), true));
                });
            }
        }
        return true;
    });
}

bool RecordList::openRow(Guard &g, data::Recordset &rs, const QString &rowKey)
{
    g.step(closingOnFailure(rs, [&] {
        rs.setCursorLocation(3);
        rs.Open(rowQuery(m_source, m_keyField, rowKey), m_effectiveConnection, 3, 3, -1);
    }));
    bool empty = false;
    g.step(closingOnFailure(rs, [&] {
        requireOpen(rs);
        empty = rs.Eof();
    }));
    if (empty)
        g.step([&] { rs.Close(); });
    return !empty;
}

void RecordList::fillRow(Guard &g, data::Recordset &rs, const ListItem &item, bool setText)
{
    ColumnHeaders &headers = m_list.ColumnHeaders();
    const int columnCount = headers.Count();
    if (setText) {
        g.step(closingOnFailure(rs, [&] {
            requireOpen(rs);
            item.setText(cellFor(rs.Fields(headers.Item(1)->Key()), false));
        }));
    }
    for (int j = 2; j <= columnCount; ++j) {
        g.step(closingOnFailure(rs, [&] {
            requireOpen(rs);
            item.setSubItems(j - 1, cellFor(rs.Fields(headers.Item(j)->Key()), true));
        }));
    }
}

void RecordList::addRow(const QString &rowKey)
{
    const busy::Scope busy;
    guarded(m_control, [&](Guard &g) {
        if (!checksPass(g))
            return;
        data::Recordset rs;
        if (!openRow(g, rs, rowKey))
            return;
        ListItem item;
        g.step(closingOnFailure(rs, [&] {
            requireOpen(rs);
            QByteArray keyBuffer;
            const QByteArrayView key = itemKeyFor(rs.Fields(m_keyField), keyBuffer);
            if (m_list.ColumnHeaders().Count() == 0)
                throw failureFor(FailureNumber::IndexOutOfBounds);
            item = m_list.ListItems().Add(
                key, cellFor(rs.Fields(m_list.ColumnHeaders().Item(1)->Key()), false));
        }));
        if (item)
            fillRow(g, rs, item, false);
        g.step([&] { closeIfOpen(rs); });
    });
}

void RecordList::updateRow(const QString &rowKey)
{
    const busy::Scope busy;
    guarded(m_control, [&](Guard &g) {
        if (!checksPass(g))
            return;
        ListItem item;
        g.step([&] { item = m_list.ListItems().Item(itemKeyOf(rowKey)); });
        data::Recordset rs;
        if (!openRow(g, rs, rowKey))
            return;
        if (item)
            fillRow(g, rs, item, true);
        g.step([&] { closeIfOpen(rs); });
    });
}

void RecordList::deleteRow(const QString &rowKey)
{
    guarded(m_control, [&](Guard &g) { g.step([&] { m_list.ListItems().Remove(itemKeyOf(rowKey)); }); });
}

} // namespace Brennvox10
