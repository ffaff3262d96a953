// Octets as hexadecimal text with blanks, for tables.
#ifndef TESTS_VIRTUALCARD_HEX_H
#define TESTS_VIRTUALCARD_HEX_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

inline std::vector<uint8_t> fromHex(const std::string &text) {
    std::vector<uint8_t> octets;
    std::string pair;
    for (const char digit : text) {
        if (digit == ' ')
            continue;
        pair.push_back(digit);
        if (pair.size() < 2)
            continue;
        size_t used = 0;
        octets.push_back(static_cast<uint8_t>(std::stoul(pair, &used, 16)));
        if (used != 2)
            throw std::invalid_argument(text);
        pair.clear();
    }
    if (!pair.empty())
        throw std::invalid_argument(text);
    return octets;
}

inline std::string toHex(const std::vector<uint8_t> &octets) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (size_t i = 0; i < octets.size(); i++) {
        if (i != 0)
            text += ' ';
        text += digits[octets[i] >> 4];
        text += digits[octets[i] & 15];
    }
    return text;
}

#endif
