// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// A report-style list of keyed rows with sub-items, over an item view and a model of our own. Rows
/// are kept compactly as typed cell values and turned into text only when shown, so a list of a
/// million rows costs little more than its data; adding, changing or removing one row, sorted or
/// not, costs the same in a list of a million as in a list of ten thousand. Collections are
/// 1-based. Positions and sizes are twips (1/1440 inch; 15 twips a pixel at 96 dpi).

#include <Brennvox10/brennvox10_export.h>

#include <QByteArray>
#include <QByteArrayView>
#include <QLocale>
#include <QMetaType>
#include <QString>
#include <QWidget>

#include <memory>

class QAbstractItemView;
class QHeaderView;

namespace Brennvox10 {

class ListView;
class ListViewPrivate;

/// One cell as loaded: a typed value and the pattern it is shown with. Text is UTF-8 and is copied
/// when the cell is stored.
struct BRENNVOX10_EXPORT CellValue {
    /// What the value is.
    enum class Kind : quint8 { Empty, Text, Integer, Real, DateTime, Boolean };
    /// Default: the value's own text form; Money: "#,##0.00"; Date: "dd/mm/yyyy".
    enum class Style : quint8 { Default, Money, Date };

    /// What the value is.
    Kind kind = Kind::Empty;
    /// The pattern it is shown with.
    Style style = Style::Default;
    bool hasTime = false; ///< DateTime: whether a time of day is part of the value
    qint32 msecs = 0; ///< DateTime: milliseconds since midnight
    qint64 integer = 0; ///< Integer; Boolean (0 or 1); DateTime: Julian day
    double real = 0; ///< Real
    QByteArrayView text {}; ///< Text, UTF-8
    QByteArray ownText {}; ///< the bytes text views when the value owns them (fromString)

    /// The bytes stay the caller's: they must outlive the value.
    static CellValue fromText(QByteArrayView utf8, Style style = Style::Default);
    /// The value carries its own copy: the caller keeps nothing alive.
    static CellValue fromString(const QString &text);
    /// An integer.
    static CellValue fromInteger(qint64 value, Style style = Style::Default);
    /// A real number.
    static CellValue fromReal(double value, Style style = Style::Default);
    /// A date: its Julian day, the milliseconds since midnight and whether the time is part of it.
    static CellValue fromDate(
        qint64 julianDay, qint32 msecsOfDay, bool hasTime, Style style = Style::Default);
    /// A boolean.
    static CellValue fromBoolean(bool value);
};

/// The text a cell shows under a locale: numbers with the locale's decimal separator, no grouping
/// and all their digits; Money grouped with two decimals; Date as two-digit day and month and a
/// four-digit year with the locale's date separator; a default date as the locale's short date with a
/// four-digit year, then the time if it has one; booleans "Verdadero"/"Falso" under Spanish, else
/// "True"/"False".
BRENNVOX10_EXPORT QString cellText(const CellValue &cell, const QLocale &locale = QLocale());

/// One column of a ListView.
class BRENNVOX10_EXPORT ColumnHeader {
public:
    /// The column's key.
    QString Key() const;
    /// The header text.
    QString Text() const;
    float Width() const; ///< twips, exactly as given
    qint16 Alignment() const; ///< 0 left, 1 right, 2 centre
    qint16 Position() const; ///< 1-based display position

private:
    friend class ListViewPrivate;
    friend class ColumnHeaders;
    ColumnHeader() = default;
    ListViewPrivate *d = nullptr;
    QString m_key, m_text;
    float m_width = 0;
    qint16 m_alignment = 0;
    qint16 m_index = 0;
};

/// The columns of a ListView, 1-based.
class BRENNVOX10_EXPORT ColumnHeaders {
public:
    /// The number of columns.
    int Count() const;
    /// 1-based; out of range is Failure 35600 (FailureNumber::IndexOutOfBounds).
    ColumnHeader *Item(int index) const;
    /// Failure 35601 (FailureNumber::ElementNotFound) when no column has that key.
    ColumnHeader *Item(const QString &key) const;
    /// Appends a column. A repeated non-empty key is Failure 35602 (FailureNumber::KeyNotUnique);
    /// an alignment outside 0..2 or a negative width is Failure 380
    /// (FailureNumber::InvalidPropertyValue).
    ColumnHeader *Add(const QString &key, const QString &text, float widthTwips, qint16 alignment = 0);
    /// Removes every column, and with them every row.
    void Clear();

private:
    friend class ListView;
    friend class ListViewPrivate;
    explicit ColumnHeaders(ListViewPrivate *d)
        : d(d)
    {
    }
    ListViewPrivate *d;
};

/// A handle to one row: cheap to copy, null when it names no row. Once its row is removed or the
/// list cleared it names no row, even when a new row takes the same key: using it is then Failure
/// 35601 (FailureNumber::ElementNotFound), as a lookup of a missing key is.
class BRENNVOX10_EXPORT ListItem {
public:
    /// A null handle.
    ListItem() = default;
    /// Whether the handle names no row.
    bool isNull() const { return d == nullptr; }
    /// Whether the handle names a row.
    explicit operator bool() const { return d != nullptr; }
    /// The handle itself, so that it reads like a pointer.
    const ListItem *operator->() const { return this; }
    /// Whether both handles name the same row.
    bool operator==(const ListItem &other) const = default;

    /// The row's key.
    QString Key() const;
    QString Text() const; ///< the first column's text
    qint32 Index() const; ///< 1-based position in the shown order
    /// Sub-item 1 is the second column. Beyond the columns is Failure 380
    /// (FailureNumber::InvalidPropertyValue); never set is empty text.
    QString SubItems(int index) const;
    /// Sets the first column's value.
    void setText(const CellValue &value) const;
    /// Sets sub-item `index`; beyond the columns is Failure 380 (FailureNumber::InvalidPropertyValue).
    void setSubItems(int index, const CellValue &value) const;
    /// The same with a text.
    void setSubItems(int index, const QString &text) const;

private:
    friend class ListViewPrivate;
    friend class ListItems;
    ListItem(ListViewPrivate *d, quint32 id, quint32 generation)
        : d(d)
        , id(id)
        , generation(generation)
    {
    }
    ListViewPrivate *d = nullptr;
    quint32 id = 0;
    /// Ids start again after a clear: the generation tells a new row from the one the handle named.
    quint32 generation = 0;
};

/// The rows of a ListView, 1-based in the shown order.
class BRENNVOX10_EXPORT ListItems {
public:
    /// The number of rows.
    int Count() const;
    /// 1-based position in the shown order; out of range is Failure 35600
    /// (FailureNumber::IndexOutOfBounds).
    ListItem Item(int index) const;
    /// Failure 35601 (FailureNumber::ElementNotFound) when no row has that key.
    ListItem Item(const QString &key) const;
    /// Appends a row. A key that another row has is Failure 35602 (FailureNumber::KeyNotUnique) and
    /// adds nothing. An empty key names no row: such rows are reached by position only.
    ListItem Add(const QString &key, const QString &text);
    /// The same with a UTF-8 key and a typed value.
    ListItem Add(QByteArrayView keyUtf8, const CellValue &text);
    /// Failure 35601 (FailureNumber::ElementNotFound) when no row has that key.
    void Remove(const QString &key);
    /// Removes every row.
    void Clear();

private:
    friend class ListView;
    friend class ListViewPrivate;
    explicit ListItems(ListViewPrivate *d)
        : d(d)
    {
    }
    ListViewPrivate *d;
};

/// The report-style list the list controls show.
class BRENNVOX10_EXPORT ListView : public QWidget {
    Q_OBJECT
public:
    /// An empty list without columns.
    explicit ListView(QWidget *parent = nullptr);
    /// Destroys the ListView and what it owns.
    ~ListView() override;

    /// The columns.
    Brennvox10::ColumnHeaders &ColumnHeaders();
    /// The rows.
    Brennvox10::ListItems &ListItems();

    /// Sorting compares the shown texts of column SortKey (0 the items' own text, n sub-item n),
    /// ignoring case; SortOrder 0 ascending, 1 descending. Rows whose texts are equal keep their order.
    /// A sorted list stays sorted: rows added go to their place, after the rows equal to them, when the
    /// event loop comes round or the order is next read; a row whose sort text changes moves to its
    /// place at once, staying on its side of the rows equal to it.
    bool Sorted() const;
    /// Turns sorting on or off.
    void setSorted(bool sorted);
    /// The column sorted by.
    qint16 SortKey() const;
    /// Sets the column sorted by.
    void setSortKey(qint16 key);
    /// 0 ascending, 1 descending.
    qint16 SortOrder() const;
    /// Sets the order: 0 ascending, 1 descending.
    void setSortOrder(qint16 order);

    /// The row at a point given in twips from the list's top-left corner, or a null item.
    ListItem HitTest(float x, float y) const;

    /// The widget that shows the rows.
    QAbstractItemView *itemView() const;
    /// The column header of itemView().
    QHeaderView *header() const;

Q_SIGNALS:
    /// The user clicked row Item, or reached it with the keyboard (arrows, Page keys, Home, End, Space).
    void ItemClick(Brennvox10::ListItem Item);
    /// The user clicked the header of column ColumnHeader.
    void ColumnClick(Brennvox10::ColumnHeader *ColumnHeader);
    /// Button 1 left, 2 right, 4 middle; Shift 1 shift, 2 control, 4 alt; x and y in twips.
    void MouseUp(qint16 Button, qint16 Shift, float x, float y);
    /// The user double-clicked the list.
    void DblClick();

private:
    friend class ListViewPrivate;
    std::unique_ptr<ListViewPrivate> const d;
};

} // namespace Brennvox10

Q_DECLARE_METATYPE(Brennvox10::ListItem)
