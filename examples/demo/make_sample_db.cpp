// SPDX-License-Identifier: MIT
// Writes the demo's sample database (see SampleData.h). The content depends only on the fixed seed
// and the count, so every build produces the same rows.
//
//   make_sample_db OUTPUT.db [INVOICES]

#include "SampleData.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

int main(int argc, char **argv)
{
    if (argc != 2 && argc != 3) {
        std::fprintf(stderr, "usage: %s OUTPUT.db [INVOICES]\n", argv[0]);
        return 2;
    }
    long invoices = 0;
    if (argc == 3) {
        char *end = nullptr;
        invoices = std::strtol(argv[2], &end, 10);
        if (*end != '\0' || invoices <= 0) {
            std::fprintf(stderr, "make_sample_db: INVOICES must be a positive whole number\n");
            return 2;
        }
    }
    try {
        sample::writeDatabase(argv[1], invoices);
    } catch (const std::exception &e) {
        std::fprintf(stderr, "make_sample_db: %s\n", e.what());
        return 1;
    }
    return 0;
}
