// Octets as hexadecimal text with blanks, for tables.
#ifndef TESTS_VIRTUALCARD_HEX_H
#define TESTS_VIRTUALCARD_HEX_H

#include <algorithm>

#include "support/octets.h"

inline Octets fromHex(const std::string &text) {
    const auto blanks = static_cast<size_t>(std::count(text.begin(), text.end(), ' '));
    if ((text.size() - blanks) % 2 != 0 || text.find_first_not_of("0123456789ABCDEF ") != std::string::npos)
        throw std::invalid_argument(text);
    return hex(text);
}

inline std::string toHex(const Octets &octets) {
    std::string text;
    for (const uint8_t &octet : octets)
        text += (text.empty() ? "" : " ") + to_hex(&octet, 1);
    return text;
}

#endif
