// Octet strings of tests: hexadecimal text and DER elements put together by hand.
#ifndef ZELMO_TESTS_SUPPORT_OCTETS_H
#define ZELMO_TESTS_SUPPORT_OCTETS_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

using Octets = std::vector<uint8_t>;

/// Octets of a hexadecimal text; blanks between them are skipped.
inline Octets hex(std::string_view text) {
    Octets octets;
    std::string digits;
    for (char c : text)
        if (c != ' ')
            digits += c;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        octets.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    return octets;
}

/// Hexadecimal text of octets.
inline std::string to_hex(const uint8_t *data, size_t length) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (size_t i = 0; i < length; ++i)
        text += {digits[data[i] >> 4], digits[data[i] & 0x0F]};
    return text;
}

inline Octets operator+(Octets left, const Octets &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// A DER element with this tag around the parts.
inline Octets der(uint8_t tag, std::initializer_list<Octets> parts) {
    Octets content;
    for (const Octets &part : parts)
        content.insert(content.end(), part.begin(), part.end());
    Octets length;
    for (size_t rest = content.size(); rest > 0; rest >>= 8)
        length.insert(length.begin(), static_cast<uint8_t>(rest));
    Octets header = {tag};
    if (content.size() > 0x7F)
        header.push_back(static_cast<uint8_t>(0x80 + length.size()));
    header = header + (length.empty() ? Octets{0} : length);
    return header + content;
}

/// A record of a directory file: id, length, body.
inline Octets record(uint8_t id, const Octets &body) {
    return Octets{id, static_cast<uint8_t>(body.size())} + body;
}

#endif
