// SPDX-License-Identifier: MIT
#pragma once
// Real SQLite files and list definition files for the tests, and readable views of what a list shows.

#include <Brennvox10/ListView.h>

#include <QCryptographicHash>
#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QStringList>

#include <sqlite3.h>

#include <stdexcept>

// Creates (or extends) a database by running the statements; the tests may write, the library never.
inline void makeDatabase(const QString &path, const QStringList &statements)
{
    sqlite3 *db = nullptr;
    if (sqlite3_open(QFile::encodeName(path).constData(), &db) != SQLITE_OK)
        throw std::runtime_error("cannot create test database");
    for (const QString &s : statements) {
        char *err = nullptr;
        if (sqlite3_exec(db, s.toUtf8().constData(), nullptr, nullptr, &err) != SQLITE_OK) {
            const std::string msg = err ? err : "?";
            sqlite3_free(err);
            sqlite3_close(db);
            throw std::runtime_error("test database: " + msg);
        }
    }
    sqlite3_close(db);
}

inline QString writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        throw std::runtime_error("cannot write test file");
    f.write(bytes);
    return path;
}

inline void writeText(const QString &path, const QString &text)
{
    writeBytes(path, text.toUtf8());
}

inline QByteArray readBytes(const QString &path)
{
    QFile f(path);
    f.open(QIODevice::ReadOnly);
    return f.readAll();
}

// A user's folder as it was when recorded: the SHA-256 of each file in it and below, and the set of
// entries, so that a write, a removal or a created side file (journal, log, temporary) all show.
class UnchangedFiles {
public:
    // Files named in `mayChange` (relative to the folder) may be rewritten, but not appear or vanish.
    explicit UnchangedFiles(const QString &folder, const QStringList &mayChange = {})
        : m_folder(folder), m_mayChange(mayChange), m_before(hashes()) { }
    bool intact() const { return hashes() == m_before; }
    QString changes() const
    {
        const QMap<QString, QByteArray> now = hashes();
        QStringList out;
        for (auto it = m_before.begin(); it != m_before.end(); ++it)
            if (now.value(it.key(), "-") != it.value())
                out << (now.contains(it.key()) ? "changed " : "removed ") + it.key();
        for (const QString &name : now.keys())
            if (!m_before.contains(name))
                out << "created " + name;
        return out.join(QStringLiteral(", "));
    }

private:
    QMap<QString, QByteArray> hashes() const
    {
        QMap<QString, QByteArray> files;
        QDirIterator it(m_folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
            QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString name = QDir(m_folder).relativeFilePath(it.next());
            files.insert(name,
                m_mayChange.contains(name) || it.fileInfo().isDir()
                    ? QByteArray()
                    : QCryptographicHash::hash(readBytes(it.filePath()), QCryptographicHash::Sha256));
        }
        return files;
    }

    QString m_folder;
    QStringList m_mayChange;
    QMap<QString, QByteArray> m_before;
};

// Every row as "key|text|sub1|sub2...", in shown order.
inline QStringList rowTexts(const Brennvox10::ListView &view)
{
    auto &lv = const_cast<Brennvox10::ListView &>(view);
    QStringList rows;
    const int columns = lv.ColumnHeaders().Count();
    for (int i = 1; i <= lv.ListItems().Count(); ++i) {
        const Brennvox10::ListItem item = lv.ListItems().Item(i);
        QStringList cells { item.Key(), item.Text() };
        for (int j = 1; j < columns; ++j)
            cells << item.SubItems(j);
        rows << cells.join(QLatin1Char('|'));
    }
    return rows;
}
