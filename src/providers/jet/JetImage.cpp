// SPDX-License-Identifier: MIT
#include "providers/jet/JetImage.h"

#include "core/BusyCursor.h"
#include "providers/jet/JetHeader.h"
#include "sql/lexer/Lexer.h"

#include <Brennvox10/Failure.h>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QMutex>

#include <list>
#include <map>
#include <set>

#include <clocale>
#include <locale.h>
#include <mdbtools.h>
#include <sqlite3.h>

namespace Brennvox10::data::jet {

namespace {

const QString failureSource = QStringLiteral("Microsoft JET Database Engine");

// A memo longer than this is cut there; an OLE object is read whole.
constexpr size_t bindBytes = 256 * 1024;
constexpr size_t cachedFiles = 4;

[[noreturn]] void fail(const QString &message)
{
    throw Failure(FailureNumber::DatabaseError, message, failureSource);
}

// The SQLite declared type that gives each Jet type its field type.
const char *declaredType(int jetType)
{
    switch (jetType) {
    case MDB_BOOL:
        return "BOOLEAN";
    case MDB_BYTE:
        return "BYTE";
    case MDB_INT:
        return "SMALLINT";
    case MDB_LONGINT:
        return "INTEGER";
    case MDB_MONEY:
        return "CURRENCY";
    case MDB_FLOAT:
        return "SINGLE";
    case MDB_DOUBLE:
        return "DOUBLE";
    case MDB_DATETIME:
        return "DATETIME";
    case MDB_NUMERIC:
        return "DECIMAL";
    case MDB_BINARY:
    case MDB_OLE:
        return "LONGBINARY";
    default: // Text, Memo, replication ids
        return "TEXT";
    }
}

QString quotedName(const QString &name)
{
    return QLatin1Char('"') + QString(name).replace(QLatin1Char('"'), QStringLiteral("\"\""))
        + QLatin1Char('"');
}

// mdbtools writes numbers with the C library's formatting: under a user's locale 3.5 would come as
// "3,5". The C numeric locale holds on this thread while a file is read.
class CNumbers {
public:
    CNumbers()
        : m_c(newlocale(LC_NUMERIC_MASK, "C", static_cast<locale_t>(nullptr)))
        , m_previous(m_c ? uselocale(m_c) : static_cast<locale_t>(nullptr))
    {
    }
    ~CNumbers()
    {
        if (m_c) {
            uselocale(m_previous);
            freelocale(m_c);
        }
    }
    CNumbers(const CNumbers &) = delete;
    CNumbers &operator=(const CNumbers &) = delete;

private:
    locale_t m_c;
    locale_t m_previous;
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
    qint64 copy(MdbCatalogEntry *entry, sqlite3 *target)
    {
        MdbTableDef *table = mdb_read_table(entry);
        if (!table)
            fail(QStringLiteral("Cannot read the table '%1'.").arg(QString::fromUtf8(entry->object_name)));
        const std::unique_ptr<MdbTableDef, void (*)(MdbTableDef *)> owner(table, mdb_free_tabledef);
        mdb_read_columns(table);
        mdb_rewind_table(table);
        const unsigned count = table->num_cols;
        QStringList columns, marks;
        std::vector<MdbColumn *> cols(count);
        std::vector<QByteArray> bound(count);
        std::vector<int> lengths(count, 0);
        for (unsigned c = 0; c < count; ++c) {
            cols[c] = static_cast<MdbColumn *>(g_ptr_array_index(table->columns, c));
            columns << quotedName(QString::fromUtf8(cols[c]->name)) + QLatin1Char(' ')
                    + QLatin1String(declaredType(cols[c]->col_type));
            marks << QStringLiteral("?");
            // OLE columns too: mdbtools reads an object through the pointer the row binds.
            bound[c] = QByteArray(qsizetype(bindBytes) + 1, Qt::Uninitialized);
            mdb_bind_column(table, int(c) + 1, bound[c].data(), &lengths[c]);
        }
        const QString name = quotedName(QString::fromUtf8(table->name));
        exec(target, QStringLiteral("CREATE TABLE %1 (%2)").arg(name, columns.join(QStringLiteral(", "))));
        sqlite3_stmt *raw = nullptr;
        const QByteArray insert
            = QStringLiteral("INSERT INTO %1 VALUES (%2)").arg(name, marks.join(QLatin1Char(','))).toUtf8();
        if (sqlite3_prepare_v2(target, insert.constData(), -1, &raw, nullptr) != SQLITE_OK)
            fail(QString::fromUtf8(sqlite3_errmsg(target)));
        const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt *)> statement(raw, sqlite3_finalize);
        qint64 rows = 0;
        while (mdb_fetch_row(table)) {
            busy::tick();
            for (unsigned c = 0; c < count; ++c)
                bind(raw, int(c) + 1, cols[c], bound[c], lengths[c]);
            if (sqlite3_step(raw) != SQLITE_DONE)
                fail(QString::fromUtf8(sqlite3_errmsg(target)));
            sqlite3_reset(raw);
            ++rows;
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
    void bind(sqlite3_stmt *statement, int at, MdbColumn *col, const QByteArray &buffer, int length)
    {
        if (col->col_type == MDB_OLE) {
            if (length <= 0) {
                sqlite3_bind_null(statement, at);
                return;
            }
            size_t size = 0;
            void *data = mdb_ole_read_full(m_mdb, col, &size);
            if (data && size)
                sqlite3_bind_blob64(statement, at, data, size, SQLITE_TRANSIENT);
            else
                sqlite3_bind_null(statement, at);
            g_free(data);
            return;
        }
        // mdbtools tells a Null from an empty text by neither: both come as no bytes.
        if (length <= 0 && col->col_type != MDB_BOOL) {
            sqlite3_bind_null(statement, at);
            return;
        }
        int size = std::min(length, int(bindBytes));
        // A date without a time of day is a date, as Jet shows it.
        if (col->col_type == MDB_DATETIME && size == 19
            && std::memcmp(buffer.constData() + 10, " 00:00:00", 9) == 0)
            size = 10;
        if (col->col_type == MDB_BOOL)
            sqlite3_bind_int(statement, at, buffer[0] == '1' ? 1 : 0);
        else
            sqlite3_bind_text(statement, at, buffer.constData(), size, SQLITE_TRANSIENT);
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
std::shared_ptr<const QByteArray> extendedImage(
    const QByteArray &base, JetFile &jet, const std::vector<MdbCatalogEntry *> &wanted)
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
        jet.copy(table, raw);
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

std::shared_ptr<const QByteArray> imageFor(const QString &file, const QString &password, const QString &sql)
{
    const QFileInfo info(file);
    const QString path = info.absoluteFilePath();
    // The password is checked on every open, cached or not.
    checkFile(path, password);
    const std::set<QString> names = namesIn(sql);

    // Looked up under the lock, read and copied outside it, so that other files stay quick to open.
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
    const CNumbers numbers;
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
                                    : extendedImage(base ? *base : QByteArray(), jet, wanted);
    const std::shared_ptr<const QByteArray> image = made.image;
    storeImage(std::move(made), base);
    return image;
}

void copyTables(const QString &file, const QString &password, sqlite3 *target,
    const std::function<void(const QString &table, qint64 rows)> &progress)
{
    const CNumbers numbers;
    JetFile jet(file, password);
    for (const auto &[name, table] : jet.tables()) {
        const qint64 rows = jet.copy(table, target);
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
