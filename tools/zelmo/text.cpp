#include "text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <fmt/format.h>
#include <stdexcept>

namespace zelmo {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

/// Length of the well-formed character at the start of `text` (not empty), and what it is; 0 for none.
size_t decode(std::string_view text, uint32_t &character) {
    const auto octet = [text](size_t i) { return static_cast<uint8_t>(text[i]); };
    const uint8_t first = octet(0);
    const size_t length = first < 0x80   ? 1
                          : first < 0xC2 ? 0
                          : first < 0xE0 ? 2
                          : first < 0xF0 ? 3
                          : first < 0xF5 ? 4
                                         : 0;
    if (length == 0 || length > text.size())
        return 0;
    character = length == 1 ? first : first & (0x7Fu >> length);
    for (size_t i = 1; i < length; ++i) {
        if ((octet(i) & 0xC0) != 0x80)
            return 0;
        character = character << 6 | (octet(i) & 0x3Fu);
    }
    const bool overlong = (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    return overlong || surrogate || character > 0x10FFFF ? 0 : length;
}

bool disturbs(uint32_t c) {
    const bool control = c < 0x20 || (c >= 0x7F && c < 0xA0);
    const bool line = c == 0x2028 || c == 0x2029;
    const bool direction =
        c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
    return control || line || direction;
}

std::string cleaned(std::string_view text, bool (*refused)(uint32_t character)) {
    std::string result;
    while (!text.empty()) {
        uint32_t character = 0;
        const size_t length = decode(text, character);
        const bool good = length != 0 && !refused(character);
        result += good ? text.substr(0, length) : replacement;
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return result;
}

bool isUpper(char c) {
    return std::isupper(static_cast<unsigned char>(c)) != 0;
}

/// Words that people write in their own way.
struct Spelling {
    std::string_view word, spelled;
};

constexpr std::array<Spelling, 24> spellings = {{
    {"ascii", "ASCII"},    {"pin", "PIN"},         {"so", "SO"},      {"prn", "PRN"},
    {"eid", "EID"},        {"rsa", "RSA"},         {"ec", "EC"},      {"dh", "DH"},
    {"dsa", "DSA"},        {"kea", "KEA"},         {"bcd", "BCD"},    {"iso", "ISO"},
    {"des", "DES"},        {"des2", "2DES"},       {"des3", "3DES"},  {"rc2", "RC2"},
    {"rc4", "RC4"},        {"rc5", "RC5"},         {"rc6", "RC6"},    {"utf8", "UTF-8"},
    {"do", "data object"}, {"ido", "data object"}, {"x509", "X.509"}, {"auth", "authentication"},
}};

std::string finish(const std::string &word) {
    const auto special = std::find_if(spellings.begin(), spellings.end(),
                                      [&](const Spelling &spelling) { return spelling.word == word; });
    return special != spellings.end() ? std::string(special->spelled) : word;
}

}  // namespace

std::string hex(std::span<const uint8_t> octets, std::string_view separator) {
    return fmt::format("{:02X}", fmt::join(octets.begin(), octets.end(), separator));
}

std::vector<uint8_t> unhex(std::string_view digits) {
    std::string plain;
    std::copy_if(digits.begin(), digits.end(), std::back_inserter(plain), [](char c) { return c != ' ' && c != ':'; });
    const bool all = std::all_of(plain.begin(), plain.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
    if (!all || plain.size() % 2 != 0)
        throw std::invalid_argument("not hexadecimal octets: " + printable(digits));
    std::vector<uint8_t> octets;
    for (size_t i = 0; i < plain.size(); i += 2)
        octets.push_back(static_cast<uint8_t>(std::stoul(plain.substr(i, 2), nullptr, 16)));
    return octets;
}

std::string validUtf8(std::string_view text) {
    return cleaned(text, [](uint32_t) { return false; });
}

std::string printable(std::string_view text) {
    return cleaned(text, disturbs);
}

std::string words(std::string_view name) {
    std::string result;
    std::string word;
    for (size_t i = 0; i < name.size(); ++i) {
        const bool starts = isUpper(name[i]) && i > 0 && !isUpper(name[i - 1]);
        const bool ends_capitals = isUpper(name[i]) && i + 1 < name.size() && i > 0 && isUpper(name[i - 1]) &&
                                   std::islower(static_cast<unsigned char>(name[i + 1])) != 0;
        if (starts || ends_capitals) {
            result += finish(word) + " ";
            word.clear();
        }
        word.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(name[i]))));
    }
    return result + finish(word);
}

}  // namespace zelmo
