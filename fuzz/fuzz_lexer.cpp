// SPDX-License-Identifier: MIT
// The SQL lexer over any text (UTF-8, invalid bytes included), in every dialect: its tokens cover
// the text exactly, in order and without empty ones; the parentheses it pairs pair both ways. And
// the two rewrites built on it, the Jet adapter and the PostgreSQL one, keep every string literal
// and comment of their input, unchanged and in order.
#include "providers/jet/JetSql.h"
#include "sql/lexer/Lexer.h"
#include "providers/postgres/Dialect.h"

#include <cstdint>
#include <cstdlib>

namespace {

using namespace Brennvox10::data;

void checkCover(const QString &text, lexer::Dialect dialect)
{
    const std::vector<lexer::Token> tokens = lexer::tokenize(text, dialect);
    qsizetype at = 0;
    std::vector<lexer::Token> significant;
    for (const lexer::Token &token : tokens) {
        if (token.begin != at || token.end <= token.begin)
            std::abort(); // a gap, an overlap or an empty token
        at = token.end;
        if (!token.isTrivia())
            significant.push_back(token);
    }
    if (at != text.size())
        std::abort(); // the end of the text left unread, or read past
    const std::vector<lexer::Token> expected = lexer::significantTokens(text, dialect);
    if (expected.size() != significant.size()
        || !std::equal(
            expected.begin(), expected.end(), significant.begin(), [](const auto &a, const auto &b) {
                return a.begin == b.begin && a.end == b.end && a.kind == b.kind;
            }))
        std::abort();
    const std::vector<qsizetype> match = lexer::matchParentheses(text, significant);
    for (size_t t = 0; t < match.size(); ++t) {
        if (match[t] >= 0 && match[size_t(match[t])] != qsizetype(t))
            std::abort();
    }
}

// Every string literal and comment of in, found in out unchanged and in the same order.
void checkKept(const QString &in, const QString &out, lexer::Dialect dialect)
{
    qsizetype from = 0;
    lexer::Lexer lexer(in, dialect);
    for (lexer::Token token; lexer.next(token);) {
        if (token.kind != lexer::Kind::String && token.kind != lexer::Kind::Comment)
            continue;
        const qsizetype found = out.indexOf(token.in(in), from);
        if (found < 0)
            std::abort(); // a literal or a comment was rewritten
        from = found + (token.end - token.begin);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString in = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    for (const auto dialect : { lexer::Dialect::Sqlite, lexer::Dialect::Postgres, lexer::Dialect::Jet })
        checkCover(in, dialect);
    checkKept(in, jet::adaptJetSql(in), lexer::Dialect::Jet);
    checkKept(in, postgres::adaptForPostgres(in), lexer::Dialect::Postgres);
    return 0;
}
