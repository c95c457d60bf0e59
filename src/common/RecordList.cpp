#include "common/RecordList.h"

#include "common/Cells.h"
#include "common/Conversions.h"
#include "common/XmlHelper.h"
#include "failure/Guard.h"
#include "platform/data/Recordset.h"
#include "platform/widgets/Twips.h"

#include <Brennvox10/ListView.h>
#include <Brennvox10/Services.h>
#include <Brennvox10/TabStrip.h>

#include <QLabel>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcList, "brennvox.list")

namespace Brennvox10 {

namespace {
const QString MsgCannotLoad = QStringLiteral("no se puede cargar configuracion del listado");
const QString MsgNoKeyField = QStringLiteral("campo principal no definido");
const QString MsgNoDataSource = QStringLiteral("no existe origen de datos");
const QString LimitCaption = QStringLiteral("Limitar lineas a ");

// A recordset that was never opened (its Open was skipped) cannot be read.
void requireOpen(const data::Recordset &rs)
{
    if (rs.State() == 0)
        throw Failure(3704, QStringLiteral("Operation is not allowed when the object is closed."));
}

void closeIfOpen(data::Recordset &rs)
{
    if (rs.State() != 0)
        rs.Close();
}
} // namespace

QString ConnectionSettings::compose() const
{
    return connectionString + dataSource + QStringLiteral(";Jet Oledb:database password=") + password;
}

RecordList::RecordList(
    QWidget &control, ListView &list, QLabel &limitLabel, std::array<TabStrip *, 2> strips, QueryShape shape)
    : m_control(control)
    , m_list(list)
    , m_limitLabel(limitLabel)
    , m_strips(strips)
    , m_shape(shape)
{
}

QString RecordList::defaultConfigPath() const
{
    return services().libraryFolder() + QStringLiteral("/conf/lrfmt.conf");
}

void RecordList::LoadDefinition()
{
    guarded(m_control, [&](Guard &g) {
        g.step([&] { Loading = 1; });
        xml::Document doc;
        g.step([&] {
            if (configFileName.isEmpty())
                configFileName = defaultConfigPath();
        });
        bool loaded = false;
        g.step([&] { loaded = doc.load(configFileName); });
        if (!loaded) {
            qCWarning(lcList).noquote() << "cannot load" << configFileName << ":" << doc.errorText();
            g.step([&] { services().messageBox(MsgCannotLoad); });
            return;
        }
        XmlHelper &helper = xmlHelper();
        xml::Node lrfmt;
        g.step([&] { lrfmt = helper.FindNode(QStringLiteral("lrfmt"), doc.childNodes()); });
        // One attribute read is one statement: a skip leaves that one target as it was.
        const auto readText = [&](const xml::Node &node, QLatin1String name, QString &target) {
            g.step([&] { target = helper.GetAttribute(node, name); });
        };
        readText(lrfmt, QLatin1String("Caption"), ListCaption);
        readText(lrfmt, QLatin1String("Key"), KeyField);
        readText(lrfmt, QLatin1String("ListSQLSource"), ListSource);
        g.step([&] { MaxLines = toLong(helper.GetAttribute(lrfmt, QStringLiteral("ListMaxLineas"))); });
        g.step([&] { m_limitLabel.setText(LimitCaption + QString::number(MaxLines)); });
        g.step([&] { m_list.ListItems().Clear(); });
        g.step([&] { m_list.ColumnHeaders().Clear(); });

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
            g.step([&] { width = toLong(helper.GetAttribute(column, QLatin1String("ColWidth"))); });
            readText(column, QLatin1String("ColCaption"), caption);
            g.step([&] { alignment = toInteger(helper.GetAttribute(column, QLatin1String("ColAligment"))); });
            readText(column, QLatin1String("ColFieldname"), fieldName);
            g.step([&] {
                const float listWidth = float(twipsGeometry(&m_list).width());
                m_list.ColumnHeaders().Add(fieldName, caption, listWidth * float(width) / 100.0f, alignment);
            });
        }

        xml::Node tabsNode;
        if (m_shape == QueryShape::TabConditions) {
            g.step([&] { tabsNode = helper.FindNode(QStringLiteral("Tabs"), childNodesOf(lrfmt)); });
            std::vector<xml::Node> tabNodes;
            g.step([&] { tabNodes = childNodesOf(tabsNode); });
            int k = 0;
            for (const xml::Node &entry : tabNodes) {
                if (k > 1)
                    break; // only two strips
                TabSpec &t = tabs[size_t(k)];
                readText(entry, QLatin1String("tabID"), t.tabID);
                readText(entry, QLatin1String("tabName"), t.tabName);
                readText(entry, QLatin1String("tabSQLSource"), t.tabSQLSource);
                readText(entry, QLatin1String("tabDefFunc"), t.tabDefFunc);
                readText(entry, QLatin1String("tabDefValue"), t.tabDefValue);
                readText(entry, QLatin1String("tabDefCaption"), t.tabDefCaption);
                readText(entry, QLatin1String("tabFieldname"), t.tabFieldname);
                ++k;
            }
        }

        g.step([&] { EffectiveConnectionString = connection.compose(); });

        if (m_shape == QueryShape::TabConditions) {
            for (int i = 0; i < 2; ++i)
                loadTabs(i);
            g.step([&] {
                FiltersXml
                    = xmlOf(helper.FindNode(QStringLiteral("Filters"), childNodesOf(parentOf(tabsNode))));
            });
        } else {
            g.step(
                [&] { FiltersXml = xmlOf(helper.FindNode(QStringLiteral("Filters"), childNodesOf(lrfmt))); });
        }
        g.step([&] { Loading = 0; });
    });
}

// One strip's tabs from its own query; runs inside LoadDefinition's procedure.
void RecordList::loadTabs(int i)
{
    TabStrip *strip = m_strips[size_t(i)];
    if (!strip)
        return;
    guarded(m_control, [&](Guard &g) {
        const TabSpec &t = tabs[size_t(i)];
        data::Recordset rs;
        g.step([&] { strip->Tabs().Clear(); });
        g.step([&] { rs.Open(t.tabSQLSource, EffectiveConnectionString, 3, 3, -1); });
        g.step([&] { strip->Tabs().Clear(); });
        g.step([&] { strip->Tabs().Add(t.tabDefValue, t.tabDefCaption); });
        for (;;) {
            bool more = false;
            if (!g.step([&] {
                    requireOpen(rs);
                    more = !rs.Eof();
                }))
                break;
            if (!more)
                break;
            g.step([&] {
                strip->Tabs().Add(QStringLiteral("i") + fieldText(rs.Fields(0)), fieldText(rs.Fields(1)));
            });
            g.step([&] {
                requireOpen(rs);
                rs.MoveNext();
            });
        }
        g.step([&] { rs.Close(); });
    });
}

void RecordList::SaveConfig()
{
    guarded(m_control, [&](Guard &g) {
        xml::Document doc;
        g.step([&] {
            if (configFileName.isEmpty())
                configFileName = defaultConfigPath();
        });
        bool loaded = false;
        g.step([&] { loaded = doc.load(configFileName); });
        if (!loaded)
            return;
        XmlHelper &helper = xmlHelper();
        xml::Node lrfmt;
        g.step([&] { lrfmt = helper.FindNode(QStringLiteral("lrfmt"), doc.childNodes()); });
        if (lrfmt.isNull())
            return;
        g.step([&] {
            helper.SetAttribute(QStringLiteral("ListMaxLineas"), formatPlainDigits(MaxLines), lrfmt);
        });
    });
}

void RecordList::tabChoice(int i)
{
    TabStrip *strip = m_strips[size_t(i)];
    if (!strip)
        return;
    guarded(m_control, [&](Guard &g) {
        TabSpec &t = tabs[size_t(i)];
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
            g.step([&] { t.TabFieldValue = tab->Key().mid(1); });
            g.step([&] {
                t.TabFilter
                    = t.tabFieldname + QStringLiteral(" like '") + t.TabFieldValue + QStringLiteral("'");
            });
        }
        g.step([&] { t.SelectedTab = qint16(p); });
        if (Loading == 0)
            g.step([&] { LoadList(); });
    });
}

bool RecordList::dataSourceChecks()
{
    if (EffectiveConnectionString.isEmpty())
        return false;
    if (connection.dataSource.isEmpty())
        return false;
    if (KeyField.isEmpty()) {
        services().messageBox(MsgNoKeyField);
        return false;
    }
    if (!services().fileExists(connection.dataSource)) {
        services().messageBox(MsgNoDataSource);
        return false;
    }
    return true;
}

QString RecordList::listQuery() const
{
    QString query = QStringLiteral("Select * from (") + ListSource + QStringLiteral(")");
    if (m_shape == QueryShape::SingleList) {
        if (!UserFilter.isEmpty())
            query += QStringLiteral(" where (") + UserFilter + QStringLiteral(")");
        return query;
    }
    QString c;
    for (const TabSpec &t : tabs) {
        if (!c.isEmpty())
            c += QStringLiteral(" and ");
        c += QStringLiteral(" ") + t.TabFilter;
    }
    if (!UserFilter.isEmpty())
        c += QStringLiteral(" and (") + UserFilter + QStringLiteral(")");
    if (!c.isEmpty())
        c = QStringLiteral("where ") + c;
    return query + c;
}

void RecordList::LoadList()
{
    guarded(m_control, [&](Guard &g) {
        if (!checksPass(g))
            return;
        QString query;
        g.step([&] { query = listQuery(); });
        data::Recordset rs;
        g.step([&] {
            rs.setCursorLocation(3);
            rs.Open(query, EffectiveConnectionString, 3, 3, -1);
        });
        ListItems &items = m_list.ListItems();
        g.step([&] { items.Clear(); });

        // Fields are resolved once per load; a column whose field is missing fails on every row,
        // as a lookup by name would.
        ColumnHeaders &headers = m_list.ColumnHeaders();
        const int columnCount = headers.Count();
        std::vector<int> fieldOf(size_t(std::max(columnCount, 1)), -1);
        std::vector<QString> fieldNames(size_t(std::max(columnCount, 1)));
        for (int j = 1; j <= columnCount; ++j)
            fieldNames[size_t(j - 1)] = headers.Item(j)->Key();
        int keyIndex = -1;
        if (rs.State() != 0) {
            keyIndex = rs.fieldIndex(KeyField);
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

        qint32 n = 1;
        for (;;) {
            bool more = false;
            if (!g.step([&] {
                    requireOpen(rs);
                    more = !rs.Eof() && n <= MaxLines;
                }))
                break;
            if (!more)
                break;
            ListItem item;
            g.step([&] {
                if (columnCount == 0)
                    throw failureFor(FailureNumber::IndexOutOfBounds);
                const QByteArrayView key = itemKeyFor(field(keyIndex, KeyField), keyBuffer);
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
            g.step([&] {
                requireOpen(rs);
                rs.MoveNext();
            });
            ++n;
        }
        g.step([&] { rs.Close(); });
    });
}

namespace {
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

QString rowQuery(const QString &source, const QString &keyField, const QString &rowKey)
{
    return QStringLiteral("Select * from (") + source + QStringLiteral(") where ") + keyField
        + QStringLiteral(" = '") + rowKey + QStringLiteral("'");
}
} // namespace

bool RecordList::checksPass(Guard &g)
{
    bool go = false;
    g.step([&] { go = dataSourceChecks(); });
    return go;
}

bool RecordList::openRow(Guard &g, data::Recordset &rs, const QString &rowKey)
{
    g.step(closingOnFailure(rs, [&] {
        rs.setCursorLocation(3);
        rs.Open(rowQuery(ListSource, KeyField, rowKey), EffectiveConnectionString, 3, 3, -1);
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
            const QByteArrayView key = itemKeyFor(rs.Fields(KeyField), keyBuffer);
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
    guarded(m_control, [&](Guard &g) {
        if (!checksPass(g))
            return;
        ListItem item;
        g.step([&] { item = m_list.ListItems().Item(QStringLiteral("T") + rowKey); });
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
    guarded(m_control,
        [&](Guard &g) { g.step([&] { m_list.ListItems().Remove(QStringLiteral("T") + rowKey); }); });
}

} // namespace Brennvox10
