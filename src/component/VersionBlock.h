// SPDX-License-Identifier: MIT
#pragma once
// The library's version table lives in its own ELF section, so that a tool can read it from the
// file without loading the library (brennvox10-info), and the library reads the same bytes in
// memory. A fixed header, then "Key\0Value\0" pairs. Numbers are in the file's byte order.
// Plain C++ on purpose: the tool shares this layout and has no Qt.

#include <cstdint>
#include <cstring>
#include <string_view>

namespace Brennvox10::versionblock {

inline constexpr char SectionName[] = ".brennvox10.version";
inline constexpr char Magic[8] = { 'B', 'V', 'X', 'V', 'E', 'R', 'S', '1' };

struct Header {
    char magic[8];
    std::uint16_t fileVersion[4];
    std::uint16_t productVersion[4];
    std::uint16_t language;
    std::uint16_t codePage;
    std::uint32_t stringBytes; // the pairs that follow the header
};
static_assert(sizeof(Header) == 32, "the layout is read from files: no padding");

// Calls f(key, value) for each pair within [strings, strings + size); stops at an empty key or at a
// pair cut short by the end, so a damaged table yields fewer pairs, never a read past the end.
template <typename F>
void forEachString(const char *strings, std::size_t size, F &&f)
{
    std::size_t at = 0;
    while (at < size) {
        const void *keyEnd = std::memchr(strings + at, 0, size - at);
        if (!keyEnd)
            return;
        const std::string_view key(strings + at, static_cast<const char *>(keyEnd) - (strings + at));
        if (key.empty())
            return;
        at += key.size() + 1;
        const void *valueEnd = at < size ? std::memchr(strings + at, 0, size - at) : nullptr;
        if (!valueEnd)
            return;
        const std::string_view value(strings + at, static_cast<const char *>(valueEnd) - (strings + at));
        at += value.size() + 1;
        f(key, value);
    }
}

// The table this library carries (in its own section).
const Header &block();
const char *blockStrings();

} // namespace Brennvox10::versionblock
