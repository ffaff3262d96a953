// What no virtual card makes: broken DER, names and texts, and commands that the trace has to mask.
#include <gtest/gtest.h>
#include <stdexcept>

#include "zelmo/der.h"
#include "zelmo/name_text.h"
#include "zelmo/text.h"
#include "zelmo/trace.h"

namespace {

TEST(Der, TakesWholeElementsOnly) {
    struct Case {
        const char *input, *content, *rest;  // content null: refused
    };
    const std::string long_form = "308180" + std::string(256, '0');
    const Case cases[] = {
        {"0500", "", ""},
        {"04020102FF", "0102", "FF"},
        {"04810101", "01", ""},
        {"048400000001AA", "AA", ""},
        {"", nullptr, ""},
        {"04", nullptr, "04"},
        {"0402FF", nullptr, "0402FF"},
        {"3080", nullptr, "3080"},                          // indefinite
        {"0485000000000101", nullptr, "0485000000000101"},  // more length octets than a file can need
        {"0484FFFFFFFF01", nullptr, "0484FFFFFFFF01"},
        {"0482FF", nullptr, "0482FF"},
    };
    for (const Case &c : cases) {
        const auto octets = zelmo::unhex(c.input);
        zelmo::Octets input = octets;
        const auto element = zelmo::takeElement(input);
        ASSERT_EQ(element.has_value(), c.content != nullptr) << c.input;
        if (element) {
            EXPECT_EQ(zelmo::hex(element->content), c.content);
        }
        EXPECT_EQ(zelmo::hex(input), c.rest);
    }
    const auto octets = zelmo::unhex(long_form);
    zelmo::Octets input = octets;
    EXPECT_EQ(zelmo::takeElement(input)->content.size(), 128u);
}

TEST(Names, AsPeopleWriteThem) {
    const std::pair<const char *, const char *> cases[] = {
        {"3039310B300906035504061302444531143012060355040A0C0B5A656C6D6F7020546573743114301206035504030C0B416E6E204578"
         "616D706C65",
         "CN=Ann Example, O=Zelmop Test, C=DE"},
        {"300C310A300806022A030C024120", "#2A03=A "},
        {"300D310B300906035504030C02411B", "CN=A\xEF\xBF\xBD"},
        {"3000", ""},
        {"3100", ""},
        {"30053103300106", ""},
        {"3010310B300906035504030C024142050005", ""},
    };
    for (const auto &[encoded, expected] : cases)
        EXPECT_EQ(zelmo::nameText(zelmo::unhex(encoded)), expected) << encoded;
}

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
        EXPECT_EQ(zelmo::validUtf8(c.given), c.valid);
        EXPECT_EQ(zelmo::printable(c.given), c.shown);
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
        EXPECT_EQ(zelmo::words(name), expected);
}

std::string traced(zelmo::CommandTrace &trace, std::string_view command, std::string_view answer) {
    return trace.format(zelmo::unhex(command), zelmo::unhex(answer), 1.25);
}

TEST(Trace, MasksWhatCanBeSecret) {
    struct Case {
        const char *command, *answer, *expected;
    };
    const Case cases[] = {
        {"00A40804025015", "9000", "card > 00 A4 08 04 02 50 15\ncard < 90 00 (1.25 ms)\n"},
        {"", "0000010A", "card !! the script stopped at offset 266\n"},
        {"80E0007302800131", "9000", "card > 80 E0 00 73 [masked]\ncard < 90 00 (1.25 ms)\n"},
        {"00B0000000", "01029000", "card > 00 B0 00 00 00\ncard < 01 02 90 00 (1.25 ms)\n"},
        {"0020008104 31323334", "63C2", "card > 00 20 00 81 [masked]\ncard < 63 C2 (1.25 ms)\n"},
        {"00200081", "63C3", "card > 00 20 00 81\ncard < 63 C3 (1.25 ms)\n"},
        {"00240081083132333435363738", "9000", "card > 00 24 00 81 [masked]\ncard < 90 00 (1.25 ms)\n"},
        {"002C0081023132", "9000", "card > 00 2C 00 81 [masked]\ncard < 90 00 (1.25 ms)\n"},
        {"00820001020102", "9000", "card > 00 82 00 01 [masked]\ncard < 90 00 (1.25 ms)\n"},
        {"0088000002010200", "AABB9000", "card > 00 88 00 00 [masked]\ncard < [masked] 90 00 (1.25 ms)\n"},
        {"002A9E9A02010200", "AABB9000", "card > 00 2A 9E 9A [masked]\ncard < [masked] 90 00 (1.25 ms)\n"},
        {"002241B603840181", "9000", "card > 00 22 41 B6 [masked]\ncard < 90 00 (1.25 ms)\n"},
        {"0084000008", "01020304050607089000", "card > 00 84 00 00 08\ncard < [masked] 90 00 (1.25 ms)\n"},
        {"80B00000020102", "9000", "card > 80 B0 00 00 [masked]\ncard < 90 00 (1.25 ms)\n"},  // not ISO's own
        {"00D8000002AABB", "9000", "card > 00 D8 00 00 [masked]\ncard < 90 00 (1.25 ms)\n"},  // not known
        {"80D8000102AABB", "9000", "card > 80 D8 00 01 [masked]\ncard < 90 00 (1.25 ms)\n"},
        {"0020FF80", "9000", "card > 00 20 FF 80\ncard < 90 00 (1.25 ms)\n"},
        {"0024010101 35", "9000", "card > 00 24 01 01 [masked]\ncard < 90 00 (1.25 ms)\n"},
        {"0020000100000431323334", "6700", "card > 00 20 00 01 [masked]\ncard < 67 00 (1.25 ms)\n"},
        {"0020", "6700", "card > 00 20\ncard < 67 00 (1.25 ms)\n"},
        {"00A40000", "", "card > 00 A4 00 00\ncard < (1.25 ms)\n"},
    };
    for (const Case &c : cases) {
        zelmo::CommandTrace trace;
        EXPECT_EQ(traced(trace, c.command, c.answer), c.expected);
    }
}

TEST(Trace, WhatIsFetchedLaterIsMaskedToo) {
    zelmo::CommandTrace trace;
    traced(trace, "002A9E9A02010200", "6104");
    EXPECT_EQ(traced(trace, "00C0000004", "AABB6102"), "card > 00 C0 00 00 04\ncard < [masked] 61 02 (1.25 ms)\n");
    EXPECT_EQ(traced(trace, "00C0000002", "CCDD9000"), "card > 00 C0 00 00 02\ncard < [masked] 90 00 (1.25 ms)\n");
    traced(trace, "00A4000400", "6102");
    EXPECT_EQ(traced(trace, "00C0000002", "62009000"), "card > 00 C0 00 00 02\ncard < 62 00 90 00 (1.25 ms)\n");
}

TEST(Trace, LongDataIsBrokenIntoLines) {
    zelmo::CommandTrace trace;
    const std::string text = traced(trace, "00B0000021", std::string(2 * 33, '1') + "9000");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
    EXPECT_NE(text.find("\n        11 90 00 (1.25 ms)\n"), std::string::npos);
}

}  // namespace
