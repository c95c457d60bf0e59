// Cell texts as the user reads them: amounts, dates, plain numbers and booleans under two locales.

#include <Brennvox10/ListView.h>

#include <QDate>
#include <QTest>

#include <limits>

using namespace Brennvox10;
using Style = CellValue::Style;

Q_DECLARE_METATYPE(Brennvox10::CellValue)

namespace {

qint64 day(int y, int m, int d)
{
    return QDate(y, m, d).toJulianDay();
}

qint32 at(int h, int m, int s)
{
    return QTime(h, m, s).msecsSinceStartOfDay();
}

CellValue styled(CellValue v, Style style)
{
    v.style = style;
    return v;
}

} // namespace

class tst_CellText : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void text_data();
    void text();
    void defaultLocaleAndOwnedText();
};

void tst_CellText::text_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<CellValue>("cell");
    QTest::addColumn<QString>("expected");

    struct Row {
        const char *name;
        CellValue cell;
        const char *spanish;
        const char *english;
    };
    const Row rows[] = {
        // "#,##0.00": always grouped, two decimals, rounded half away from zero as written.
        { "money four digits", CellValue::fromReal(1234.5, Style::Money), "1.234,50", "1,234.50" },
        { "money millions", CellValue::fromReal(1234567.891, Style::Money), "1.234.567,89", "1,234,567.89" },
        { "money negative", CellValue::fromReal(-1234.565, Style::Money), "-1.234,57", "-1,234.57" },
        { "money half cent", CellValue::fromReal(0.005, Style::Money), "0,01", "0.01" },
        { "money 1.005 as written", CellValue::fromReal(1.005, Style::Money), "1,01", "1.01" },
        { "money carry into grouping", CellValue::fromReal(999.995, Style::Money), "1.000,00", "1,000.00" },
        { "money below half cent", CellValue::fromReal(0.004, Style::Money), "0,00", "0.00" },
        { "money negative rounding to zero", CellValue::fromReal(-0.001, Style::Money), "0,00", "0.00" },
        { "money three digits", CellValue::fromReal(999, Style::Money), "999,00", "999.00" },
        { "money large", CellValue::fromReal(12345678901234.5, Style::Money), "12.345.678.901.234,50",
            "12,345,678,901,234.50" },
        { "money integer", CellValue::fromInteger(1000, Style::Money), "1.000,00", "1,000.00" },
        { "money negative integer", CellValue::fromInteger(-1234567, Style::Money), "-1.234.567,00",
            "-1,234,567.00" },
        { "money largest integer", CellValue::fromInteger(std::numeric_limits<qint64>::max(), Style::Money),
            "9.223.372.036.854.775.807,00", "9,223,372,036,854,775,807.00" },
        { "money style on text", CellValue::fromText("12.5", Style::Money), "12.5", "12.5" },
        { "money style on boolean", styled(CellValue::fromBoolean(true), Style::Money), "Verdadero", "True" },
        { "money style on a date", CellValue::fromDate(day(2008, 3, 5), 0, false, Style::Money), "5/3/2008",
            "3/5/2008" },

        // Plain numbers: no grouping, every digit the value needs.
        { "integer", CellValue::fromInteger(1234567), "1234567", "1234567" },
        { "negative integer", CellValue::fromInteger(-42), "-42", "-42" },
        { "real", CellValue::fromReal(12345.678), "12345,678", "12345.678" },
        { "real tenth", CellValue::fromReal(0.1), "0,1", "0.1" },
        { "negative real", CellValue::fromReal(-2.5), "-2,5", "-2.5" },
        { "whole real", CellValue::fromReal(1e6), "1000000", "1000000" },
        { "huge real", CellValue::fromReal(1e20), "1E+20", "1E+20" },
        { "zero real", CellValue::fromReal(0), "0", "0" },
        { "date style on integer", CellValue::fromInteger(39512, Style::Date), "39512", "39512" },

        // Dates.
        { "date pattern", CellValue::fromDate(day(2008, 3, 5), 0, false, Style::Date), "05/03/2008",
            "05/03/2008" },
        { "date pattern drops the time",
            CellValue::fromDate(day(2008, 3, 5), at(14, 30, 15), true, Style::Date), "05/03/2008",
            "05/03/2008" },
        { "date pattern early year", CellValue::fromDate(day(812, 12, 25), 0, false, Style::Date),
            "25/12/0812", "25/12/0812" },
        { "default date", CellValue::fromDate(day(2008, 3, 5), 0, false), "5/3/2008", "3/5/2008" },
        { "default date and time", CellValue::fromDate(day(2008, 3, 5), at(14, 30, 15), true),
            "5/3/2008 14:30:15", "3/5/2008 14:30:15" },
        { "default date at midnight with time", CellValue::fromDate(day(2024, 12, 31), 0, true),
            "31/12/2024 00:00:00", "12/31/2024 00:00:00" },

        // Booleans and text.
        { "true", CellValue::fromBoolean(true), "Verdadero", "True" },
        { "false", CellValue::fromBoolean(false), "Falso", "False" },
        { "utf-8 text", CellValue::fromText("Año próximo"), "Año próximo", "Año próximo" },
        { "empty", CellValue(), "", "" },
    };
    for (const Row &r : rows) {
        QTest::addRow("es_ES %s", r.name)
            << QStringLiteral("es_ES") << r.cell << QString::fromUtf8(r.spanish);
        QTest::addRow("en_US %s", r.name)
            << QStringLiteral("en_US") << r.cell << QString::fromUtf8(r.english);
    }
    // The pattern's separator is the locale's own date separator.
    QTest::addRow("de_DE date pattern")
        << QStringLiteral("de_DE") << CellValue::fromDate(day(2008, 3, 5), 0, false, Style::Date)
        << QStringLiteral("05.03.2008");
    QTest::addRow("de_DE money") << QStringLiteral("de_DE") << CellValue::fromReal(1234.5, Style::Money)
                                 << QStringLiteral("1.234,50");
    QTest::addRow("es_MX boolean") << QStringLiteral("es_MX") << CellValue::fromBoolean(true)
                                   << QStringLiteral("Verdadero");
}

void tst_CellText::text()
{
    QFETCH(QString, locale);
    QFETCH(CellValue, cell);
    QFETCH(QString, expected);
    QCOMPARE(cellText(cell, QLocale(locale)), expected);
}

void tst_CellText::defaultLocaleAndOwnedText()
{
    // Without a locale the default one decides; a value made from a QString keeps its own bytes
    // through copies, after its source and the original are gone.
    const QLocale saved;
    CellValue copy;
    {
        CellValue original = CellValue::fromString(QStringLiteral("Señal %1").arg(42));
        copy = original;
        original = CellValue::fromString(QStringLiteral("otro texto más largo que el primero"));
    }
    QStringList texts;
    for (const char *name : { "es_ES", "en_US" }) {
        QLocale::setDefault(QLocale(QString::fromLatin1(name)));
        texts << cellText(CellValue::fromReal(1234.5, Style::Money)) << cellText(copy);
    }
    QLocale::setDefault(saved);
    QCOMPARE(texts, (QStringList { "1.234,50", "Señal 42", "1,234.50", "Señal 42" }));
}

QTEST_GUILESS_MAIN(tst_CellText)
#include "tst_celltext.moc"
