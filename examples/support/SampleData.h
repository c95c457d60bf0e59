// SPDX-License-Identifier: MIT
#pragma once
// The demo's sample database: the invoices of a small wholesaler over three years, with its zones,
// delivery routes, clients and the month and state tables the list definition reads. Shared by
// make_sample_db, which the build runs, and by the demo host's --rows, which makes larger ones.

#include <string>

namespace sample {

// Writes a new database at target through target + ".partial", renamed into place, so that a failed
// run never leaves half a database. invoices 0 gives the fixed sample (a few thousand invoices, a
// realistic number a day); any other count gives exactly that many, spread over the same three years,
// and is stored as the database's user_version. The content depends only on the fixed seed and the
// count. Throws std::runtime_error on failure.
void writeDatabase(const std::string &target, long invoices = 0);

// The count writeDatabase stored, 0 for the fixed sample; -1 when the file is not a database.
long generatedCount(const std::string &path);

} // namespace sample
