// SPDX-License-Identifier: MIT
#pragma once
// The data side of both list controls: the list definition file (loading it, saving the line limit),
// the data checks, the list query, loading the rows, the tab choice, and single-row upkeep. Every
// operation is a guarded procedure on the owning control: its failures go to the ErrorReporter.

#include "recordset/ConnectionSettings.h"
#include "recordset/Recordset.h"

#include <Brennvox10/XmlDocument.h>

#include <QString>

#include <array>

class QLabel;
class QWidget;

namespace Brennvox10 {

class Guard;
class ListItem;
class ListView;
class TabStrip;

// The line-limit label's text for a limit as stored or as the user typed it.
QString limitCaption(const QString &lines);

struct TabSpec {
    QString tabID, tabName, tabSQLSource, tabFieldname, tabDefFunc, tabDefValue, tabDefCaption;
    // The choice last made in the strip; kept across definition loads.
    qint16 SelectedTab = 0;
    QString TabFilter;
    QString TabFieldValue;
};

class RecordList {
public:
    // strips hold nullptr for a list without tab strips: it reads no tab definitions and its query
    // has no tab conditions.
    RecordList(QWidget &control, ListView &list, QLabel &limitLabel, std::array<TabStrip *, 2> strips);

    // What the host sets. The connection reaches the data at the next definition load; the data
    // source is read by the checks directly.
    ConnectionSettings &connection() { return m_connection; }
    void setConfigFileName(const QString &path) { m_configFileName = path; }

    // The definition, the remembered tab of each strip, then the rows.
    void Showme();
    void LoadDefinition();
    void LoadList();
    void SaveConfig();
    // The handling of a choice in strip i (0 or 1).
    void tabChoice(int i);
    // Single rows by row key, after the host changed them; the list alone changes.
    void addRow(const QString &rowKey);
    void updateRow(const QString &rowKey);
    void deleteRow(const QString &rowKey);

    const TabSpec &tab(int i) const { return m_tabs[size_t(i)]; }
    // The key the user last picked; a host's handler may change it through the events.
    QString &selectedKey() { return m_selectedKey; }
    qint32 maxLines() const { return m_maxLines; }
    void setMaxLines(qint32 lines) { m_maxLines = lines; }
    // The user's filter, joined to the list query; the filter dialog sets it.
    QString &userFilter() { return m_userFilter; }
    const QString &filtersXml() const { return m_filtersXml; }
    const QString &configFileName() const { return m_configFileName; }
    // The list query as it would be sent now.
    QString listQuery() const;

private:
    bool hasTabs() const { return m_strips[0] || m_strips[1]; }
    // The one way to the definition file, for loading and saving: the default path when none is
    // set, then the document. False when it cannot be read.
    bool openDefinition(Guard &g, xml::Document &doc);
    void readListAttributes(Guard &g, const xml::Node &lrfmt);
    void readColumns(Guard &g, const xml::Node &lrfmt);
    // Returns the Tabs element.
    xml::Node readTabSpecs(Guard &g, const xml::Node &lrfmt);
    void loadTabs(int i);
    // packedFor: the column keys, then the key field, that packer packs rows for.
    void fillList(Guard &g, data::Recordset &rs, const QStringList &packedFor,
        const data::Recordset::ShaperFactory &packer);
    // The data checks as one guarded step; false means stop (after the message, if any).
    bool checksPass(Guard &g);
    // Opens the single-row query; false when it returned no row (the recordset is then closed).
    bool openRow(Guard &g, data::Recordset &rs, const QString &rowKey);
    void fillRow(Guard &g, data::Recordset &rs, const ListItem &item, bool setText);

    QWidget &m_control;
    ListView &m_list;
    QLabel &m_limitLabel;
    std::array<TabStrip *, 2> m_strips;

    ConnectionSettings m_connection;
    qint16 m_loading = 0;
    QString m_configFileName;
    QString m_effectiveConnection;
    QString m_userFilter;
    QString m_filtersXml;
    QString m_selectedKey;
    QString m_caption, m_source, m_keyField;
    qint32 m_maxLines = 0;
    // A long load lets the window repaint, and a host timer may then ask for another load: the one
    // running reads the rows, the nested request is dropped.
    bool m_readingRows = false;
    std::array<TabSpec, 2> m_tabs;
};

} // namespace Brennvox10
