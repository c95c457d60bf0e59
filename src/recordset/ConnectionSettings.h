// SPDX-License-Identifier: MIT
#pragma once
// The connection properties a data control is given, and the connection text made of them.

#include <QString>

namespace Brennvox10 {

struct ConnectionSettings {
    QString connectionString, dataSource, password;

    // connection string + data source + ";Jet Oledb:database password=" + password. A user name, if
    // a host sets one, takes no part: the connection string carries whatever a provider needs.
    QString compose() const
    {
        return connectionString + dataSource + QStringLiteral(";Jet Oledb:database password=") + password;
    }
};

} // namespace Brennvox10
