// Commands that are not sent, since their effect and answer are known; and all the cases in which they are sent again.
#include <gtest/gtest.h>
#include <sstream>

#include "scripted_transport.h"

namespace {

struct Case {
    const char *name;
    const char *calls;
    std::string script;
    uint64_t spared = 0;
};

/// A path, or an AID and a path behind a slash.
uint32_t select(CardHandle card, const std::string &file, FileInfo *info) {
    const size_t slash = file.find('/');
    const auto aid = fromHex(slash == std::string::npos ? "" : file.substr(0, slash));
    const auto path = fromHex(slash == std::string::npos ? file : file.substr(slash + 1));
    return scard_SelectFile(card, aid.data(), static_cast<uint32_t>(aid.size()), path.data(),
                            static_cast<uint32_t>(path.size()), info);
}

/// One call: a letter, and what it takes.
void call(CardHandle card, char letter, std::istringstream &arguments) {
    uint8_t buffer[600];
    uint32_t length = sizeof buffer;
    std::string word;
    FileInfo info = {};
    switch (letter) {
        case '(':
            EXPECT_EQ(scard_BeginTransaction(card), 0u);
            break;
        case ')':
            EXPECT_EQ(scard_EndTransaction(card, 0), 0u);
            break;
        case 's':  // select FILE
            arguments >> word;
            select(card, word, nullptr);
            break;
        case 'i':  // the same with its information, which is that of an EF
            arguments >> word;
            EXPECT_EQ(select(card, word, &info), 0u);
            EXPECT_EQ(info.fileType, 1u);
            break;
        case 'm':  // SELECT of mode 8
            arguments >> word;
            EXPECT_EQ(scardcmd_SelectFile(card, 8, fromHex(word).data(), 2, nullptr), 0u);
            break;
        case 'r':  // read LENGTH
            arguments >> length;
            scard_ReadEFBinary(card, nullptr, 0, buffer, &length, 0);
            break;
        case 'd':
            EXPECT_EQ(scard_GetDERContentLength(card, 0, &length), 0u);
            EXPECT_EQ(length, 5u);
            break;
        case 'c':
            length = 5;
            EXPECT_EQ(scard_ReadEFCertificate(card, 0, 0, buffer, &length, 0, 3), 0u);
            EXPECT_EQ(toHex({buffer, buffer + length}), "30 03 02 01 05");
            break;
        case 'n':
            scardcmd_ReadRecord(card, 0, 0, 2, 0, buffer, &length);
            break;
        case 'v':
            scardcmd_VerifyPIN(card, 0x81, fromHex("31").data(), 1, nullptr, 0);
            break;
        case 'u':
            EXPECT_EQ(scard_UpdateEF(card, fromHex("5032").data(), 0, fromHex("AA").data(), 1), 0u);
            break;
        case 'x':
            EXPECT_EQ(scard_ResetCard(card), 0u);
            break;
        default:
            FAIL() << letter;
    }
}

void run(const std::vector<Case> &cases) {
    for (const Case &one : cases) {
        SCOPED_TRACE(one.name);
        const ScriptedCard card(one.script);
        std::istringstream calls(one.calls);
        for (char letter; calls >> letter;)
            call(card, letter, calls);
        zelmocrd_Counters counters = {};
        EXPECT_EQ(zelmocrd_GetCounters(card, &counters, 0), 0u);
        EXPECT_EQ(counters.commandsSpared, one.spared);
    }
}

const std::string a = "00 A4 08 0C 02 44 01 > 90 00", b = "00 A4 08 0C 02 44 02 > 90 00";
const std::string aTold = "00 A4 08 04 02 44 01 00 > 62 03 82 01 01 90 00";
const std::string app = "00 A4 04 0C 02 A0 01 > 90 00";
const std::string inside = "00 A4 09 0C 02 44 01 > 90 00",
                  insideTold = "00 A4 09 04 02 44 01 00 > 62 03 82 01 01 90 00";
const std::string readIt = "00 B0 00 00 02 > 30 00 90 00", verify = "00 20 00 81 01 31 > 90 00";
const std::string next = "00 B2 00 02 00 > AA 90 00";

std::string sent(std::initializer_list<std::string> exchanges) {
    std::string script;
    for (const std::string &exchange : exchanges)
        script += (script.empty() ? "" : " | ") + exchange;
    return script;
}

TEST(KnownFile, IsNotSelectedTwice) {
    run({
        {"alone", "( s4401 s4401 )", a, 1},
        {"however it is named", "( s4401 s3F004401 m4401 s/4401 )", a, 3},
        {"information is kept", "( i4401 i4401 s4401 )", aTold, 2},
        {"and asked for when it was not", "( s4401 i4401 i4401 )", sent({a, aTold}), 1},
        {"the root", "( s3F00 s3F00 s/ )", "00 A4 00 0C 02 3F 00 > 90 00", 2},
        {"another file between", "( s4401 s4402 s4401 )", sent({a, b, a})},
        {"reading between", "( s4401 r2 s4401 )", sent({a, readIt}), 1},
        {"the end of the file between", "( s4401 r2 s4401 )", sent({a, "00 B0 00 00 02 > 6B 00"}), 1},
        {"a PIN between", "( s4401 v s4401 )", sent({a, verify}), 1},
        {"a wrong PIN between", "( s4401 v s4401 )", sent({a, "00 20 00 81 01 31 > 63 C2"}), 1},
        {"records between, whose pointer selecting sets back", "( s4401 n s4401 )", sent({a, next, a})},
        {"inside an application", "( s A001/4401 s A001/4401 )", sent({app, inside}), 2},
        {"another application", "( s A001/4401 s A002/4401 )",
         sent({app, inside, "00 A4 04 0C 02 A0 02 > 90 00", inside})},
        {"the same path under the root", "( s A001/4401 s4401 )", sent({app, inside, a})},
        {"the application of an EF", "( i A001/4401 s A001/4402 )",
         sent({app, insideTold, "00 A4 09 0C 02 44 02 > 90 00"}), 1},
        {"also when its records were read", "( i A001/4401 n i A001/4401 )", sent({app, insideTold, next, insideTold}),
         1},
        {"and after their end", "( i A001/4401 n i A001/4401 )",
         sent({app, insideTold, "00 B2 00 02 00 > 6A 83", insideTold}), 1},
        {"the application itself", "( s A001/ s A001/4401 )", sent({app, inside}), 1},
        {"what may be a DF", "( s A001/4401 s A001/4402 )", sent({app, inside, app, "00 A4 09 0C 02 44 02 > 90 00"})},
        {"a path through DFs", "( s A001/44014402 s A001/4401 )",
         sent({app, "00 A4 09 0C 04 44 01 44 02 > 90 00", app, inside})},
    });
}

TEST(KnownFile, IsUnknownWhenAnythingElseMayBeSelected) {
    run({
        {"others are about", "s4401 s4401", sent({a, a})},
        {"others were about", "( s4401 ) ( s4401 )", sent({a, a})},
        {"not within a transaction of ours", "( s4401 ( s4401 ) )", a, 1},
        {"selection failed", "( s4401 s4402 s4401 )", sent({a, "00 A4 08 0C 02 44 02 > 6A 82", a})},
        {"selection warned of", "( s4401 s4401 )", sent({"00 A4 08 0C 02 44 01 > 62 83", a})},
        {"application found, file not", "( s A001/4401 s A001/4401 )",
         sent({app, "00 A4 09 0C 02 44 01 > 6A 82", app, inside})},
        {"error", "( s4401 r2 s4401 )", sent({a, "00 B0 00 00 02 > 69 82", a})},
        {"blocked PIN", "( s4401 v s4401 )", sent({a, "00 20 00 81 01 31 > 69 83", a})},
        {"card out of reach for a moment", "( s4401 r2 s4401 )", sent({a, "00 B0 00 00 02 > gone", a})},
        {"half an answer", "( s4401 r2 s4401 )", sent({a, "00 B0 00 00 02 > 90", a})},
        {"reset", "( s4401 x s4401 )", sent({a, a})},
        {"another EF written", "( s4401 u s4401 )",
         sent({a, "00 A4 02 0C 02 50 32 > 90 00", "00 D6 00 00 01 AA > 90 00", a})},
    });
}

TEST(KnownFile, StartOfACertificateIsReadOnce) {
    const std::string whole = "00 B0 00 00 00 > 30 03 02 01 05 62 82", eight = "00 B0 00 00 08 > 30 03 02 01 05 62 82";
    const std::string five = "00 B0 00 00 05 > 30 03 02 01 05 90 00";
    run({
        {"alone", "( s4401 d c )", sent({a, whole}), 1},
        {"with others about", "s4401 d c", sent({a, eight, five})},
        {"with others since", "( s4401 d ) ( c )", sent({a, whole, five})},
        {"with a PIN since", "( s4401 d v c )", sent({a, whole, verify, five})},
        {"with another file since", "( s4401 d s4402 c )", sent({a, whole, b, five})},
        {"twice", "( s4401 d c d c )", sent({a, whole}), 3},
    });
}

TEST(KnownFile, PiecesThatACardGivesAreRemembered) {
    const std::string full = repeated("AA", 200), end = " > 6B 00 | ";
    const std::string named = "00B0000000 > 6C C8 | 00B00000C8 > " + full + "90 00 | 00B000C8C8 > " + full + "90 00";
    const std::string refused = "00 B0 00 00 00 > 67 00 | 00 B0 00 00 FF > 67 00 | 00 B0 00 00 FE > 67 00 | ";
    const std::string part = repeated("AA", 252);
    run({
        {"named by the card", "r500 s4401 r500", sent({named + " | 00B0019064" + end + a, "00B00000C8 > 6B 00"})},
        {"named at the end of a file, which says nothing of others", "r500 s4401 r500",
         sent({"00B0000000 > 6C C8 | 00B00000C8 > " + full + "90 00 | 00B000C8C8" + end + a, "00B0000000 > 6B 00"})},
        {"found by trying", "r600 s4401 r600",
         sent({refused + "00B00000FC > " + part + "90 00 | 00B000FCFC > " + part + "90 00 | 00B001F860" + end + a,
               "00B00000FC > 6B 00"})},
        {"none at all", "r4", "00B0000004 > 67 00 | 00B0000002 > 67 00 | 00B0000001 > 67 00"},
    });
}

}  // namespace
