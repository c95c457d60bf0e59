// SPDX-License-Identifier: MIT
#pragma once
// The demo's own access to the invoices, read and write. The list control only ever reads; every
// change a user makes through the host goes through here, each in its own transaction, with its
// values bound, never spliced into the SQL.

#include <QDate>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

struct sqlite3;

struct Invoice {
    qint64 id = 0; // 0 for one not yet written
    QString number;
    QDate date;
    int client = 0;
    qint64 cents = 0;
    qint64 grams = 0;
    QString state;
};

class InvoiceStore {
public:
    explicit InvoiceStore(const QString &path);
    ~InvoiceStore();
    InvoiceStore(const InvoiceStore &) = delete;
    InvoiceStore &operator=(const InvoiceStore &) = delete;

    // Readers give nothing (an empty list, nullopt, false) when the database fails; error() says why.
    QList<QPair<int, QString>> clients();
    QStringList states();
    std::optional<Invoice> invoice(qint64 id);
    bool numberTaken(const QString &number, qint64 exceptId);
    bool idTaken(qint64 id);
    // The number after the highest one of that year, in the same form (F2024-00042).
    QString nextNumber(int year);
    qint64 nextId();

    // Writers: false (or nullopt) when nothing was written; error() says why. The zone and route
    // are the client's, and an invoice is paid exactly when collected, as in the sample.
    std::optional<qint64> insert(const Invoice &invoice);
    bool update(const Invoice &invoice);
    bool remove(qint64 id);
    bool setState(qint64 id, const QString &state);
    bool recode(qint64 from, qint64 to);

    QString error() const { return m_error; }

private:
    class Statement;
    bool write(const char *sql, const std::function<bool(Statement &)> &bindAndRun);
    bool fail(const QString &what);

    sqlite3 *m_db = nullptr;
    QString m_error;
};
