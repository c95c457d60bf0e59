// SPDX-License-Identifier: MIT
#pragma once
// The connection text a control is given, read into its keys.

#include <QMap>
#include <QString>

namespace Brennvox10::data {

// key=value pairs separated by ';'; keys compare case-insensitively; a value may be quoted with
// single or double quotes (doubled quotes inside stand for one). A later key wins over an earlier
// one (so "...Data Source=;...;Data Source=x" takes x). No Provider key means SQLite.
struct ConnectionText {
    QMap<QString, QString> values; // keys lower-cased, trimmed

    static ConnectionText parse(const QString &text);
    QString value(const QString &key) const; // empty when missing
    // Lower-cased: "sqlite", "postgresql", "microsoft.jet.oledb.4.0"...; "sqlite" when missing.
    QString provider() const;
    QString dataSource() const; // "Data Source"
    QString password() const; // "Jet Oledb:database password"
};

} // namespace Brennvox10::data
