// SPDX-License-Identifier: MIT
#pragma once
// A PostgreSQL server of our own, for the demo, the tests and the benchmarks: made with initdb in a
// folder, listening on a Unix socket in that folder only (no TCP port), logins by password, and
// stopped when the object goes. The server refuses to run as root, so under root it runs as the
// "postgres" system user (or "nobody").
//
// A database can be filled from an SQLite file: every table with its rows, its primary key and its
// indexes, with the declared types mapped to PostgreSQL's (CURRENCY as numeric(19,4), DATE as
// date, BOOLEAN as boolean, REAL as double precision).

#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <vector>

class LocalServer {
public:
    static constexpr const char *user = "tienda";
    static constexpr const char *password = "mostrador";

    LocalServer() = default;
    ~LocalServer(); // stops the server
    LocalServer(const LocalServer &) = delete;
    LocalServer &operator=(const LocalServer &) = delete;

    // Whether PostgreSQL's server programs are installed.
    static bool available();

    // Makes and starts the server in a new temporary folder; false with error() on failure.
    bool start();
    // Stops it at once (the next start() makes a new one); a stopped server is not an error.
    void stop();
    // Starts the same server again after stop(kept).
    bool restart();
    bool running() const { return m_running; }

    // Stops every process of the server (SIGSTOP to the postmaster, then to its children) as a
    // stalled host would seem: connections stay open, nothing answers. false with error() when
    // they cannot be found or signalled.
    bool pause();
    // Lets them run again; nothing when not paused.
    void resume();
    // A pause that ends however the scope is left, a failing test's included, and after atMostMs
    // at the latest even while the test is stuck waiting for the server.
    class Paused {
    public:
        explicit Paused(LocalServer &server, int atMostMs = 10000);
        ~Paused();
        Paused(const Paused &) = delete;
        Paused &operator=(const Paused &) = delete;
        bool ok() const { return m_ok; }

    private:
        struct Watchdog;
        LocalServer &m_server;
        bool m_ok;
        std::unique_ptr<Watchdog> m_watchdog;
    };

    // A libpq connection string for database (no password: that comes from the control).
    QString connectionString(const QString &database) const;
    // Writes a connection file for database into the server's folder and returns its path.
    QString writeConnectionFile(const QString &database, const QString &name = QString()) const;

    // Runs one statement as the server's owner on database; false with error() on failure.
    bool execute(const QString &database, const QString &sql);
    // Creates database and copies every table of the SQLite file into it.
    bool copySqlite(const QString &sqlitePath, const QString &database);

    // Processor time the server has used so far, in ms: the postmaster, the processes it runs now
    // and those that ended. The difference over a run is what the run cost the server; -1 when
    // it cannot be read.
    double cpuMs() const;

    QString folder() const { return m_dir ? m_dir->path() : QString(); }
    QString error() const { return m_error; }

private:
    bool run(const QStringList &command, int timeoutMs = 120000);
    QByteArray ownerConnectionString(const QString &database) const; // with the password
    bool fail(const QString &what);

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_bin;
    QString m_runAs; // empty when the server runs as we do
    bool m_running = false;
    std::vector<qint64> m_paused; // postmaster first
    QString m_error;
};
