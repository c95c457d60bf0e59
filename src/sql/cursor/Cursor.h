// SPDX-License-Identifier: MIT
#pragma once
// What a provider hands the recordset: one prepared read-only statement walked forward, its column
// names and declared types, and the raw cells of the current row. Conversions to field types are
// the recordset's, so every provider reads values the same way.

#include "sql/cursor/ConnectionText.h"
#include "sql/cursor/Values.h"

#include <Brennvox10/Failure.h>

#include <QByteArrayView>

#include <QLoggingCategory>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

Q_DECLARE_LOGGING_CATEGORY(lcData)

namespace Brennvox10::data {

struct ColumnInfo {
    QString name;
    int declaredType = 0; // ADO code from the declared type; 0 when the column declares none
};

class Cursor {
public:
    Cursor() = default;
    virtual ~Cursor() = default;
    Cursor(const Cursor &) = delete;
    Cursor &operator=(const Cursor &) = delete;

    // Steps to the next row: false after the last one; Failure when the row cannot be read.
    virtual bool next() = 0;

    // Cells of the current row. integer() and real() are meaningful only for that storage; text()
    // gives any value's text, blob() its bytes. Views stay valid until the next step.
    virtual Storage storage(int column) const = 0;
    virtual qint64 integer(int column) const = 0;
    virtual double real(int column) const = 0;
    virtual QByteArrayView text(int column) const = 0;
    virtual QByteArrayView blob(int column) const = 0;

    // What the reader thread's row shaper made of the row `ahead` rows past the current one, when the
    // cursor already holds that row; empty otherwise, or when the shaper left nothing for it. The
    // bytes last until the next step.
    virtual QByteArrayView shaped(int /*ahead*/ = 0) const { return {}; }

    // A cursor that reads ahead on a thread of its own takes the row limit (negative for none) and
    // the shaper (see RowShaper) here and returns true: it then stops fetching at the limit and its
    // shaped() gives the shaper's bytes. Any other returns false, to be read ahead by readAhead().
    virtual bool readAheadOwn(qint64 /*maxRows*/, std::function<void(const Cursor &, std::vector<char> &)> /*shaper*/)
    {
        return false;
    }

    std::vector<ColumnInfo> columns;

    // Set from another thread to stop a read that runs on a thread of its own: the provider treats
    // it as Esc, so its next step fails as cancelled by the user.
    std::atomic_bool stopRequested { false };
    // Esc on this thread, or the stop above.
    bool cancelAsked() const;
};

// Runs on a reader thread for each row read ahead, with `row` standing on it: what it appends to
// `out` comes with the row to the caller, as shaped(). It must not touch anything the caller's thread
// changes; a Failure it throws leaves nothing for that row, and the row itself comes as ever.
using RowShaper = std::function<void(const Cursor &row, std::vector<char> &out)>;
// Runs a shaper over one row; false, and out as it was, when it left nothing or failed. The row then
// comes unshaped, and the caller's long way meets the same fault in its turn.
bool shapeRow(const RowShaper &shaper, const Cursor &row, std::vector<char> &out);

// Tells the query observer, if one is set, the text about to run.
void notifyObserver(const QString &sql);

// The connection text's "Command Timeout" in seconds (0 for none), or the default; a Failure when
// it is not a number of seconds.
std::chrono::milliseconds commandTimeLimit(const ConnectionText &connection);
// The one report of a recordset stopped by Esc or by its time limit.
[[noreturn]] void failInterrupted(bool cancelled, std::chrono::milliseconds limit, const QString &source);

// How long a recordset may run, from its open to its last row, when the connection text names no
// "Command Timeout": 30 s unless changed here.
void setStepTimeLimit(std::chrono::milliseconds limit);
std::chrono::milliseconds stepTimeLimit();

// Text conversions shared by all providers: false when the text is not such a value.
int adoTypeForDeclared(QByteArrayView declared); // 0 for an empty declaration
int adoTypeForInteger(qint64 value);
bool parseInt64(QByteArrayView text, qint64 &value);
bool parseDouble(QByteArrayView text, double &value);
bool parseBool(QByteArrayView text, bool &value);
bool parseIsoDateTime(QByteArrayView text, DateTimeValue &value);

} // namespace Brennvox10::data
