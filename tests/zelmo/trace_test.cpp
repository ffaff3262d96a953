#include "zelmo/trace.h"

#include <fstream>
#include <gtest/gtest.h>

#include "support/temp_directory.h"
#include "zelmo/text.h"
#include "zelmocrd/zelmocrd.h"

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

// Every operation that carries a secret, against a card, through the trace as the command sets it.
TEST(Trace, NoSecretOfASessionIsInIt) {
    const TempDirectory directory;
    const std::string file = directory.file("a.card");
    std::ofstream(file) << R"({ "format": "zelmo virtual card 1", "root": { "fid": "3F00", "kind": "df" },
        "pins": [ { "reference": 1, "value": "3137313731", "unblockedBy": 2 }, { "reference": 2, "value": "3238323832" } ],
        "keys": [ { "reference": 1, "algorithm": "aes", "value": "C1C2C3C4C5C6C7C8C9CACBCCCDCECFC0",
                    "access": { "change": "always" } } ] })";
    struct Log {
        zelmo::CommandTrace trace;
        std::string text;
    } log;
    const auto write = [](const uint8_t *command, uint32_t commandLength, const uint8_t *answer, uint32_t answerLength,
                          double milliseconds, void *context) {
        auto *to = static_cast<Log *>(context);
        to->text += to->trace.format({command, commandLength}, {answer, answerLength}, milliseconds);
    };
    CardHandle card = 0;
    ASSERT_EQ(zelmocrd_OpenCard(("virtual:" + file).c_str(), 0, &card), 0u);
    ASSERT_EQ(zelmocrd_SetTrace(card, write, &log), 0u);

    const std::string pin = "17171";
    const std::string puk = "28282";
    const std::string fresh = "39393";
    const std::string wrong = "46464";
    const std::string key(16, 'k');
    const std::string answer(16, 'a');
    const auto octets = [](const std::string &text) { return reinterpret_cast<const uint8_t *>(text.data()); };
    const auto size = [](const std::string &text) { return static_cast<uint32_t>(text.size()); };
    std::string challenge(16, '\0');
    EXPECT_EQ(scardcmd_VerifyPIN(card, 1, octets(wrong), 5, nullptr, 0), 0xA0116300u);
    EXPECT_EQ(scardcmd_VerifyPIN(card, 1, octets(pin), 5, nullptr, 0), 0u);
    EXPECT_EQ(scardcmd_ChangeReferenceData(card, 0, 1, octets(pin), 5, octets(fresh), 5, 0), 0u);
    EXPECT_EQ(scardcmd_ChangeReferenceData(card, 1, 1, nullptr, 0, octets(pin), 5, 0), 0u);
    EXPECT_EQ(scardcmd_ResetRetryCounter(card, 0, 1, octets(puk), 5, octets(fresh), 5, 0), 0u);
    EXPECT_EQ(scardcmd_ResetRetryCounter(card, 0, 1, octets(wrong), 5, nullptr, 0, 0), 0xA0116300u);
    EXPECT_EQ(scard_GetRandom(card, reinterpret_cast<uint8_t *>(challenge.data()), 16), 0u);
    EXPECT_EQ(scardcmd_ExternalAuthenticate(card, 1, octets(answer), 16, 0), 0xA0116300u);
    EXPECT_EQ(scardcmd_ChangeKeyData(card, 0, 1, octets(key), size(key), 0), 0u);
    EXPECT_EQ(zelmocrd_CloseCard(card), 0u);

    EXPECT_EQ(std::count(log.text.begin(), log.text.end(), '>'), 9) << log.text;
    for (const std::string &secret : {pin, puk, fresh, wrong, key, answer, challenge}) {
        // A part of it would betray a secret too; the trace is in hexadecimal.
        const std::span<const uint8_t> some(octets(secret), 4);
        EXPECT_EQ(log.text.find(zelmo::hex(some, " ")), std::string::npos) << log.text;
        EXPECT_EQ(log.text.find(zelmo::hex(some)), std::string::npos) << log.text;
        EXPECT_EQ(log.text.find(secret), std::string::npos) << log.text;
    }
}

TEST(Trace, LongDataIsBrokenIntoLines) {
    zelmo::CommandTrace trace;
    const std::string text = traced(trace, "00B0000021", std::string(2 * 33, '1') + "9000");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
    EXPECT_NE(text.find("\n        11 90 00 (1.25 ms)\n"), std::string::npos);
}

}  // namespace
