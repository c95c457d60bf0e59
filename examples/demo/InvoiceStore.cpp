// SPDX-License-Identifier: MIT
#include "InvoiceStore.h"

#include <QFile>

#include <sqlite3.h>

class InvoiceStore::Statement {
public:
    Statement(sqlite3 *db, const char *sql)
        : m_db(db)
    {
        m_ok = sqlite3_prepare_v2(db, sql, -1, &m_stmt, nullptr) == SQLITE_OK;
    }
    ~Statement() { sqlite3_finalize(m_stmt); }
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    // The invoice's own fields, in the order both the insert and the update take them.
    Statement &bindFields(const Invoice &v)
    {
        return bind(1, v.number)
            .bind(2, v.date.toString(Qt::ISODate))
            .bind(3, double(v.cents) / 100.0)
            .bind(4, v.state)
            .bind(5, double(v.grams) / 1000.0)
            .bind(6, v.state)
            .bind(7, qint64(v.client));
    }
    Statement &bind(int i, qint64 v)
    {
        m_ok = m_ok && sqlite3_bind_int64(m_stmt, i, v) == SQLITE_OK;
        return *this;
    }
    Statement &bind(int i, double v)
    {
        m_ok = m_ok && sqlite3_bind_double(m_stmt, i, v) == SQLITE_OK;
        return *this;
    }
    Statement &bind(int i, const QString &v)
    {
        const QByteArray utf8 = v.toUtf8();
        m_ok = m_ok
            && sqlite3_bind_text(m_stmt, i, utf8.constData(), int(utf8.size()), SQLITE_TRANSIENT)
                == SQLITE_OK;
        return *this;
    }
    // One step: true while it gives a row.
    bool row()
    {
        if (!m_ok)
            return false;
        const int rc = sqlite3_step(m_stmt);
        m_ok = rc == SQLITE_ROW || rc == SQLITE_DONE;
        return rc == SQLITE_ROW;
    }
    bool done()
    {
        row();
        return m_ok;
    }
    // Ran, and changed exactly one row; otherwise `missing` says which row was not there.
    bool changedOne(const QString &missing, QString &error)
    {
        if (!done())
            return false;
        if (sqlite3_changes(m_db) == 1)
            return true;
        error = missing;
        return false;
    }
    bool ok() const { return m_ok; }
    qint64 integer(int c) const { return sqlite3_column_int64(m_stmt, c); }
    double real(int c) const { return sqlite3_column_double(m_stmt, c); }
    QString text(int c) const
    {
        return QString::fromUtf8(
            reinterpret_cast<const char *>(sqlite3_column_text(m_stmt, c)), sqlite3_column_bytes(m_stmt, c));
    }

private:
    sqlite3 *m_db;
    sqlite3_stmt *m_stmt = nullptr;
    bool m_ok = false;
};

InvoiceStore::InvoiceStore(const QString &path)
{
    if (sqlite3_open_v2(QFile::encodeName(path).constData(), &m_db, SQLITE_OPEN_READWRITE, nullptr)
        != SQLITE_OK)
        fail(QStringLiteral("no se puede abrir %1").arg(path));
    // The list reads the same file; a read that is under way only makes a write wait a moment.
    sqlite3_busy_timeout(m_db, 5000);
}

InvoiceStore::~InvoiceStore()
{
    sqlite3_close(m_db);
}

bool InvoiceStore::fail(const QString &what)
{
    m_error = what + QStringLiteral(": ") + QString::fromUtf8(sqlite3_errmsg(m_db));
    return false;
}

QList<QPair<int, QString>> InvoiceStore::clients()
{
    QList<QPair<int, QString>> result;
    Statement s(m_db, "select id, nombre from clientes order by nombre");
    while (s.row())
        result.append({ int(s.integer(0)), s.text(1) });
    if (!s.ok())
        fail(QStringLiteral("no se pueden leer los clientes"));
    return result;
}

QStringList InvoiceStore::states()
{
    QStringList result;
    Statement s(m_db, "select nombre from estados order by nombre");
    while (s.row())
        result << s.text(0);
    if (!s.ok())
        fail(QStringLiteral("no se pueden leer los estados"));
    return result;
}

std::optional<Invoice> InvoiceStore::invoice(qint64 id)
{
    Statement s(m_db, "select id, numero, fecha, cliente, total, peso, estado from facturas where id = ?");
    s.bind(1, id);
    if (!s.row()) {
        if (!s.ok())
            fail(QStringLiteral("no se puede leer la factura"));
        return std::nullopt;
    }
    Invoice v;
    v.id = s.integer(0);
    v.number = s.text(1);
    v.date = QDate::fromString(s.text(2), Qt::ISODate);
    v.client = int(s.integer(3));
    v.cents = qRound64(s.real(4) * 100);
    v.grams = qRound64(s.real(5) * 1000);
    v.state = s.text(6);
    return v;
}

bool InvoiceStore::numberTaken(const QString &number, qint64 exceptId)
{
    Statement s(m_db, "select 1 from facturas where numero = ? and id <> ?");
    s.bind(1, number).bind(2, exceptId);
    return s.row();
}

bool InvoiceStore::idTaken(qint64 id)
{
    Statement s(m_db, "select 1 from facturas where id = ?");
    s.bind(1, id);
    return s.row();
}

QString InvoiceStore::nextNumber(int year)
{
    const QString prefix = QStringLiteral("F%1-").arg(year, 4, 10, QLatin1Char('0'));
    // A range on the unique index instead of LIKE, which SQLite would answer with a full scan.
    Statement s(m_db, "select max(numero) from facturas where numero >= ? and numero < ?");
    s.bind(1, prefix).bind(2, prefix.left(prefix.size() - 1) + QLatin1Char('.'));
    const QString last = s.row() ? s.text(0) : QString();
    bool numeric = false;
    const qint64 sequence = last.mid(prefix.size()).toLongLong(&numeric);
    const int digits = numeric ? int(last.size() - prefix.size()) : 5;
    return prefix + QStringLiteral("%1").arg(numeric ? sequence + 1 : 1, digits, 10, QLatin1Char('0'));
}

qint64 InvoiceStore::nextId()
{
    Statement s(m_db, "select coalesce(max(id), 0) + 1 from facturas");
    return s.row() ? s.integer(0) : 1;
}

bool InvoiceStore::write(const char *sql, const std::function<bool(Statement &)> &bindAndRun)
{
    if (sqlite3_exec(m_db, "begin immediate", nullptr, nullptr, nullptr) != SQLITE_OK)
        return fail(QStringLiteral("la base de datos está ocupada"));
    bool written = false;
    {
        Statement s(m_db, sql);
        written = bindAndRun(s);
        if (!written && m_error.isEmpty())
            fail(QStringLiteral("no se pudo guardar"));
    }
    if (written && sqlite3_exec(m_db, "commit", nullptr, nullptr, nullptr) == SQLITE_OK)
        return true;
    if (written)
        fail(QStringLiteral("no se pudo confirmar el cambio"));
    sqlite3_exec(m_db, "rollback", nullptr, nullptr, nullptr);
    return false;
}

std::optional<qint64> InvoiceStore::insert(const Invoice &v)
{
    m_error.clear();
    qint64 id = 0;
    const bool ok
        = write("insert into facturas (numero, fecha, cliente, zona, ruta, total, pagada, peso, estado)"
                " select ?, ?, c.id, c.zona, c.ruta, ?, ? = 'Cobrada', ?, ? from clientes c where c.id = ?",
            [&](Statement &s) {
                if (!s.bindFields(v).changedOne(QStringLiteral("el cliente %1 no existe").arg(v.client), m_error))
                    return false;
                id = sqlite3_last_insert_rowid(m_db);
                return true;
            });
    return ok ? std::optional<qint64>(id) : std::nullopt;
}

bool InvoiceStore::update(const Invoice &v)
{
    m_error.clear();
    return write("update facturas set numero = ?, fecha = ?, cliente = c.id, zona = c.zona, ruta = c.ruta,"
                 " total = ?, pagada = ? = 'Cobrada', peso = ?, estado = ? from clientes c"
                 " where c.id = ? and facturas.id = ?",
        [&](Statement &s) {
            return s.bindFields(v).bind(8, v.id).changedOne(
                QStringLiteral("la factura o su cliente ya no existen"), m_error);
        });
}

bool InvoiceStore::remove(qint64 id)
{
    m_error.clear();
    return write("delete from facturas where id = ?", [&](Statement &s) {
        return s.bind(1, id).changedOne(QStringLiteral("la factura ya no existe"), m_error);
    });
}

bool InvoiceStore::setState(qint64 id, const QString &state)
{
    m_error.clear();
    return write("update facturas set estado = ?, pagada = ? = 'Cobrada' where id = ?", [&](Statement &s) {
        return s.bind(1, state).bind(2, state).bind(3, id).changedOne(QStringLiteral("la factura ya no existe"), m_error);
    });
}

bool InvoiceStore::recode(qint64 from, qint64 to)
{
    m_error.clear();
    return write("update facturas set id = ? where id = ?", [&](Statement &s) {
        return s.bind(1, to).bind(2, from).changedOne(QStringLiteral("la factura ya no existe"), m_error);
    });
}
