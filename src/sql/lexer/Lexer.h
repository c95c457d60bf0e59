// SPDX-License-Identifier: MIT
#pragma once
// The one reading of SQL text into tokens, for every dialect we adapt or scan. Tokens are offsets
// into the text, never copies, and together they cover it exactly: blanks and comments are tokens
// too, so a rewrite can keep everything it does not mean to change. An unterminated literal, name
// or comment runs to the end of the text, as a server reads it before refusing it.

#include <QString>
#include <QStringView>

#include <vector>

namespace Brennvox10::data::lexer {

// Which forms exist. All: blanks, -- and /* */ comments, '...' strings with doubled quotes, "..."
// names, numbers, words, punctuation (|| and :: as one).
// - Sqlite: also `...` and [...] names; blanks are ASCII only, as SQLite's own reading has them.
// - Postgres: also E'...' strings with backslash escapes, $tag$...$tag$ strings, nested comments.
// - Jet: as Sqlite (any Unicode blank), and #dates#.
enum class Dialect : quint8 { Sqlite, Postgres, Jet };

enum class Kind : quint8 {
    Space,
    Comment,
    String, // '...', E'...', $tag$...$tag$
    Name, // "...", `...`, [...]
    Date, // #...#, only when it holds a real date
    Number,
    Word,
    Punct,
};

struct Token {
    Kind kind;
    qsizetype begin, end;

    bool isTrivia() const { return kind == Kind::Space || kind == Kind::Comment; }
    QStringView in(QStringView text) const { return text.sliced(begin, end - begin); }
};

class Lexer {
public:
    Lexer(QStringView text, Dialect dialect)
        : m_text(text)
        , m_dialect(dialect)
    {
    }
    // The next token; false at the end of the text.
    bool next(Token &token);

private:
    QChar at(qsizetype i) const { return i < m_text.size() ? m_text[i] : QChar(); }
    Kind scan();
    bool isBlank(QChar c) const;
    void skipQuoted(qsizetype from, QChar close, bool doubled, bool backslash);
    void skipBlockComment();
    bool skipDollarString();
    bool skipDate();
    void skipNumber();

    QStringView m_text;
    Dialect m_dialect;
    qsizetype m_at = 0;
};

// Every token of text, blanks and comments included.
std::vector<Token> tokenize(QStringView text, Dialect dialect);
// The tokens that mean something: blanks and comments left out.
std::vector<Token> significantTokens(QStringView text, Dialect dialect);
// For each "(" among tokens the index of its ")" and the other way round; -1 for the rest and for
// an unmatched one.
std::vector<qsizetype> matchParentheses(QStringView text, const std::vector<Token> &tokens);

// The ISO text, quoted, of a Jet date literal's body (between the #s): m/d/y as Jet reads it in SQL
// whatever the regional settings, or y-m-d, with an optional time; a null string for anything
// else, a time alone or an impossible date included.
QString isoOfJetDate(QStringView body);

} // namespace Brennvox10::data::lexer
