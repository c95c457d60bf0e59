// SPDX-License-Identifier: MIT
#include "component/VersionBlock.h"

#include "brennvox10_version.h"

namespace Brennvox10::versionblock {

namespace {

constexpr char Strings[] = BRENNVOX10_VERSION_STRINGS;

struct Block {
    Header header;
    char strings[sizeof(Strings)];
};

// "used": nothing but block() refers to it, and the section must survive whatever the linker drops.
__attribute__((section(".brennvox10.version"), used)) const Block TheBlock = {
    { { Magic[0], Magic[1], Magic[2], Magic[3], Magic[4], Magic[5], Magic[6], Magic[7] },
      { BRENNVOX10_VERSION_NUMBERS }, { BRENNVOX10_VERSION_NUMBERS }, BRENNVOX10_VERSION_LANGUAGE,
      BRENNVOX10_VERSION_CODEPAGE, sizeof(Strings) },
    BRENNVOX10_VERSION_STRINGS,
};

} // namespace

const Header &block()
{
    return TheBlock.header;
}

const char *blockStrings()
{
    return TheBlock.strings;
}

} // namespace Brennvox10::versionblock
