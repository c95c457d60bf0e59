// Cell texts as the user reads them: amounts, dates, plain numbers and booleans under two locales.

#include "support/Rows.h"

#include <Brennvox10/ListView.h>

#include <QDate>
#include <QTest>

#include <limits>

using namespace Brennvox10;
using Style = CellValue::Style;

Q_DECLARE_METATYPE(Brennvox10::CellValue)

class tst_CellText : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void text_data()
    {
        columns<QString, CellValue, QString>("locale", "cell", "expected");
        const auto money = [](double v) { return CellValue::fromReal(v, Style::Money); };
        const auto moneyInteger = [](qint64 v) { return CellValue::fromInteger(v, Style::Money); };
        // 5 March 2008, at 14:30:15 when it has a time.
        const auto march5 = [](bool hasTime, Style style) {
            return CellValue::fromDate(
                QDate(2008, 3, 5).toJulianDay(), hasTime ? 52215000 : 0, hasTime, style);
        };
        // Name, cell, text under es_ES, text under en_US.
        const std::tuple<const char *, CellValue, const char *, const char *> rows[] = {
            // "#,##0.00": always grouped, two decimals, rounded half away from zero as written.
            { "money four digits", money(1234.5), "1.234,50", "1,234.50" },
            { "money millions, third decimal 4", money(1234567.894), "1.234.567,89", "1,234,567.89" },
            { "money negative", money(-1234.565), "-1.234,57", "-1,234.57" },
            { "money 1.005 as written", money(1.005), "1,01", "1.01" },
            { "money carry into grouping", money(999.995), "1.000,00", "1,000.00" },
            { "money negative rounding to zero", money(-0.001), "0,00", "0.00" },
            { "money three digits", money(999), "999,00", "999.00" },
            { "money negative integer", moneyInteger(-1234567), "-1.234.567,00", "-1,234,567.00" },
            { "money largest integer", moneyInteger(std::numeric_limits<qint64>::max()),
                "9.223.372.036.854.775.807,00", "9,223,372,036,854,775,807.00" },
            { "money style on text", CellValue::fromText("12.5", Style::Money), "12.5", "12.5" },
            { "money style on boolean",
                { .kind = CellValue::Kind::Boolean, .style = Style::Money, .integer = 1 }, "Verdadero",
                "True" },
            // A default date: the locale's short date with a four-digit year.
            { "money style on a date", march5(false, Style::Money), "5/3/2008", "3/5/2008" },

            // Plain numbers: no grouping, every digit the value needs.
            { "integer", CellValue::fromInteger(1234567), "1234567", "1234567" },
            { "negative integer", CellValue::fromInteger(-42), "-42", "-42" },
            { "real", CellValue::fromReal(12345.678), "12345,678", "12345.678" },
            { "negative fraction", CellValue::fromReal(-0.1), "-0,1", "-0.1" },
            { "whole real", CellValue::fromReal(1e6), "1000000", "1000000" },
            { "huge real", CellValue::fromReal(1e20), "1E+20", "1E+20" },
            { "zero real", CellValue::fromReal(0), "0", "0" },
            { "date style on integer", CellValue::fromInteger(39512, Style::Date), "39512", "39512" },

            // Dates.
            { "date pattern drops the time", march5(true, Style::Date), "05/03/2008", "05/03/2008" },
            { "date pattern early year",
                CellValue::fromDate(QDate(812, 12, 25).toJulianDay(), 0, false, Style::Date), "25/12/0812",
                "25/12/0812" },
            { "default date and time", march5(true, Style::Default), "5/3/2008 14:30:15",
                "3/5/2008 14:30:15" },
            { "default date at midnight with time",
                CellValue::fromDate(QDate(2024, 12, 31).toJulianDay(), 0, true), "31/12/2024 00:00:00",
                "12/31/2024 00:00:00" },

            // Booleans and text.
            { "true", CellValue::fromBoolean(true), "Verdadero", "True" },
            { "false", CellValue::fromBoolean(false), "Falso", "False" },
            { "utf-8 text", CellValue::fromText("Año próximo"), "Año próximo", "Año próximo" },
            { "empty", CellValue(), "", "" },
        };
        for (const auto &[name, cell, spanish, english] : rows) {
            QTest::addRow("es_ES %s", name) << QStringLiteral("es_ES") << cell << QString::fromUtf8(spanish);
            QTest::addRow("en_US %s", name) << QStringLiteral("en_US") << cell << QString::fromUtf8(english);
        }
        // The pattern's separator is the locale's own date separator.
        QTest::addRow("de_DE date pattern") << "de_DE" << march5(false, Style::Date) << "05.03.2008";
        QTest::addRow("es_MX boolean") << "es_MX" << CellValue::fromBoolean(true) << "Verdadero";
    }

    void text()
    {
        const auto [locale, cell] = fetch<QString, CellValue>("locale", "cell");
        QTEST(cellText(cell, QLocale(locale)), "expected");
    }

    void defaultLocaleAndOwnedText()
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
};

QTEST_GUILESS_MAIN(tst_CellText)
#include "tst_celltext.moc"
