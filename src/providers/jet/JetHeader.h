// SPDX-License-Identifier: MIT
#pragma once
// The first page of a Jet file: its version and the database password it carries. The password is
// only masked (a fixed RC4 stream over the header, and in Jet 4 the creation date over the
// password), so reading it takes no key; what it guards is that the controls open a protected file
// only with its password, as the Jet provider does.

#include <QByteArrayView>
#include <QString>

namespace Brennvox10::data::jet {

struct JetHeader {
    bool valid = false; // a Jet 3 or Jet 4 database page
    int version = -1; // 0 Jet 3, 1 Jet 4
    QString password; // empty when the file has none
};

// Reads the header from the file's first bytes (at least 0x98).
JetHeader readJetHeader(QByteArrayView firstPage);

} // namespace Brennvox10::data::jet
