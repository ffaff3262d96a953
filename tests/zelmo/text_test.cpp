#include "zelmo/text.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using zelmo::printable;
using zelmo::validUtf8;
using zelmo::words;

TEST(Text, CleansWhatIsNoText) {
    struct Case {
        std::string given, valid, shown;
    };
    const std::string mark = "\xEF\xBF\xBD";
    const Case cases[] = {
        {"", "", ""},
        {"plain ~ text", "plain ~ text", "plain ~ text"},
        {"Pr\xC3\xA4"
         "f \xE2\x9C\x93 \xF0\x9F\x94\x91",
         "Pr\xC3\xA4"
         "f \xE2\x9C\x93 \xF0\x9F\x94\x91",
         "Pr\xC3\xA4"
         "f \xE2\x9C\x93 \xF0\x9F\x94\x91"},
        {std::string("a\0b", 3), std::string("a\0b", 3), "a" + mark + "b"},
        {"\x1B[2J\x7F\n", "\x1B[2J\x7F\n", mark + "[2J" + mark + mark},
        {"\xC2\x9B"
         "2J",
         "\xC2\x9B"
         "2J",
         mark + "2J"},  // control of the C1 set
        {"\xE2\x80\xAE"
         "x\xE2\x81\xA6",
         "\xE2\x80\xAE"
         "x\xE2\x81\xA6",
         mark + "x" + mark},  // direction of writing
        {"\xFF\xC3", mark + mark, mark + mark},
        {"\xC0\xAF", mark + mark, mark + mark},                                      // overlong
        {"\xE0\x80\xAF", mark + mark + mark, mark + mark + mark},                    // overlong
        {"\xED\xA0\x80", mark + mark + mark, mark + mark + mark},                    // surrogate
        {"\xF4\x90\x80\x80", mark + mark + mark + mark, mark + mark + mark + mark},  // beyond the last character
        {"\xE2\x9C", mark + mark, mark + mark},                                      // cut short
    };
    for (const Case &c : cases) {
        EXPECT_EQ(validUtf8(c.given), c.valid);
        EXPECT_EQ(printable(c.given), c.shown);
    }
}

TEST(Text, HexadecimalOctets) {
    using Octets = std::vector<uint8_t>;
    EXPECT_EQ(zelmo::hex(Octets{0x00, 0xAB, 0x10}), "00AB10");
    EXPECT_EQ(zelmo::hex(Octets{0x00, 0xAB}, " "), "00 AB");
    EXPECT_EQ(zelmo::unhex("a0 00:fF"), (Octets{0xA0, 0x00, 0xFF}));
    EXPECT_TRUE(zelmo::unhex("").empty());
    for (const char *bad : {"a", "abc", "xy", "0x12", "+1"})
        EXPECT_THROW(zelmo::unhex(bad), std::invalid_argument) << bad;
}

TEST(Text, NamesAsWords) {
    const std::pair<const char *, const char *> cases[] = {
        {"nonRepudiation", "non repudiation"},
        {"soPin", "SO PIN"},
        {"privateRSAKey", "private RSA key"},
        {"x509Certificate", "X.509 certificate"},
        {"externalIDO", "external data object"},
        {"desKey", "DES key"},
        {"bit 12", "bit 12"},
        {"asciiNumeric", "ASCII numeric"},
    };
    for (const auto &[name, expected] : cases)
        EXPECT_EQ(words(name), expected);
}

}  // namespace
