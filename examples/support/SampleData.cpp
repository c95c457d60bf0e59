// SPDX-License-Identifier: MIT
#include "SampleData.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// splitmix64: tiny, and unlike the standard distributions it yields the same numbers everywhere.
class Random {
public:
    explicit Random(std::uint64_t seed)
        : m_state(seed)
    {
    }
    std::uint64_t next()
    {
        std::uint64_t z = (m_state += 0x9e3779b97f4a7c15ULL);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
        return z ^ (z >> 31);
    }
    // Uniform in [lo, hi].
    int between(int lo, int hi) { return lo + int(next() % std::uint64_t(hi - lo + 1)); }
    template <typename T, std::size_t N> const T &pick(const std::array<T, N> &items)
    {
        return items[next() % N];
    }

private:
    std::uint64_t m_state;
};

class Database {
public:
    explicit Database(const std::string &path)
    {
        if (sqlite3_open_v2(path.c_str(), &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr)
            != SQLITE_OK)
            throw std::runtime_error("cannot create " + path + ": " + sqlite3_errmsg(m_db));
    }
    ~Database() { sqlite3_close(m_db); }
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    void exec(const char *sql)
    {
        char *error = nullptr;
        if (sqlite3_exec(m_db, sql, nullptr, nullptr, &error) != SQLITE_OK) {
            std::string text = error ? error : "unknown error";
            sqlite3_free(error);
            throw std::runtime_error(text + " in: " + sql);
        }
    }
    sqlite3 *handle() const { return m_db; }

private:
    sqlite3 *m_db = nullptr;
};

// One prepared insert, bound positionally and run once per row.
class Insert {
public:
    Insert(Database &db, const char *sql)
        : m_db(db.handle())
    {
        if (sqlite3_prepare_v2(m_db, sql, -1, &m_stmt, nullptr) != SQLITE_OK)
            throw std::runtime_error(std::string(sqlite3_errmsg(m_db)) + " in: " + sql);
    }
    ~Insert() { sqlite3_finalize(m_stmt); }
    Insert(const Insert &) = delete;
    Insert &operator=(const Insert &) = delete;

    Insert &bind(int i, std::int64_t v) { return check(sqlite3_bind_int64(m_stmt, i, v)); }
    Insert &bind(int i, int v) { return bind(i, std::int64_t(v)); }
    Insert &bind(int i, double v) { return check(sqlite3_bind_double(m_stmt, i, v)); }
    Insert &bind(int i, const std::string &v)
    {
        return check(sqlite3_bind_text(m_stmt, i, v.c_str(), int(v.size()), SQLITE_TRANSIENT));
    }
    void run()
    {
        if (sqlite3_step(m_stmt) != SQLITE_DONE)
            throw std::runtime_error(sqlite3_errmsg(m_db));
        sqlite3_reset(m_stmt);
    }

private:
    Insert &check(int rc)
    {
        if (rc != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(m_db));
        return *this;
    }
    sqlite3 *m_db;
    sqlite3_stmt *m_stmt = nullptr;
};

struct Zone {
    const char *name;
    std::array<const char *, 3> routes;
};

// Invented places: no real client, town or route is meant.
const std::array<Zone, 5> zones = { {
    { "Norte", { "Villanueva del Cierzo", "Peñalta", "Robledo de Arriba" } },
    { "Sur", { "Almenara", "Torrecilla del Olivar", "Fuentesol" } },
    { "Este", { "Benisalar", "Cala Morena", "Levantina" } },
    { "Oeste", { "Castroverde", "Monteluz", "Valdeencinas" } },
    { "Centro", { "Mercado Central", "Plaza Mayor", "Polígono Industrial" } },
} };

const std::array<const char *, 24> firstNames = { "María", "José", "Carmen", "Antonio", "Lucía", "Manuel",
    "Isabel", "Francisco", "Pilar", "Javier", "Elena", "Miguel", "Rosa", "Andrés", "Teresa", "Pablo", "Nuria",
    "Sergio", "Inés", "Ramón", "Alba", "Tomás", "Julia", "Íñigo" };
const std::array<const char *, 24> surnames = { "García", "Fernández", "López", "Martín", "Sánchez", "Gómez",
    "Ruiz", "Díaz", "Moreno", "Álvarez", "Romero", "Navarro", "Torres", "Ramos", "Gil", "Serrano", "Blanco",
    "Molina", "Ortega", "Castro", "Rubio", "Marín", "Iglesias", "Peña" };
const std::array<const char *, 14> trades
    = { "Ferretería", "Panadería", "Bar", "Farmacia", "Talleres", "Distribuciones", "Comercial", "Hermanos",
          "Bodegas", "Supermercado", "Librería", "Frutas", "Cafetería", "Droguería" };
const std::array<const char *, 4> companyForms = { "", " S.L.", " S.A.", " e Hijos" };

const std::array<const char *, 12> monthNames = { "Enero", "Febrero", "Marzo", "Abril", "Mayo", "Junio",
    "Julio", "Agosto", "Septiembre", "Octubre", "Noviembre", "Diciembre" };

std::string clientName(Random &rnd)
{
    if (rnd.between(0, 1) == 0)
        return std::string(rnd.pick(firstNames)) + ' ' + rnd.pick(surnames) + ' ' + rnd.pick(surnames);
    return std::string(rnd.pick(trades)) + ' ' + rnd.pick(surnames) + rnd.pick(companyForms);
}

struct Client {
    int zone;
    int route;
};

// Days since 1970-01-01 of a civil date (proleptic Gregorian), and back; avoids time zones.
long daysFromCivil(int y, int m, int d)
{
    y -= m <= 2;
    const long era = (y >= 0 ? y : y - 399) / 400;
    const long yoe = y - era * 400;
    const long doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

std::string isoDate(long days, int *year)
{
    days += 719468;
    const long era = (days >= 0 ? days : days - 146096) / 146097;
    const long doe = days - era * 146097;
    const long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const long mp = (5 * doy + 2) / 153;
    const int d = int(doy - (153 * mp + 2) / 5 + 1);
    const int m = int(mp < 10 ? mp + 3 : mp - 9);
    const int y = int(yoe + era * 400 + (m <= 2));
    char text[16];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", y, m, d);
    *year = y;
    return text;
}

void writeSample(Database &db, long wanted)
{
    Random rnd(20240229);

    db.exec("create table zonas (id INTEGER PRIMARY KEY, nombre TEXT NOT NULL)");
    db.exec("create table rutas (id INTEGER PRIMARY KEY, nombre TEXT NOT NULL, zona INTEGER NOT NULL)");
    db.exec("create table clientes (id INTEGER PRIMARY KEY, nombre TEXT NOT NULL, zona INTEGER NOT NULL,"
            " ruta INTEGER NOT NULL)");
    db.exec("create table meses (mes INTEGER PRIMARY KEY, nombre TEXT NOT NULL)");
    db.exec("create table estados (nombre TEXT PRIMARY KEY, descripcion TEXT NOT NULL)");
    db.exec(
        "create table facturas (id INTEGER PRIMARY KEY, numero TEXT NOT NULL UNIQUE, fecha DATE NOT NULL,"
        " cliente INTEGER NOT NULL, zona INTEGER NOT NULL, ruta INTEGER NOT NULL, total CURRENCY NOT NULL,"
        " pagada BOOLEAN NOT NULL, peso REAL NOT NULL, estado TEXT NOT NULL)");

    {
        Insert zone(db, "insert into zonas values (?, ?)");
        Insert route(db, "insert into rutas values (?, ?, ?)");
        int routeId = 0;
        for (int z = 0; z < int(zones.size()); ++z) {
            zone.bind(1, z + 1).bind(2, std::string(zones[z].name)).run();
            for (const char *name : zones[z].routes)
                route.bind(1, ++routeId).bind(2, std::string(name)).bind(3, z + 1).run();
        }
    }
    {
        Insert month(db, "insert into meses values (?, ?)");
        for (int m = 0; m < 12; ++m)
            month.bind(1, m + 1).bind(2, std::string(monthNames[m])).run();
        Insert state(db, "insert into estados values (?, ?)");
        state.bind(1, std::string("Pendiente")).bind(2, std::string("Pendiente de cobro")).run();
        state.bind(1, std::string("Cobrada")).bind(2, std::string("Cobrada")).run();
        state.bind(1, std::string("Anulada")).bind(2, std::string("Anulada, sin efecto")).run();
    }

    std::vector<Client> clients;
    {
        Insert client(db, "insert into clientes values (?, ?, ?, ?)");
        std::set<std::string> taken;
        while (clients.size() < 160) {
            std::string name = clientName(rnd);
            if (!taken.insert(name).second)
                continue;
            const int zone = rnd.between(1, int(zones.size()));
            const int route = (zone - 1) * 3 + rnd.between(1, 3);
            clients.push_back({ zone, route });
            client.bind(1, int(clients.size())).bind(2, name).bind(3, zone).bind(4, route).run();
        }
    }

    // Invoices from 2022 to 2024: several a weekday, a few on Saturdays, none on Sundays. Older ones
    // are mostly collected; the last quarter still has many pending. A wanted count is spread evenly
    // over the days that are not Sundays instead.
    Insert invoice(db, "insert into facturas values (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    const long first = daysFromCivil(2022, 1, 1), last = daysFromCivil(2024, 12, 31);
    const long recent = daysFromCivil(2024, 10, 1);
    long workdays = 0;
    for (long day = first; day <= last; ++day)
        workdays += (day + 4) % 7 != 0;
    // Wide enough for the largest year, so that the numbers sort as they count.
    const int digits = std::max(5, int(std::to_string(wanted).size()));
    long id = 0, workday = 0;
    int currentYear = 0, sequence = 0;
    for (long day = first; day <= last; ++day) {
        const int weekday = int((day + 4) % 7); // 1970-01-01 was a Thursday; 0 is Sunday
        long count = 0;
        if (wanted == 0)
            count = weekday == 0 ? 0 : weekday == 6 ? rnd.between(0, 1) : rnd.between(2, 7);
        else if (weekday != 0) {
            count = (workday + 1) * wanted / workdays - workday * wanted / workdays;
            ++workday;
        }
        int year = 0;
        const std::string date = isoDate(day, &year);
        if (year != currentYear) {
            currentYear = year;
            sequence = 0;
        }
        for (long k = 0; k < count; ++k) {
            const int clientId = rnd.between(1, int(clients.size()));
            const Client &client = clients[clientId - 1];

            const int band = rnd.between(0, 99);
            const int cents = band < 60 ? rnd.between(1500, 60000)
                : band < 90             ? rnd.between(60000, 250000)
                                        : rnd.between(250000, 1200000);
            const int grams = rnd.between(500, 480000);

            const int roll = rnd.between(0, 99);
            const char *state = day < recent ? (roll < 90 ? "Cobrada"
                                        : roll < 94       ? "Anulada"
                                                          : "Pendiente")
                                             : (roll < 45        ? "Cobrada"
                                                     : roll < 50 ? "Anulada"
                                                                 : "Pendiente");
            const bool paid = std::string(state) == "Cobrada";

            char prefix[16];
            std::snprintf(prefix, sizeof prefix, "F%04d-", year);
            const std::string count = std::to_string(++sequence);
            const std::string number
                = prefix + std::string(size_t(std::max(0, digits - int(count.size()))), '0') + count;
            invoice.bind(1, std::int64_t(++id))
                .bind(2, number)
                .bind(3, date)
                .bind(4, clientId)
                .bind(5, client.zone)
                .bind(6, client.route)
                .bind(7, cents / 100.0)
                .bind(8, paid ? 1 : 0)
                .bind(9, grams / 1000.0)
                .bind(10, std::string(state))
                .run();
        }
    }
}

} // namespace

namespace sample {

void writeDatabase(const std::string &target, long invoices)
{
    const std::string partial = target + ".partial";
    std::remove(partial.c_str());
    try {
        {
            Database db(partial);
            db.exec("pragma journal_mode = off");
            db.exec("begin");
            writeSample(db, invoices);
            if (invoices > 0) {
                // The clients' list counts each client's invoices: without an index that is a scan of
                // every invoice for every client.
                db.exec("create index facturas_cliente on facturas (cliente)");
                // The invoices' list is newest first: in index order it needs no sort of every row.
                db.exec("create index facturas_fecha on facturas (fecha desc, id desc)");
                db.exec(("pragma user_version = " + std::to_string(invoices)).c_str());
            }
            db.exec("commit");
        }
        if (std::rename(partial.c_str(), target.c_str()) != 0)
            throw std::runtime_error("cannot move the new database to " + target);
    } catch (...) {
        std::remove(partial.c_str());
        throw;
    }
}

long generatedCount(const std::string &path)
{
    sqlite3 *db = nullptr;
    long count = -1;
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_stmt *stmt = nullptr;
        // The invoices table must be there: an empty file opens as a database too.
        if (sqlite3_prepare_v2(db,
                "select (select user_version from pragma_user_version), count(*) from"
                " sqlite_schema where name = 'facturas'",
                -1, &stmt, nullptr)
                == SQLITE_OK
            && sqlite3_step(stmt) == SQLITE_ROW && sqlite3_column_int(stmt, 1) == 1)
            count = long(sqlite3_column_int64(stmt, 0));
        sqlite3_finalize(stmt);
    }
    sqlite3_close(db);
    return count;
}

} // namespace sample
