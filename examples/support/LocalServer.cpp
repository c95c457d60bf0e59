// SPDX-License-Identifier: MIT
#include "LocalServer.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>

#include <libpq-fe.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <memory>

#include <pwd.h>
#include <signal.h>
#include <unistd.h>

namespace {

// Debian installs each major version's server programs in its own folder; the newest wins.
QString serverPrograms()
{
    const QDir root(QStringLiteral("/usr/lib/postgresql"));
    QStringList versions = root.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    std::sort(versions.begin(), versions.end(),
        [](const QString &a, const QString &b) { return a.toInt() > b.toInt(); });
    for (const QString &version : versions) {
        const QString bin = root.filePath(version + QStringLiteral("/bin"));
        if (QFile::exists(bin + QStringLiteral("/initdb")))
            return bin;
    }
    return QString();
}

struct PgCloser {
    void operator()(PGconn *c) const { PQfinish(c); }
};
struct ResultCloser {
    void operator()(PGresult *r) const { PQclear(r); }
};
using Connection = std::unique_ptr<PGconn, PgCloser>;
using Result = std::unique_ptr<PGresult, ResultCloser>;

// A connection, or null with the server's words in error.
Connection connectTo(const QByteArray &conninfo, QString &error)
{
    Connection db(PQconnectdb(conninfo.constData()));
    if (PQstatus(db.get()) == CONNECTION_OK)
        return db;
    error = QString::fromUtf8(PQerrorMessage(db.get())).trimmed();
    return nullptr;
}

// Runs one statement on db; false with the server's words in error.
bool runOn(PGconn *db, const QString &sql, QString &error)
{
    const Result result(PQexec(db, sql.toUtf8().constData()));
    const auto status = PQresultStatus(result.get());
    if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK || status == PGRES_COPY_IN)
        return true;
    error = QString::fromUtf8(PQresultErrorMessage(result.get())).trimmed() + QStringLiteral(" in: ") + sql;
    return false;
}

QString quoted(const QString &name)
{
    QString text = name;
    return QLatin1Char('"') + text.replace(QLatin1Char('"'), QStringLiteral("\"\"")) + QLatin1Char('"');
}

QString postgresType(const QString &declared)
{
    const QString d = declared.toUpper();
    if (d.contains(QLatin1String("CURRENCY")) || d.contains(QLatin1String("MONEY")))
        return QStringLiteral("numeric(19,4)");
    if (d == QLatin1String("DATE"))
        return QStringLiteral("date");
    if (d.contains(QLatin1String("DATE")) || d.contains(QLatin1String("TIME")))
        return QStringLiteral("timestamp");
    if (d.contains(QLatin1String("BOOL")) || d == QLatin1String("BIT") || d == QLatin1String("YESNO"))
        return QStringLiteral("boolean");
    if (d.contains(QLatin1String("INT")))
        return QStringLiteral("integer");
    if (d.contains(QLatin1String("REAL")) || d.contains(QLatin1String("DOUB")) || d.contains(QLatin1String("FLOA")))
        return QStringLiteral("double precision");
    if (d.contains(QLatin1String("BLOB")))
        return QStringLiteral("bytea");
    return QStringLiteral("text");
}

// One value in COPY's text form.
void appendCopyValue(QByteArray &out, sqlite3_stmt *row, int column)
{
    switch (sqlite3_column_type(row, column)) {
    case SQLITE_NULL:
        out += "\\N";
        return;
    case SQLITE_BLOB: {
        const auto *bytes = static_cast<const char *>(sqlite3_column_blob(row, column));
        out += "\\\\x" + QByteArray(bytes, sqlite3_column_bytes(row, column)).toHex();
        return;
    }
    default:
        break;
    }
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(row, column));
    const int size = sqlite3_column_bytes(row, column);
    for (int i = 0; i < size; ++i) {
        switch (text[i]) {
        case '\\': out += "\\\\"; break;
        case '\t': out += "\\t"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        default: out += text[i];
        }
    }
}

// The fields of /proc/<pid>/stat after the name ("pid (name) state ppid ..."): state is [0],
// ppid [1], utime [11], stime [12], cutime [13], cstime [14]; empty when the process is gone.
QList<QByteArray> statOf(const QString &pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return {};
    const QByteArray text = stat.readAll();
    return text.mid(text.lastIndexOf(')') + 2).split(' ');
}

qint64 parentOf(const QString &pid)
{
    const QList<QByteArray> fields = statOf(pid);
    return fields.size() > 1 ? fields[1].toLongLong() : -1;
}

// Clock ticks as ms, summed over the given fields.
double ticksMs(const QList<QByteArray> &fields, std::initializer_list<int> which)
{
    double ticks = 0;
    for (const int i : which)
        ticks += i < fields.size() ? fields[i].toDouble() : 0;
    return ticks * 1000.0 / double(sysconf(_SC_CLK_TCK));
}

} // namespace

LocalServer::~LocalServer()
{
    stop();
}

bool LocalServer::pause()
{
    resume();
    QFile pidFile(m_dir ? m_dir->filePath(QStringLiteral("data/postmaster.pid")) : QString());
    if (!m_running || !pidFile.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("no running server to pause"));
    const qint64 postmaster = pidFile.readLine().trimmed().toLongLong();
    // The postmaster first, so that it starts no child while they are being stopped.
    if (postmaster <= 0 || ::kill(pid_t(postmaster), SIGSTOP) != 0)
        return fail(QStringLiteral("cannot stop the postmaster %1").arg(postmaster));
    m_paused.push_back(postmaster);
    for (const QString &pid : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        if (parentOf(pid) == postmaster && ::kill(pid_t(pid.toLongLong()), SIGSTOP) == 0)
            m_paused.push_back(pid.toLongLong());
    }
    return true;
}

double LocalServer::cpuMs() const
{
    QFile pidFile(m_dir ? m_dir->filePath(QStringLiteral("data/postmaster.pid")) : QString());
    if (!m_running || !pidFile.open(QIODevice::ReadOnly))
        return -1;
    const QString postmaster = QString::fromLatin1(pidFile.readLine().trimmed());
    // A child that ends while its siblings are read moves its time from its own entry (kept while
    // it is a zombie) to the postmaster's; read again until that did not happen in between.
    const QByteArray parent = postmaster.toLatin1();
    for (;;) {
        const QList<QByteArray> own = statOf(postmaster);
        double total = ticksMs(own, { 11, 12, 13, 14 });
        for (const QString &pid : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
            const QList<QByteArray> fields = statOf(pid);
            if (fields.size() > 12 && fields[1] == parent)
                total += ticksMs(fields, { 11, 12 });
        }
        if (ticksMs(statOf(postmaster), { 13, 14 }) == ticksMs(own, { 13, 14 }))
            return total;
    }
}

struct LocalServer::Paused::Watchdog {
    std::mutex mutex;
    std::condition_variable ended;
    bool over = false;
    std::thread thread;
};

LocalServer::Paused::Paused(LocalServer &server, int atMostMs)
    : m_server(server)
    , m_ok(server.pause())
    , m_watchdog(std::make_unique<Watchdog>())
{
    m_watchdog->thread = std::thread([w = m_watchdog.get(), pids = server.m_paused, atMostMs] {
        std::unique_lock lock(w->mutex);
        if (!w->ended.wait_for(lock, std::chrono::milliseconds(atMostMs), [w] { return w->over; }))
            for (const qint64 pid : pids)
                ::kill(pid_t(pid), SIGCONT);
    });
}

LocalServer::Paused::~Paused()
{
    {
        std::lock_guard lock(m_watchdog->mutex);
        m_watchdog->over = true;
    }
    m_watchdog->ended.notify_all();
    m_watchdog->thread.join();
    m_server.resume();
}

void LocalServer::resume()
{
    for (auto it = m_paused.rbegin(); it != m_paused.rend(); ++it)
        ::kill(pid_t(*it), SIGCONT);
    m_paused.clear();
}

bool LocalServer::available()
{
    return !serverPrograms().isEmpty();
}

bool LocalServer::fail(const QString &what)
{
    m_error = what;
    return false;
}

bool LocalServer::run(const QStringList &command, int timeoutMs)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    process.setProcessEnvironment(env);
    QStringList arguments = command;
    QString program = arguments.takeFirst();
    if (!m_runAs.isEmpty()) {
        arguments = QStringList { QStringLiteral("-u"), m_runAs, QStringLiteral("--"), program } + arguments;
        program = QStringLiteral("runuser");
    }
    process.start(program, arguments);
    if (!process.waitForFinished(timeoutMs) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0) {
        process.kill();
        process.waitForFinished(1000);
        return fail(command.join(QLatin1Char(' ')) + QStringLiteral(": ")
            + QString::fromLocal8Bit(process.readAll()).trimmed() + process.errorString());
    }
    return true;
}

bool LocalServer::start()
{
    stop();
    m_dir.reset();
    m_bin = serverPrograms();
    if (m_bin.isEmpty())
        return fail(QStringLiteral("PostgreSQL's server programs are not installed (Debian: postgresql-15)"));
    // A Unix socket's path has at most 107 bytes, and a server run as another user (under root)
    // must be able to reach its folder, which a folder under a private home may not let it.
    const QString base
        = QDir::tempPath().size() < 60 && geteuid() != 0 ? QDir::tempPath() : QStringLiteral("/tmp");
    m_dir = std::make_unique<QTemporaryDir>(base + QStringLiteral("/bvpg-XXXXXX"));
    if (!m_dir->isValid())
        return fail(QStringLiteral("cannot make a folder for the server: ") + m_dir->errorString());
    QFile pw(m_dir->filePath(QStringLiteral("pw")));
    if (!pw.open(QIODevice::WriteOnly) || pw.write(QByteArray(password) + '\n') < 0)
        return fail(QStringLiteral("cannot write the password file"));
    pw.close();

    m_runAs.clear();
    if (geteuid() == 0) {
        const passwd *account = getpwnam("postgres");
        if (!account)
            account = getpwnam("nobody");
        if (!account)
            return fail(QStringLiteral("running as root, and there is no user to run the server as"));
        m_runAs = QString::fromLocal8Bit(account->pw_name);
        for (const QString &path : { m_dir->path(), pw.fileName() }) {
            if (chown(QFile::encodeName(path).constData(), account->pw_uid, account->pw_gid) != 0)
                return fail(QStringLiteral("cannot give %1 to %2").arg(path, m_runAs));
        }
    }
    if (!run({ m_bin + QStringLiteral("/initdb"), QStringLiteral("-D"), m_dir->filePath(QStringLiteral("data")),
            QStringLiteral("-U"), QLatin1String(user), QStringLiteral("--pwfile=") + pw.fileName(),
            QStringLiteral("-A"), QStringLiteral("scram-sha-256"), QStringLiteral("-E"), QStringLiteral("UTF8"),
            QStringLiteral("--locale=C"), QStringLiteral("-N") }))
        return false;
    return restart();
}

bool LocalServer::restart()
{
    if (!m_dir)
        return fail(QStringLiteral("no server was made"));
    // The socket only, in the server's own folder: nothing else on the machine can reach it.
    const QString options = QStringLiteral("-k %1 -c listen_addresses='' -p 5432 -c fsync=off "
                                           "-c full_page_writes=off -c synchronous_commit=off")
                                .arg(m_dir->path());
    m_running = run({ m_bin + QStringLiteral("/pg_ctl"), QStringLiteral("-D"), m_dir->filePath(QStringLiteral("data")),
        QStringLiteral("-l"), m_dir->filePath(QStringLiteral("log")), QStringLiteral("-w"), QStringLiteral("-t"),
        QStringLiteral("60"), QStringLiteral("-o"), options, QStringLiteral("start") });
    if (m_running) {
        // Should this process end without its destructor (a crash, a test's time-out), a watcher
        // stops the server, which outlives its starter otherwise, and removes its folder.
        const QString data = m_dir->filePath(QStringLiteral("data"));
        QProcess watcher;
        watcher.setProgram(QStringLiteral("sh"));
        watcher.setArguments({ QStringLiteral("-c"),
            QStringLiteral("while kill -0 %1 2>/dev/null; do sleep 1; done; "
                           "[ -f \"$1/postmaster.pid\" ] && %2 \"$0\" -D \"$1\" -m immediate stop; rm -rf \"$2\"")
                .arg(QCoreApplication::applicationPid())
                .arg(m_runAs.isEmpty() ? QString() : QStringLiteral("runuser -u ") + m_runAs + QStringLiteral(" --")),
            m_bin + QStringLiteral("/pg_ctl"), data, m_dir->path() });
        watcher.setStandardInputFile(QProcess::nullDevice());
        watcher.setStandardOutputFile(QProcess::nullDevice());
        watcher.setStandardErrorFile(QProcess::nullDevice());
        watcher.startDetached();
    }
    return m_running;
}

void LocalServer::stop()
{
    resume();
    if (!m_running)
        return;
    run({ m_bin + QStringLiteral("/pg_ctl"), QStringLiteral("-D"), m_dir->filePath(QStringLiteral("data")),
        QStringLiteral("-m"), QStringLiteral("immediate"), QStringLiteral("-w"), QStringLiteral("stop") });
    m_running = false;
}

QString LocalServer::connectionString(const QString &database) const
{
    return QStringLiteral("host=%1 port=5432 dbname=%2 user=%3").arg(folder(), database, QLatin1String(user));
}

QByteArray LocalServer::ownerConnectionString(const QString &database) const
{
    return (connectionString(database) + QStringLiteral(" password=") + QLatin1String(password)).toUtf8();
}

QString LocalServer::writeConnectionFile(const QString &database, const QString &name) const
{
    const QString path = m_dir->filePath(name.isEmpty() ? database + QStringLiteral(".pgconn") : name);
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write("# libpq connection string of the shop's server\n" + connectionString(database).toUtf8() + '\n');
    return path;
}

bool LocalServer::execute(const QString &database, const QString &sql)
{
    const Connection db = connectTo(ownerConnectionString(database), m_error);
    return db && runOn(db.get(), sql, m_error);
}

bool LocalServer::copySqlite(const QString &sqlitePath, const QString &database)
{
    if (!execute(QStringLiteral("postgres"), QStringLiteral("CREATE DATABASE ") + quoted(database)))
        return false;
    sqlite3 *raw = nullptr;
    const int opened = sqlite3_open_v2(QFile::encodeName(sqlitePath).constData(), &raw, SQLITE_OPEN_READONLY, nullptr);
    const std::unique_ptr<sqlite3, int (*)(sqlite3 *)> source(raw, sqlite3_close);
    if (opened != SQLITE_OK)
        return fail(QStringLiteral("cannot open %1: %2").arg(sqlitePath, QString::fromUtf8(sqlite3_errmsg(raw))));
    auto prepare = [&](const QString &sql) {
        sqlite3_stmt *statement = nullptr;
        sqlite3_prepare_v2(raw, sql.toUtf8().constData(), -1, &statement, nullptr);
        return std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt *)>(statement, sqlite3_finalize);
    };

    const Connection db = connectTo(ownerConnectionString(database), m_error);
    if (!db)
        return false;
    auto exec = [&](const QString &sql) { return runOn(db.get(), sql, m_error); };

    QStringList tables, indexes;
    for (auto list = prepare(QStringLiteral("select type, name, sql from sqlite_master where sql is not null "
                                            "and name not like 'sqlite_%' order by rowid"));
         sqlite3_step(list.get()) == SQLITE_ROW;) {
        const QString type = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(list.get(), 0)));
        const QString name = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(list.get(), 1)));
        const QString sql = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(list.get(), 2)));
        if (type == QLatin1String("table"))
            tables << name;
        else if (type == QLatin1String("index"))
            indexes << sql;
    }

    for (const QString &table : tables) {
        QStringList columns, keys;
        for (auto info = prepare(QStringLiteral("select name, type, pk from pragma_table_info(%1) order by cid")
                                     .arg(QLatin1Char('\'') + QString(table).replace(QLatin1Char('\''), QStringLiteral("''")) + QLatin1Char('\'')));
             sqlite3_step(info.get()) == SQLITE_ROW;) {
            const QString name = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(info.get(), 0)));
            const QString type = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(info.get(), 1)));
            columns << quoted(name) + QLatin1Char(' ') + postgresType(type);
            if (sqlite3_column_int(info.get(), 2) > 0)
                keys << quoted(name);
        }
        if (!keys.isEmpty())
            columns << QStringLiteral("PRIMARY KEY (%1)").arg(keys.join(QLatin1Char(',')));
        if (!exec(QStringLiteral("CREATE TABLE %1 (%2)").arg(quoted(table), columns.join(QStringLiteral(", "))))
            || !exec(QStringLiteral("COPY %1 FROM STDIN").arg(quoted(table))))
            return false;
        auto rows = prepare(QStringLiteral("select * from ") + quoted(table));
        const int count = sqlite3_column_count(rows.get());
        QByteArray buffer;
        bool sent = true;
        while (sent && sqlite3_step(rows.get()) == SQLITE_ROW) {
            for (int c = 0; c < count; ++c) {
                if (c)
                    buffer += '\t';
                appendCopyValue(buffer, rows.get(), c);
            }
            buffer += '\n';
            if (buffer.size() > (1 << 16)) {
                sent = PQputCopyData(db.get(), buffer.constData(), int(buffer.size())) == 1;
                buffer.clear();
            }
        }
        if (sent && !buffer.isEmpty())
            sent = PQputCopyData(db.get(), buffer.constData(), int(buffer.size())) == 1;
        PQputCopyEnd(db.get(), sent ? nullptr : "the rows could not be sent");
        for (Result r(PQgetResult(db.get())); r; r.reset(PQgetResult(db.get()))) {
            if (PQresultStatus(r.get()) != PGRES_COMMAND_OK)
                return fail(QStringLiteral("copying %1: %2").arg(table, QString::fromUtf8(PQresultErrorMessage(r.get())).trimmed()));
        }
    }
    for (const QString &index : indexes) {
        if (!exec(index))
            return false;
    }
    return exec(QStringLiteral("ANALYZE"));
}
