// Cards that correct lengths, announce more data, break off or do not keep to the protocol at all.
#include <gtest/gtest.h>

#include "scripted_transport.h"
#include "zelmocrd/apdu.h"

namespace {

struct Protocol {
    std::string name;
    std::string script;
    uint32_t result;
    std::string data;
};

std::string repeatedly(const std::string &first, const std::string &exchange, size_t times) {
    return first + repeated(" | " + exchange, times);
}

TEST(Protocol, IsFollowedWithinBounds) {
    const std::string get = "00 CA 00 84 00 > ";
    const std::string one = "00 C0 00 00 01 > ", two = "00 C0 00 00 02 > ";
    const Protocol cases[] = {
        {"announced data is fetched", get + "61 02 | " + two + "01 02 90 00", 0, "01 02"},
        {"and joined", get + "01 61 02 | " + two + "02 03 61 00 | 00 C0 00 00 00 > 04 90 00", 0, "01 02 03 04"},
        {"length is corrected", get + "6C 01 | 00 CA 00 84 01 > 01 90 00", 0, "01"},
        {"to 256", get + "6C 00 | " + get + "01 90 00", 0, "01"},
        {"then announced", get + "6C 01 | 00CA008401 > 61 01 | " + one + "6C 02 | " + two + "01 02 90 00", 0, "01 02"},
        {"corrected without end", get + "6C 01 | 00 CA 00 84 01 > 6C 02", 0xE0116C02, ""},
        {"fetching fails", get + "61 02 | " + two + "6A 88", 0xE0116A88, ""},
        {"announced without end, with nothing", get + "61 01 | " + one + "61 01", 0x8010002F, ""},
        {"announced without end", repeatedly(get + "61 01", one + "00 61 01", 301), 0x8010002F, ""},
        {"more than a command can answer",  // 64 K, before 300 fetches
         repeatedly(get + "61 00", "00 C0 00 00 00 > " + repeated("00", 256) + "61 00", 257), 0x8010002F, ""},
        {"no answer", get, 0x80100069, ""},
        {"half a status word", get + "90", 0x80100069, ""},
        {"no answer to a fetch", get + "61 01 | " + one, 0x80100069, ""},
        {"more than asked for", get + repeated("00", 257) + "90 00", 0x8010002F, ""},
        {"more than announced", get + "61 01 | " + one + "01 02 90 00", 0x8010002F, ""},
        {"card gone", get + "gone", 0x8010000C, ""},
    };
    for (const Protocol &c : cases) {
        SCOPED_TRACE(c.name);
        const ScriptedCard card(c.script);
        std::vector<uint8_t> buffer(70000);
        auto length = static_cast<uint32_t>(buffer.size());
        EXPECT_EQ(scardcmd_GetData(card, 0x84, buffer.data(), &length), c.result);
        buffer.resize(length);
        EXPECT_EQ(toHex(buffer), toHex(fromHex(c.data)));
    }
}

TEST(Protocol, LineBoundsTheFormOfCommands) {
    struct Way {
        Line line;
        std::string select, read, query;
    };
    // By characters there is a fifth octet in any case, and no sixth behind data.
    const Way ways[] = {
        {Line::any, "00 A4 00 04 02 4F 01 00 > 62 00 90 00", "00 B0 00 00 00 01 2C > 01 90 00", "00 20 00 81 > 63 C3"},
        {Line::shortOnly, "00 A4 00 04 02 4F 01 00 > 62 00 90 00", "00 B0 00 00 00 > 01 62 82", "00 20 00 81 > 63 C3"},
        {Line::characters, "00 A4 00 04 02 4F 01 > 61 02 | 00 C0 00 00 02 > 62 00 90 00",
         "00 B0 00 00 00 > 6C 01 | 00 B0 00 00 01 > 01 62 82", "00 20 00 81 00 > 63 C3"},
    };
    for (const Way &way : ways) {
        std::string end = way.line == Line::any ? " | 00 B0 00 01 00 01 2B > 62 82" : "";
        const ScriptedCard card(way.select + " | " + way.read + end + " | " + way.query, extendedAtr, way.line);
        const uint8_t fid[] = {0x4F, 0x01};
        FileInfo info;
        EXPECT_EQ(scardcmd_SelectFile(card, 0, fid, sizeof fid, &info), 0u);
        uint8_t buffer[300];
        uint32_t length = sizeof buffer;
        EXPECT_EQ(scard_ReadEFBinary(card, nullptr, 0, buffer, &length, 0), 0u);
        EXPECT_EQ(length, 1u);
        uint8_t tries = 0;
        EXPECT_EQ(scardcmd_QueryRetryCounter(card, 0x81, &tries, 0), 0u);
        EXPECT_EQ(tries, 3u);
    }
}

TEST(Protocol, LongDataIsChained) {
    const std::string chainingAtr = "3B 85 80 01 80 73 F7 21 80 A1";
    const std::string full = "FF" + repeated("A5", 255);
    struct Chain {
        std::string name, atr, script;
        uint32_t length, result;
    };
    const Chain chains[] = {
        {"in one", chainingAtr, "00 E2 00 00 " + full + " > 90 00", 255, 0},
        {"in two", chainingAtr, "10 E2 00 00 " + full + " > 90 00 | 00 E2 00 00 01 A5 > 90 00", 256, 0},
        {"in three", chainingAtr, repeated("10 E2 00 00 " + full + " > 90 00 | ", 2) + "00 E2 00 00 02 A5 A5 > 6A 84",
         512, 0xE0116A84},
        {"broken off", chainingAtr, "10 E2 00 00 " + full + " > 6A 84", 512, 0xE0116A84},
        {"warned of", chainingAtr, "10 E2 00 00 " + full + " > 62 00", 512, 0xA0116200},
        {"not taken", shortAtr, "", 256, 0x80100004},
        {"not needed", extendedAtr, "00 E2 00 00 00 01 00 " + repeated("A5", 256) + " > 90 00", 256, 0},
    };
    for (const Chain &chain : chains) {
        SCOPED_TRACE(chain.name);
        const ScriptedCard card(chain.script, chain.atr);
        const std::vector<uint8_t> record(chain.length, 0xA5);
        EXPECT_EQ(scardcmd_AppendRecord(card, 0, record.data(), chain.length, 0), chain.result);
    }
}

TEST(Protocol, RecordsComeToAnEnd) {
    const std::string record = "00 B2 00 02 00 > AA 90 00", select = "00 A4 00 0C > 90 00";
    const ScriptedCard card(repeatedly(select, record, 255) + " | " + select + " | " + record);
    const auto next = [&] {
        uint8_t buffer[8];
        uint32_t length = sizeof buffer;
        return scardcmd_ReadRecord(card, 0, 0, 2, 0, buffer, &length);
    };
    EXPECT_EQ(scardcmd_SelectFile(card, 0, nullptr, 0, nullptr), 0u);
    // 254 there may be, and the question that finds no more.
    for (int i = 0; i < 255; i++)
        EXPECT_EQ(next(), 0u) << i;
    EXPECT_EQ(next(), 0x8010002Fu);
    EXPECT_EQ(next(), 0x8010002Fu);
    EXPECT_EQ(scardcmd_SelectFile(card, 0, nullptr, 0, nullptr), 0u);
    EXPECT_EQ(next(), 0u);
}

TEST(Protocol, AnyAnswerToResetWillDo) {
    for (const size_t length : {0u, 1u, 2u, 32u, 33u, 34u}) {
        const ScriptedCard card("00 CA 01 00 00 > 6A 88", repeated("FF", length));
        CardInfo info = {};
        EXPECT_EQ(scard_GetCardInfo(card, &info), 0u);
        EXPECT_EQ(info.atrLength, std::min<size_t>(length, sizeof info.atr));
        EXPECT_EQ(info.extendedLength, 0u);
    }
}

TEST(Protocol, UnwantedFileInformationIsLetThrough) {
    const ScriptedCard card("00 A4 00 0C > 6F 02 84 00 90 00 | 00 A4 00 0C > " + repeated("00", 257) + "90 00");
    EXPECT_EQ(scardcmd_SelectFile(card, 0, nullptr, 0, nullptr), 0u);
    EXPECT_EQ(scardcmd_SelectFile(card, 0, nullptr, 0, nullptr), 0x8010002Fu);
}

TEST(StatusCode, CoversEveryStatusWord) {
    for (uint32_t sw = 0; sw <= 0xFFFF; sw++) {
        uint32_t expected = 0xE0110000 | sw;
        if (sw == 0x9000)
            expected = 0;
        else if (sw >= 0x63C0 && sw <= 0x63CF)
            expected = 0xA0116300;
        else if (sw >= 0x6200 && sw <= 0x63FF)
            expected = 0xA0110000 | sw;
        ASSERT_EQ(zelmocrd::statusCode(static_cast<uint16_t>(sw)), expected) << std::hex << sw;
    }
}

TEST(StatusText, NamesCodes) {
    struct {
        uint32_t code;
        const char *text;
    } const cases[] = {
        {0, "success"},
        {0xE0116982, "security status not satisfied"},
        {0xE0116A82, "file not found"},
        {0xE0116C12, "wrong expected length"},
        {0xE0116F00, "unspecific card error"},
        {0xA0116300, "verification failed"},
        {0x80100069, "card removed"},
        {0x80100001, "internal error of the PC/SC service"},
        {0x801000FF, "unknown PC/SC code"},
        {0xE011FFFF, "unknown card error"},
        {0xA0116299, "unknown card warning"},
        {0xE0200001, "unknown code"},
    };
    for (const auto &one : cases)
        EXPECT_STREQ(zelmocrd_StatusText(one.code), one.text);
}

}  // namespace
