// SPDX-License-Identifier: MIT
// brennvox10-info FILE: prints the version table of a Brennvox10 library file, one "Key: value"
// line each. It reads the ELF section headers itself and never loads the file, so it also works on
// a library built for another machine or one whose dependencies are missing.

#include "component/VersionBlock.h"

#include <elf.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
namespace vb = Brennvox10::versionblock;

struct Reader {
    const Bytes &file;
    bool bigEndian;

    // Every read is bounds-checked: the file may be truncated or hostile.
    std::optional<std::uint64_t> uint(std::uint64_t at, int size) const
    {
        if (at > file.size() || std::uint64_t(size) > file.size() - at)
            return std::nullopt;
        std::uint64_t v = 0;
        for (int i = 0; i < size; ++i) {
            const int shift = 8 * (bigEndian ? size - 1 - i : i);
            v |= std::uint64_t(file[at + i]) << shift;
        }
        return v;
    }
};

struct Section {
    std::uint64_t name, offset, size;
    std::uint32_t type;
};

// Field offsets and sizes of an ELF section header for the file's class.
std::optional<Section> sectionAt(const Reader &r, std::uint64_t at, bool is64)
{
    const auto name = r.uint(at, 4);
    const auto type = r.uint(at + 4, 4);
    const auto offset = is64 ? r.uint(at + 24, 8) : r.uint(at + 16, 4);
    const auto size = is64 ? r.uint(at + 32, 8) : r.uint(at + 20, 4);
    if (!name || !type || !offset || !size)
        return std::nullopt;
    return Section { *name, *offset, *size, std::uint32_t(*type) };
}

int fail(const char *path, const char *why)
{
    std::fprintf(stderr, "brennvox10-info: %s: %s\n", path, why);
    return 1;
}

std::string version(const Reader &r, std::uint64_t at)
{
    std::string text;
    for (int i = 0; i < 4; ++i)
        text += (i ? "." : "") + std::to_string(*r.uint(at + 2 * i, 2));
    return text;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: brennvox10-info LIBRARY-FILE\n");
        return 2;
    }
    const char *path = argv[1];
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return fail(path, "cannot open");
    const Bytes file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());

    if (file.size() < EI_NIDENT || std::memcmp(file.data(), ELFMAG, SELFMAG) != 0)
        return fail(path, "not an ELF file");
    const bool is64 = file[EI_CLASS] == ELFCLASS64;
    if (!is64 && file[EI_CLASS] != ELFCLASS32)
        return fail(path, "unknown ELF class");
    const Reader r { file, file[EI_DATA] == ELFDATA2MSB };

    const auto shoff = is64 ? r.uint(0x28, 8) : r.uint(0x20, 4);
    const auto shentsize = r.uint(is64 ? 0x3A : 0x2E, 2);
    const auto shnum = r.uint(is64 ? 0x3C : 0x30, 2);
    const auto shstrndx = r.uint(is64 ? 0x3E : 0x32, 2);
    if (!shoff || !shentsize || !shnum || !shstrndx || *shstrndx >= *shnum)
        return fail(path, "damaged ELF header");
    const auto names = sectionAt(r, *shoff + *shstrndx * *shentsize, is64);
    if (!names)
        return fail(path, "damaged section headers");

    std::optional<Section> table;
    for (std::uint64_t i = 0; i < *shnum && !table; ++i) {
        const auto s = sectionAt(r, *shoff + i * *shentsize, is64);
        if (!s)
            return fail(path, "damaged section headers");
        const std::size_t length = sizeof(vb::SectionName);
        if (names->offset <= file.size() && s->name < names->size && s->name <= file.size() - names->offset
            && length <= file.size() - names->offset - s->name
            && std::memcmp(file.data() + names->offset + s->name, vb::SectionName, length) == 0)
            table = s;
    }
    if (!table || table->type == SHT_NOBITS)
        return fail(path, "no Brennvox10 version table");
    const std::uint64_t at = table->offset;
    if (table->size < sizeof(vb::Header) || at > file.size() || table->size > file.size() - at
        || std::memcmp(file.data() + at, vb::Magic, sizeof(vb::Magic)) != 0)
        return fail(path, "damaged version table");

    const std::uint64_t strings = at + offsetof(vb::Header, stringBytes) + 4;
    const std::uint64_t stringBytes = std::min<std::uint64_t>(
        *r.uint(at + offsetof(vb::Header, stringBytes), 4), at + table->size - strings);
    std::printf("FixedFileVersion: %s\n", version(r, at + offsetof(vb::Header, fileVersion)).c_str());
    std::printf("FixedProductVersion: %s\n", version(r, at + offsetof(vb::Header, productVersion)).c_str());
    std::printf("Language: 0x%04x\n", unsigned(*r.uint(at + offsetof(vb::Header, language), 2)));
    std::printf("CodePage: 0x%04x\n", unsigned(*r.uint(at + offsetof(vb::Header, codePage), 2)));
    vb::forEachString(reinterpret_cast<const char *>(file.data() + strings), stringBytes,
        [](std::string_view key, std::string_view value) {
            std::printf("%.*s: %.*s\n", int(key.size()), key.data(), int(value.size()), value.data());
        });
    return 0;
}
