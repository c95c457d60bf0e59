#pragma once
// What both list controls share: the list definition (its loading and the saving of the line
// limit), the data checks, the list query and the loading of rows, and the handling of a tab choice.
// Every operation here is guarded on the owning control: failures go to the ErrorReporter.

#include <QString>

#include <array>

class QLabel;
class QWidget;

namespace Brennvox10 {

class Guard;
class ListItem;
class ListView;
class TabStrip;
namespace data {
class Recordset;
}

struct TabSpec {
    QString tabID, tabName, tabSQLSource, tabFieldname, tabDefFunc, tabDefValue, tabDefCaption;
    qint16 SelectedTab = 0;
    QString TabFilter;
    QString TabFieldValue;
};

struct ConnectionSettings {
    QString connectionString, dataSource, user, password;

    // connection string + data source + ";Jet Oledb:database password=" + password; the user takes
    // no part.
    QString compose() const;
};

class RecordList {
public:
    enum class QueryShape { TabConditions, SingleList };

    // strips may hold nullptr (a list without tab strips).
    RecordList(QWidget &control, ListView &list, QLabel &limitLabel, std::array<TabStrip *, 2> strips,
        QueryShape shape = QueryShape::TabConditions);

    // State; the owning control reads and writes it directly.
    qint16 Loading = 0;
    QString configFileName;
    QString EffectiveConnectionString;
    QString UserFilter;
    QString FiltersXml;
    ConnectionSettings connection;
    QString selectedKey;
    QString ListCaption, ListSource, KeyField;
    qint32 MaxLines = 0;
    std::array<TabSpec, 2> tabs;

    void LoadDefinition();
    void LoadList();
    // The steps of SaveConfig, run under the caller's guard.
    void SaveConfig();
    // The handling of a choice in strip i (0 or 1).
    void tabChoice(int i);
    // Single rows by row key, after the host changed them; the list alone changes.
    void addRow(const QString &rowKey);
    void updateRow(const QString &rowKey);
    void deleteRow(const QString &rowKey);

    // Checks that must pass before rows are read; false means stop (after the message, if any).
    bool dataSourceChecks();
    // The list query as it would be sent now.
    QString listQuery() const;
    QString defaultConfigPath() const;

private:
    void loadTabs(int i);
    // The data checks as one guarded step; false means stop.
    bool checksPass(Guard &g);
    // Opens the single-row query; false when it returned no row (the recordset is then closed).
    bool openRow(Guard &g, data::Recordset &rs, const QString &rowKey);
    void fillRow(Guard &g, data::Recordset &rs, const ListItem &item, bool setText);

    QWidget &m_control;
    ListView &m_list;
    QLabel &m_limitLabel;
    std::array<TabStrip *, 2> m_strips;
    QueryShape m_shape;
};

} // namespace Brennvox10
