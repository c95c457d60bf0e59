// SPDX-License-Identifier: MIT
#include "providers/jet/JetImage.h"

#include "core/BusyCursor.h"
#include "providers/jet/JetHeader.h"
#include "providers/jet/JetValue.h"
#include "sql/cursor/Cursor.h"
#include "sql/lexer/Lexer.h"

#include <Brennvox10/Failure.h>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QMutex>

#include <algorithm>
#include <list>
#include <map>
#include <set>

#include <mdbtools.h>
#include <sqlite3.h>

namespace Brennvox10::data::jet {

namespace {

const QString failureSource = QStringLiteral("Microsoft JET Database Engine");

// A memo longer than this is cut there; an OLE object is read whole.
constexpr size_t bindBytes = 256 * 1024;
constexpr size_t cachedFiles = 4;
// How often a copy looks at the clock and for Esc: often enough to stop within a blink, rarely
// enough to cost nothing beside reading the rows.
constexpr qint64 rowsPerCheck = 128;

[[noreturn]] void fail(const QString &message)
{
    throw Failure(FailureNumber::DatabaseError, message, failureSource);
}

QString quotedName(const QString &name)
{
    return QLatin1Char('"') + QString(name).replace(QLatin1Char('"'), QStringLiteral("\"\""))
        + QLatin1Char('"');
}

// Stops a copy that ran past its budget or that the user cancelled, as the providers stop a query.
void checkBudget(const CopyBudget &budget)
{
    const bool cancelled = busy::cancelRequested();
    if (cancelled
        || (budget.limit.count() > 0 && std::chrono::steady_clock::now() - budget.opened > budget.limit))
        failInterrupted(cancelled, budget.limit, failureSource);
}

using Statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt *)>;

// A column being copied: the columns read as text (and OLE objects, whose header mdbtools reads
// through the same pointer) are bound to a buffer; the others are read from the row's own bytes.
struct Column {
    MdbColumn *col = nullptr;
    QByteArray bound;
    int length = 0;
};

// A Jet 3 or Jet 4 file that opens with password, or a Failure with the Jet provider's words.
void checkFile(const QString &path, const QString &password)
{
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        fail(QStringLiteral("Could not find file '%1'.").arg(path));
    const JetHeader header = readJetHeader(file.read(4096));
    if (!header.valid)
        fail(QStringLiteral("Unrecognized database format '%1'.").arg(path));
    // A file without a password opens whatever password is given, as with Jet itself.
    if (!header.password.isEmpty() && header.password != password)
        fail(QStringLiteral("Not a valid password."));
}

// One Jet file opened by mdbtools, its password checked first.
class JetFile {
public:
    JetFile(const QString &path, const QString &password)
    {
        checkFile(path, password);
        // Without MDB_WRITABLE mdbtools opens the file for reading only.
        m_mdb = mdb_open(QFile::encodeName(path).constData(), MDB_NOFLAGS);
        if (!m_mdb || !mdb_read_catalog(m_mdb, MDB_TABLE))
            fail(QStringLiteral("Unrecognized database format '%1'.").arg(path));
        mdb_set_date_fmt(m_mdb, "%Y-%m-%d %H:%M:%S");
        mdb_set_shortdate_fmt(m_mdb, "%Y-%m-%d %H:%M:%S");
        mdb_set_boolean_fmt_numbers(m_mdb);
        mdb_set_bind_size(m_mdb, bindBytes);
    }
    ~JetFile()
    {
        if (m_mdb)
            mdb_close(m_mdb);
    }
    JetFile(const JetFile &) = delete;
    JetFile &operator=(const JetFile &) = delete;

    // The user tables, by name.
    std::map<QString, MdbCatalogEntry *> tables() const
    {
        std::map<QString, MdbCatalogEntry *> out;
        for (unsigned i = 0; i < m_mdb->num_catalog; ++i) {
            auto *entry = static_cast<MdbCatalogEntry *>(g_ptr_array_index(m_mdb->catalog, i));
            if (entry->object_type == MDB_TABLE && mdb_is_user_table(entry))
                out.emplace(QString::fromUtf8(entry->object_name), entry);
        }
        return out;
    }

    // Creates the table in target and copies its rows; returns the row count.
    qint64 copy(MdbCatalogEntry *entry, sqlite3 *target, const CopyBudget &budget)
    {
        MdbTableDef *table = mdb_read_table(entry);
        if (!table)
            fail(QStringLiteral("Cannot read the table '%1'.").arg(QString::fromUtf8(entry->object_name)));
        const std::unique_ptr<MdbTableDef, void (*)(MdbTableDef *)> owner(table, mdb_free_tabledef);
        mdb_read_columns(table);
        mdb_rewind_table(table);
        // Sized once: mdbtools keeps pointers into each element.
        std::vector<Column> columns(table->num_cols);
        for (unsigned c = 0; c < table->num_cols; ++c) {
            Column &column = columns[c];
            column.col = static_cast<MdbColumn *>(g_ptr_array_index(table->columns, c));
            if (readsText(column.col->col_type) || column.col->col_type == MDB_OLE) {
                column.bound = QByteArray(qsizetype(bindBytes) + 1, Qt::Uninitialized);
                mdb_bind_column(table, int(c) + 1, column.bound.data(), &column.length);
            }
        }
        const Statement insert = createTable(target, QString::fromUtf8(table->name), columns);
        qint64 rows = 0;
        for (; mdb_fetch_row(table); ++rows) {
            busy::tick();
            if (rows % rowsPerCheck == 0)
                checkBudget(budget);
            for (size_t c = 0; c < columns.size(); ++c)
                bind(insert.get(), int(c) + 1, columns[c]);
            if (sqlite3_step(insert.get()) != SQLITE_DONE)
                fail(QString::fromUtf8(sqlite3_errmsg(target)));
            sqlite3_reset(insert.get());
        }
        return rows;
    }

    static void exec(sqlite3 *db, const QString &sql)
    {
        char *error = nullptr;
        if (sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, &error) != SQLITE_OK) {
            const QString message = QString::fromUtf8(error ? error : "?");
            sqlite3_free(error);
            fail(message);
        }
    }

private:
    // Creates the table with each column's declared type; the statement that inserts one row.
    static Statement createTable(sqlite3 *target, const QString &table, const std::vector<Column> &columns)
    {
        QStringList declared, marks;
        for (const Column &column : columns) {
            declared << quotedName(QString::fromUtf8(column.col->name)) + QLatin1Char(' ')
                    + QLatin1String(declaredType(column.col->col_type));
            marks << QStringLiteral("?");
        }
        const QString name = quotedName(table);
        exec(target, QStringLiteral("CREATE TABLE %1 (%2)").arg(name, declared.join(QStringLiteral(", "))));
        sqlite3_stmt *raw = nullptr;
        const QByteArray insert
            = QStringLiteral("INSERT INTO %1 VALUES (%2)").arg(name, marks.join(QLatin1Char(','))).toUtf8();
        const int prepared = sqlite3_prepare_v2(target, insert.constData(), -1, &raw, nullptr);
        Statement statement(raw, sqlite3_finalize);
        if (prepared != SQLITE_OK)
            fail(QString::fromUtf8(sqlite3_errmsg(target)));
        return statement;
    }

    void bind(sqlite3_stmt *statement, int at, const Column &column)
    {
        const MdbColumn *col = column.col;
        switch (col->col_type) {
        case MDB_OLE:
            bindObject(statement, at, column);
            return;
        case MDB_BOOL: {
            // A Boolean is its bit in the row's null mask: set, which mdbtools reports as "not
            // null" and no length, is true.
            const char flag = col->cur_value_len == 0 ? 1 : 0;
            bindJetValue(statement, at, jetValue(MDB_BOOL, QByteArrayView(&flag, 1), 0));
            return;
        }
        default:
            break;
        }
        const int start = std::clamp(col->cur_value_start, 0, int(sizeof m_mdb->pg_buf));
        const QByteArrayView raw = readsText(col->col_type)
            ? QByteArrayView(column.bound.constData(), std::clamp(column.length, 0, int(bindBytes)))
            : QByteArrayView(reinterpret_cast<const char *>(m_mdb->pg_buf) + start,
                std::clamp(col->cur_value_len, 0, int(sizeof m_mdb->pg_buf) - start));
        // mdbtools keeps a Decimal's digits after the point in col_prec (its precision in
        // col_scale), and its own text reads them from there.
        bindJetValue(statement, at, jetValue(col->col_type, raw, col->col_prec));
    }

    // An OLE object, read whole through the header mdbtools bound.
    void bindObject(sqlite3_stmt *statement, int at, const Column &column)
    {
        if (column.length <= 0) {
            sqlite3_bind_null(statement, at);
            return;
        }
        size_t size = 0;
        void *data = mdb_ole_read_full(m_mdb, column.col, &size);
        bindJetValue(statement, at,
            jetValue(MDB_OLE,
                data ? QByteArrayView(static_cast<const char *>(data), qsizetype(size)) : QByteArrayView(),
                0));
        g_free(data);
    }

    MdbHandle *m_mdb = nullptr;
};

// The names a text may use for tables, lower-cased: its words and its "quoted", `quoted` and
// [bracketed] names; never what stands in a string or a comment.
std::set<QString> namesIn(const QString &sql)
{
    std::set<QString> names;
    lexer::Lexer lexer(sql, lexer::Dialect::Jet);
    for (lexer::Token token; lexer.next(token);) {
        const QStringView text = token.in(sql);
        if (token.kind == lexer::Kind::Word) {
            names.insert(text.toString().toLower());
        } else if (token.kind == lexer::Kind::Name && text.size() > 2
            && text.back() == (text[0] == u'[' ? u']' : text[0])) {
            const QString name = text.sliced(1, text.size() - 2).toString();
            names.insert(
                (text[0] == u'"' ? QString(name).replace(QStringLiteral("\"\""), QStringLiteral("\"")) : name)
                    .toLower());
        }
    }
    return names;
}

struct Cached {
    QString path;
    qint64 size = -1;
    QDateTime modified;
    std::map<QString, QString> tables; // every user table, by lower-cased name; empty until read
    std::set<QString> loaded; // lower-cased table names in the image
    std::shared_ptr<const QByteArray> image;
};

QBasicMutex cacheMutex;
std::list<Cached> &cache()
{
    static std::list<Cached> files; // most recently used first
    return files;
}

struct DbCloser {
    void operator()(sqlite3 *db) const { sqlite3_close_v2(db); }
};

// The cached entry of an unchanged file, moved to the front; a stale one is dropped. Under the lock.
std::list<Cached>::iterator findCached(const QString &path, const QFileInfo &info)
{
    auto &files = cache();
    auto entry = std::find_if(files.begin(), files.end(), [&](const Cached &c) { return c.path == path; });
    if (entry == files.end())
        return entry;
    if (entry->size != info.size() || entry->modified != info.lastModified()) {
        files.erase(entry);
        return files.end();
    }
    files.splice(files.begin(), files, entry);
    return files.begin();
}

// The real names of the tables among names that the file has and the image lacks.
std::vector<QString> missingTables(const Cached &file, const std::set<QString> &names)
{
    std::vector<QString> out;
    for (const QString &name : names) {
        const auto table = file.tables.find(name);
        if (table != file.tables.end() && !file.loaded.count(name))
            out.push_back(table->second);
    }
    return out;
}

// A new image: the bytes of base, and the wanted tables of jet copied in.
std::shared_ptr<const QByteArray> extendedImage(const QByteArray &base, JetFile &jet,
    const std::vector<MdbCatalogEntry *> &wanted, const CopyBudget &budget)
{
    sqlite3 *raw = nullptr;
    sqlite3_open_v2(":memory:", &raw, SQLITE_OPEN_READWRITE, nullptr);
    const std::unique_ptr<sqlite3, DbCloser> db(raw);
    if (!raw)
        fail(QStringLiteral("out of memory"));
    if (!base.isEmpty()) {
        const auto size = sqlite3_int64(base.size());
        auto *copy = static_cast<unsigned char *>(sqlite3_malloc64(sqlite3_uint64(size)));
        if (!copy)
            fail(QStringLiteral("out of memory"));
        std::memcpy(copy, base.constData(), size_t(size));
        if (sqlite3_deserialize(
                raw, "main", copy, size, size, SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_RESIZEABLE)
            != SQLITE_OK)
            fail(QString::fromUtf8(sqlite3_errmsg(raw)));
    }
    JetFile::exec(raw, QStringLiteral("BEGIN"));
    for (MdbCatalogEntry *table : wanted)
        jet.copy(table, raw, budget);
    JetFile::exec(raw, QStringLiteral("COMMIT"));
    sqlite3_int64 size = 0;
    unsigned char *bytes = sqlite3_serialize(raw, "main", &size, 0);
    if (!bytes)
        fail(QStringLiteral("out of memory"));
    auto image = std::make_shared<const QByteArray>(reinterpret_cast<const char *>(bytes), qsizetype(size));
    sqlite3_free(bytes);
    return image;
}

// Keeps what one reading made, unless another reading of the same file replaced the image it
// started from meanwhile: then the other one stays, and a later text that needs both copies again.
void storeImage(Cached made, const std::shared_ptr<const QByteArray> &base)
{
    QMutexLocker locker(&cacheMutex);
    auto &files = cache();
    auto entry
        = std::find_if(files.begin(), files.end(), [&](const Cached &c) { return c.path == made.path; });
    if (entry != files.end()
        && (entry->size != made.size || entry->modified != made.modified || entry->image != base))
        return;
    if (entry != files.end())
        files.erase(entry);
    files.push_front(std::move(made));
    while (files.size() > cachedFiles)
        files.pop_back();
}

} // namespace

std::shared_ptr<const QByteArray> imageFor(
    const QString &file, const QString &password, const QString &sql, const CopyBudget &budget)
{
    const QFileInfo info(file);
    const QString path = info.absoluteFilePath();
    // The password is checked on every open, cached or not.
    checkFile(path, password);
    const std::set<QString> names = namesIn(sql);

    // Looked up under the lock, read and copied outside it, so that other files stay quick to open;
    // a copy that fails or is interrupted stores nothing.
    Cached made { path, info.size(), info.lastModified(), {}, {}, nullptr };
    {
        QMutexLocker locker(&cacheMutex);
        const auto entry = findCached(path, info);
        if (entry != cache().end()) {
            if (entry->image && missingTables(*entry, names).empty())
                return entry->image;
            made = *entry;
        }
    }
    const std::shared_ptr<const QByteArray> base = made.image;
    JetFile jet(path, password);
    const std::map<QString, MdbCatalogEntry *> catalog = jet.tables();
    if (made.tables.empty()) {
        for (const auto &[name, unused] : catalog)
            made.tables.emplace(name.toLower(), name);
    }
    std::vector<MdbCatalogEntry *> wanted;
    for (const QString &name : missingTables(made, names)) {
        wanted.push_back(catalog.at(name));
        made.loaded.insert(name.toLower());
    }
    // No table the text names: an empty database, where SQLite reports the missing table.
    if (!made.image || !wanted.empty())
        made.image = wanted.empty() ? std::make_shared<const QByteArray>()
                                    : extendedImage(base ? *base : QByteArray(), jet, wanted, budget);
    const std::shared_ptr<const QByteArray> image = made.image;
    storeImage(std::move(made), base);
    return image;
}

void copyTables(const QString &file, const QString &password, sqlite3 *target,
    const std::function<void(const QString &table, qint64 rows)> &progress)
{
    JetFile jet(file, password);
    const CopyBudget unlimited;
    for (const auto &[name, table] : jet.tables()) {
        const qint64 rows = jet.copy(table, target, unlimited);
        if (progress)
            progress(name, rows);
    }
}

void clearImageCache()
{
    QMutexLocker locker(&cacheMutex);
    cache().clear();
}

} // namespace Brennvox10::data::jet
