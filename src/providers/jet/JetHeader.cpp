// SPDX-License-Identifier: MIT
#include "providers/jet/JetHeader.h"

#include <QtEndian>

#include <array>
#include <cstring>

namespace Brennvox10::data::jet {

namespace {

constexpr qsizetype maskedStart = 0x18;
constexpr qsizetype passwordAt = 0x42;
constexpr qsizetype creationDateAt = 0x72;

// The keystream of RC4 under the fixed 4-byte key 0x6B39DAC7 (little-endian).
std::array<quint8, 128> headerMask()
{
    const quint8 key[4] = { 0xC7, 0xDA, 0x39, 0x6B };
    std::array<quint8, 256> state;
    for (int i = 0; i < 256; ++i)
        state[size_t(i)] = quint8(i);
    for (int i = 0, j = 0; i < 256; ++i) {
        j = (j + state[size_t(i)] + key[i % 4]) & 0xff;
        std::swap(state[size_t(i)], state[size_t(j)]);
    }
    std::array<quint8, 128> stream;
    for (int n = 0, i = 0, j = 0; n < 128; ++n) {
        i = (i + 1) & 0xff;
        j = (j + state[size_t(i)]) & 0xff;
        std::swap(state[size_t(i)], state[size_t(j)]);
        stream[size_t(n)] = state[size_t((state[size_t(i)] + state[size_t(j)]) & 0xff)];
    }
    return stream;
}

} // namespace

JetHeader readJetHeader(QByteArrayView page)
{
    JetHeader header;
    if (page.size() < maskedStart + 128 || page[0] != 0 || std::memcmp(page.data() + 4, "Standard Jet DB", 15) != 0)
        return header;
    header.version = quint8(page[0x14]);
    if (header.version != 0 && header.version != 1)
        return header;
    header.valid = true;

    static const std::array<quint8, 128> mask = headerMask();
    const int masked = header.version == 0 ? 126 : 128;
    quint8 plain[128] = {};
    for (int i = 0; i < masked; ++i)
        plain[i] = quint8(page[maskedStart + i]) ^ mask[size_t(i)];
    auto at = [&](qsizetype offset) { return plain + (offset - maskedStart); };

    if (header.version == 0) {
        // Twenty bytes of text, zero-padded.
        const char *text = reinterpret_cast<const char *>(at(passwordAt));
        header.password = QString::fromLatin1(text, qsizetype(strnlen(text, 20)));
        return header;
    }
    // Forty bytes of UTF-16, each byte also masked by the creation date's whole days.
    double created = 0;
    std::memcpy(&created, at(creationDateAt), sizeof created);
    created = qFromLittleEndian(created);
    const qint32 days = created > -2147483648.0 && created < 2147483647.0 ? qint32(created) : 0;
    quint8 dateMask[4];
    qToLittleEndian(days, dateMask);
    char16_t chars[20];
    bool masked2 = false;
    for (int i = 0; i < 40; i += 2) {
        quint8 lo = at(passwordAt)[i], hi = at(passwordAt)[i + 1];
        chars[i / 2] = char16_t(lo | (hi << 8));
        masked2 = masked2 || chars[i / 2] != 0;
    }
    if (!masked2)
        return header;
    int length = 0;
    for (int i = 0; i < 40; i += 2) {
        const quint8 lo = at(passwordAt)[i] ^ dateMask[i % 4], hi = at(passwordAt)[i + 1] ^ dateMask[(i + 1) % 4];
        chars[i / 2] = char16_t(lo | (hi << 8));
        if (chars[i / 2] != 0)
            length = i / 2 + 1;
    }
    header.password = QString::fromUtf16(chars, length);
    return header;
}

} // namespace Brennvox10::data::jet
