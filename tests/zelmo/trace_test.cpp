#include "zelmo/trace.h"

#include <gtest/gtest.h>

#include "zelmo/text.h"

namespace {

std::string traced(zelmo::CommandTrace &trace, std::string_view command, std::string_view answer) {
    return trace.format(zelmo::unhex(command), zelmo::unhex(answer), 1.25);
}

TEST(Trace, MasksWhatCanBeSecret) {
    struct Case {
        const char *command, *answer, *expected;
    };
    const Case cases[] = {
        {"00A40804025015", "9000", "card > 00 A4 08 04 02 50 15\ncard < 90 00 (1.25 ms)\n"},
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
