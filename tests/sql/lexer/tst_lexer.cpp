// SPDX-License-Identifier: MIT
#include "sql/lexer/Lexer.h"
#include "support/Rows.h"

#include <QTest>

using namespace Brennvox10::data::lexer;

Q_DECLARE_METATYPE(Brennvox10::data::lexer::Dialect)

namespace {

constexpr Dialect sqlite = Dialect::Sqlite, postgres = Dialect::Postgres, jet = Dialect::Jet;

// Each token as one letter for its kind and its text: _ blank, C comment, S string, N name, D date,
// 0 number, W word, P punctuation.
QStringList shown(const QString &text, Dialect dialect)
{
    static const char kinds[] = "_CSND0WP";
    QStringList out;
    for (const Token &token : tokenize(text, dialect))
        out << QLatin1Char(kinds[int(token.kind)]) + token.in(text).toString();
    return out;
}

} // namespace

class tst_Lexer : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tokens_data()
    {
        columns<Dialect, QString, QStringList>("dialect", "text", "tokens");
        // clang-format off
        for (const Dialect d : { sqlite, postgres, jet }) {
            const QByteArray in = d == sqlite ? " (sqlite)" : d == postgres ? " (postgres)" : " (jet)";
            QTest::newRow("words and blanks" + in) << d << "select a1$\t b" << QStringList { "Wselect", "_ ", "Wa1$", "_\t ", "Wb" };
            QTest::newRow("line comment" + in) << d << "a -- (b\nc" << QStringList { "Wa", "_ ", "C-- (b", "_\n", "Wc" };
            QTest::newRow("doubled quotes" + in) << d << "'it''s'x\"a\"\"b\"" << QStringList { "S'it''s'", "Wx", "N\"a\"\"b\"" };
            QTest::newRow("two-character punctuation" + in) << d << "a||b::c" << QStringList { "Wa", "P||", "Wb", "P::", "Wc" };
            QTest::newRow("unterminated string" + in) << d << "x 'a /* b" << QStringList { "Wx", "_ ", "S'a /* b" };
            QTest::newRow("unterminated name" + in) << d << "\"a -- b" << QStringList { "N\"a -- b" };
            QTest::newRow("unterminated comment" + in) << d << "/* a 'b" << QStringList { "C/* a 'b" };
        }
        QTest::newRow("comments do not nest (sqlite)") << sqlite << "/* a /* b */ c */" << QStringList { "C/* a /* b */", "_ ", "Wc", "_ ", "P*", "P/" };
        QTest::newRow("comments nest (postgres)") << postgres << "/* a /* b */ c */d" << QStringList { "C/* a /* b */ c */", "Wd" };
        QTest::newRow("escape string (postgres)") << postgres << "E'a\\'b' e'\\\\'" << QStringList { "SE'a\\'b'", "_ ", "Se'\\\\'" };
        QTest::newRow("no escape string (jet)") << jet << "E'a\\'b'" << QStringList { "WE", "S'a\\'", "Wb", "S'" };
        QTest::newRow("unterminated escape (postgres)") << postgres << "E'\\" << QStringList { "SE'\\" };
        QTest::newRow("dollar quotes (postgres)") << postgres << "$q$ it's $x$ $q$;$$a$$" << QStringList { "S$q$ it's $x$ $q$", "P;", "S$$a$$" };
        QTest::newRow("a parameter is no dollar quote (postgres)") << postgres << "$1 $a b" << QStringList { "P$", "01", "_ ", "P$", "Wa", "_ ", "Wb" };
        QTest::newRow("unterminated dollar quote (postgres)") << postgres << "$t$ x" << QStringList { "S$t$ x" };
        QTest::newRow("no dollar quotes (jet)") << jet << "$q$" << QStringList { "P$", "Wq$" };
        QTest::newRow("bracketed and backquoted names (jet)") << jet << "[a ]b]`c``d`" << QStringList { "N[a ]", "Wb", "P]", "N`c``d`" };
        QTest::newRow("unterminated bracket (sqlite)") << sqlite << "[a 'b" << QStringList { "N[a 'b" };
        QTest::newRow("no bracketed names (postgres)") << postgres << "[a]`b`" << QStringList { "P[", "Wa", "P]", "P`", "Wb", "P`" };
        QTest::newRow("dates (jet)") << jet << "#3/5/2008#<#2008-3-5 10:30 PM#" << QStringList { "D#3/5/2008#", "P<", "D#2008-3-5 10:30 PM#" };
        QTest::newRow("impossible date (jet)") << jet << "#2/30/2008#" << QStringList { "P#", "02", "P/", "030", "P/", "02008", "P#" };
        QTest::newRow("no dates (sqlite)") << sqlite << "#1/2/2003#" << QStringList { "P#", "01", "P/", "02", "P/", "02003", "P#" };
        QTest::newRow("numbers (jet)") << jet << "1.5e+3x .5 0x1e+5 1_0" << QStringList { "01.5e+3x", "_ ", "0.5", "_ ", "00x1e", "P+", "05", "_ ", "01_0" };
        QTest::newRow("numbers (postgres)") << postgres << "1.5e+3x 0x1e+5 1_0" << QStringList { "01.5e+3x", "_ ", "00x1e+5", "_ ", "01", "W_0" };
        QTest::newRow("Unicode blank (jet)") << jet << "\u00a0a" << QStringList { "_\u00a0", "Wa" };
        QTest::newRow("blanks are ASCII (sqlite)") << sqlite << "\u00a0a" << QStringList { "W\u00a0a" };
        // clang-format on
    }
    void tokens()
    {
        const auto [dialect, text, tokens]
            = fetch<Dialect, QString, QStringList>("dialect", "text", "tokens");
        QCOMPARE(shown(text, dialect), tokens);
    }

    void parentheses_data()
    {
        columns<QString, QList<qsizetype>>("text", "match");
        QTest::newRow("nested") << "(a(b))" << QList<qsizetype> { 5, -1, 4, -1, 2, 0 };
        QTest::newRow("unmatched either way") << ")(a" << QList<qsizetype> { -1, -1, -1 };
        QTest::newRow("in a string or comment") << "('(' /* ) */)" << QList<qsizetype> { 2, -1, 0 };
    }
    void parentheses()
    {
        const auto [text, match] = fetch<QString, QList<qsizetype>>("text", "match");
        const std::vector<qsizetype> found
            = matchParentheses(text, significantTokens(text, Dialect::Postgres));
        QCOMPARE(QList<qsizetype>(found.begin(), found.end()), match);
    }
};

QTEST_APPLESS_MAIN(tst_Lexer)
#include "tst_lexer.moc"
