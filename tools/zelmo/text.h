// Text for people: octets, untrusted strings, words.
#ifndef ZELMO_TEXT_H
#define ZELMO_TEXT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zelmo {

/// Upper-case hexadecimal digits, with `separator` between the octets.
std::string hex(std::span<const uint8_t> octets, std::string_view separator = "");

/// Octets of hexadecimal digits; what is no pair of digits throws std::invalid_argument. Blanks and colons are skipped.
std::vector<uint8_t> unhex(std::string_view digits);

/// Text that a card or a file supplied, made valid UTF-8: what is not is replaced by U+FFFD.
std::string validUtf8(std::string_view text);

/// The same, with control characters and those that change the direction of writing replaced too: nothing is left
/// that can move a terminal's cursor or make a line look like another one.
std::string printable(std::string_view text);

/// A name in mixed case as words: "nonRepudiation" gives "non repudiation", "soPin" gives "SO PIN".
std::string words(std::string_view name);

}  // namespace zelmo

#endif
