// What each operation sends, octet for octet, and what it makes of the answers.
#include <functional>
#include <gtest/gtest.h>

#include "scripted_transport.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t invalidParameter = 0x80100004;

// One call, the exchange it causes, and its result. `call` may add expectations of its own.
struct Case {
    std::string name;
    std::function<uint32_t(CardHandle)> call;
    std::string script;
    uint32_t result = 0;
    std::string atr = shortAtr;
};

void run(const std::vector<Case> &cases) {
    for (const Case &one : cases) {
        SCOPED_TRACE(one.name);
        const ScriptedCard card(one.script, one.atr);
        EXPECT_EQ(one.call(card), one.result);
    }
}

uint32_t length(const Bytes &octets) {
    return static_cast<uint32_t>(octets.size());
}

uint32_t selectFile(CardHandle card, const std::string &aid, const std::string &path, FileInfo *info = nullptr) {
    const Bytes name = fromHex(aid);
    const Bytes ids = fromHex(path);
    return scard_SelectFile(card, name.empty() ? nullptr : name.data(), length(name),
                            ids.empty() ? nullptr : ids.data(), length(ids), info);
}

TEST(SelectFile, SendsWhatItsArgumentsMean) {
    const auto call = [](const std::string &aid, const std::string &path, bool wanted = false) {
        return [=](CardHandle card) {
            FileInfo info = {};
            return selectFile(card, aid, path, wanted ? &info : nullptr);
        };
    };
    run({
        {"nothing is the root", call("", ""), "00 A4 00 0C > 90 00"},
        {"nothing, with an answer", call("", "", true), "00 A4 00 04 00 > 90 00"},
        {"the root's identifier", call("", "3F00"), "00 A4 00 0C 02 3F 00 > 90 00"},
        {"absolute path", call("", "3F00 5015 5031"), "00 A4 08 0C 04 50 15 50 31 > 90 00"},
        {"relative path without AID", call("", "5015 5031"), "00 A4 08 0C 04 50 15 50 31 > 90 00"},
        {"absolute path beats AID", call("A00001", "3F00 5015", true), "00 A4 08 04 02 50 15 00 > 90 00"},
        {"root beats AID", call("A00001", "3F00", true), "00 A4 00 04 02 3F 00 00 > 90 00"},
        {"AID alone", call("A00001", "", true), "00 A4 04 04 03 A0 00 01 00 > 90 00"},
        {"inside", call("A00001", "5031", true), "00 A4 04 0C 03 A0 00 01 > 90 00 | 00 A4 09 04 02 50 31 00 > 90 00"},
        {"AID not found", call("A00001", "5031"), "00 A4 04 0C 03 A0 00 01 > 6A 82", 0xE0116A82},
        {"one octet is no root", call("", "3F"), "00 A4 08 0C 01 3F > 6A 87", 0xE0116A87},
        {"deactivated", call("", "3F00 2F00"), "00 A4 08 0C 02 2F 00 > 62 83", 0xA0116283},
        {"path too long", call("", repeated("50", 256)), "", invalidParameter},
    });
}

TEST(SelectFile, RefusesALengthWithoutData) {
    const ScriptedCard card("");
    EXPECT_EQ(scard_SelectFile(card, nullptr, 1, nullptr, 0, nullptr), invalidParameter);
    EXPECT_EQ(scard_SelectFile(card, nullptr, 0, nullptr, 2, nullptr), invalidParameter);
}

TEST(SelectFile, FillsTheRecordAndClearsItOnFailure) {
    FileInfo info = {};
    const ScriptedCard card(
        "00 A4 08 04 02 44 01 00 > 62 0E 82 05 05 21 00 EA 03 83 02 44 01 8A 01 05 90 00 |"
        "00 A4 08 04 02 44 02 00 > 6A 82");
    EXPECT_EQ(selectFile(card, "", "4401", &info), 0u);
    EXPECT_EQ(info.fileType, 5u);
    EXPECT_EQ(info.fileId, 0x4401u);
    EXPECT_EQ(info.recordSize, 234u);
    EXPECT_EQ(info.records, 3u);
    EXPECT_EQ(info.lifeCycle, 5u);
    EXPECT_EQ(selectFile(card, "", "4402", &info), 0xE0116A82u);
    EXPECT_EQ(info.fileType, 0u);
    EXPECT_EQ(info.records, 0u);
}

TEST(SelectCommand, PassesItsModeOn) {
    const auto call = [](uint32_t mode, const std::string &data, bool wanted) {
        return [=](CardHandle card) {
            const Bytes octets = fromHex(data);
            FileInfo info = {};
            return scardcmd_SelectFile(card, mode, octets.data(), length(octets), wanted ? &info : nullptr);
        };
    };
    run({
        {"EF.DIR", call(8, "2F00", true), "00 A4 08 04 02 2F 00 00 > 90 00"},
        {"root", call(0, "", false), "00 A4 00 0C > 90 00"},
        {"no octet", call(256, "", false), "", invalidParameter},
    });
}

struct Read {
    std::string name;
    std::string script;
    uint32_t capacity;
    uint32_t result;
    std::string data;
    uint32_t offset = 0;
    int sfi = -1;
    std::string atr = shortAtr;
};

const std::string full = repeated("AA", 256);

TEST(ReadBinary, GoesOnToTheEnd) {
    const std::string far = "00 B1 00 00 05 54 03 00 80 00 ";
    const Read reads[] = {
        {"end in the first piece", "00 B0 00 00 00 > 01 02 62 82", 300, 0, "01 02"},
        {"short pieces", "00B0000000 > 01 02 90 00 | 00B0000200 > 03 90 00 | 00B0000300 > 6B 00", 300, 0, "01 02 03"},
        {"nothing more", "00 B0 00 00 00 > 01 90 00 | 00 B0 00 01 00 > 90 00", 300, 0, "01"},
        {"end without data", "00 B0 00 00 00 > 01 90 00 | 00 B0 00 01 00 > 62 82", 300, 0, "01"},
        {"capacity reached", "00 B0 00 00 02 > 01 02 90 00", 2, 0, "01 02"},
        {"and in pieces", "00 B0 00 00 00 > " + full + "90 00 | 00 B0 01 00 01 > BB 90 00", 257, 0, full + "BB"},
        {"256 octets", "00 B0 00 00 00 > " + full + "90 00 | 00 B0 01 00 00 > 6B 00", 512, 0, full},
        {"no capacity", "", 0, 0, ""},
        {"empty file", "00 B0 00 00 00 > 6B 00", 256, 0, ""},
        {"corrected", "00B0000000 > 6C 02 | 00B0000002 > 01 02 90 00 | 00B0000202 > 6B 00", 300, 0, "01 02"},
        {"offset", "00 B0 12 34 05 > 01 90 00 | 00 B0 12 35 04 > 6B 00", 5, 0, "01", 0x1234},
        {"offset behind the end", "00 B0 12 34 05 > 6B 00", 5, 0xE0116B00, "", 0x1234},
        {"failure after some", "00 B0 00 00 00 > 01 90 00 | 00 B0 00 01 00 > 69 82", 300, 0xE0116982, "01"},
        {"damaged data", "00 B0 00 00 00 > 01 62 81", 300, 0xA0116281, "01"},
        {"card gone", "00 B0 00 00 00 > 01 90 00 | 00 B0 00 01 00 > gone", 300, 0x8010000C, "01"},
        {"short identifier", "00 B0 91 10 05 > 01 90 00 | 00 B0 00 11 04 > 6B 00", 5, 0, "01", 0x10, 17},
        {"short identifier 0", "", 5, invalidParameter, "", 0, 0},
        {"short identifier 31", "", 5, invalidParameter, "", 0, 31},
        {"short identifier, last offset", "00 B0 91 FF 01 > 01 90 00", 1, 0, "01", 255, 17},
        {"short identifier, far", "", 5, invalidParameter, "", 256, 17},
        {"last short offset", "00 B0 7F FF 01 > 01 90 00", 1, 0, "01", 0x7FFF},
        {"long offset", far + "06 > 53 02 01 02 90 00", 2, 0, "01 02", 0x8000},
        {"long offset, more than wanted", far + "06 > 53 04 01 02 03 04 90 00", 2, 0, "01 02", 0x8000},
        {"long offset, end", far + "09 > 53 02 01 02 62 82", 5, 0, "01 02", 0x8000},
        {"long offset, no object", far + "06 > 01 02 90 00", 2, 0x8010002F, "", 0x8000},
        {"long offset, lying object", far + "06 > 53 03 01 02 90 00", 2, 0x8010002F, "", 0x8000},
        {"offset too long", "", 2, invalidParameter, "", 0x1000000},
        {"extended", "00 B0 00 00 00 80 00 > " + full + full + "62 82", 32768, 0, full + full, 0, -1, extendedAtr},
        {"extended, all there can be", "00 B0 00 00 00 00 00 > 01 62 82", 70000, 0, "01", 0, -1, extendedAtr},
        {"extended, little wanted", "00 B0 00 00 00 > 01 62 82", 256, 0, "01", 0, -1, extendedAtr},
    };
    for (const Read &read : reads) {
        SCOPED_TRACE(read.name);
        const ScriptedCard card(read.script, read.atr);
        Bytes buffer(read.capacity);
        uint32_t length = read.capacity;
        const auto sfi = static_cast<uint8_t>(read.sfi);
        EXPECT_EQ(scard_ReadEFBinary(card, read.sfi < 0 ? nullptr : &sfi, read.offset, buffer.data(), &length, 0),
                  read.result);
        ASSERT_LE(length, buffer.size());
        buffer.resize(length);
        EXPECT_EQ(toHex(buffer), toHex(fromHex(read.data)));
    }
}

TEST(ReadBinary, RefusesNullArguments) {
    const ScriptedCard card("");
    uint32_t length = 5;
    EXPECT_EQ(scard_ReadEFBinary(card, nullptr, 0, nullptr, &length, 0), invalidParameter);
    uint8_t octet = 0;
    EXPECT_EQ(scard_ReadEFBinary(card, nullptr, 0, &octet, nullptr, 0), invalidParameter);
}

TEST(ReadCertificate, StopsAtTheLengthGiven) {
    const ScriptedCard card("00 B0 00 10 02 > 30 00 90 00");
    uint8_t buffer[2];
    uint32_t length = sizeof buffer;
    EXPECT_EQ(scard_ReadEFCertificate(card, 0, 16, buffer, &length, 0, 3), 0u);
    EXPECT_EQ(length, 2u);
}

TEST(DerLength, IsReadOffTheHeader) {
    struct {
        const char *start;
        uint32_t result;
        uint32_t length;
    } const cases[] = {
        {"30 03 02 01 05 00 00 00 90 00", 0, 5},
        {"30 82 01 00 AA AA AA AA 90 00", 0, 260},
        {"30 00 62 82", 0, 2},
        {"7F 21 83 01 00 00 AA AA 90 00", 0, 65542},
        {"30 84 00 FF FF FF AA AA 90 00", 0, 0x1000005},
        {"30 84 01 00 00 00 AA AA 90 00", 0x80100011, 0},
        {"30 80 02 01 05 00 00 00 90 00", 0x80100011, 0},
        {"30 85 00 00 00 00 01 00 90 00", 0x80100011, 0},
        {"30 82 01 62 82", 0x80100011, 0},
        {"00 00 00 00 00 00 00 00 90 00", 0x80100011, 0},
        {"6B 00", 0x80100011, 0},
        {"69 82", 0xE0116982, 0},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.start);
        const ScriptedCard card(std::string("00 B0 00 00 08 > ") + one.start);
        uint32_t length = 7;
        EXPECT_EQ(scard_GetDERContentLength(card, 0, &length), one.result);
        EXPECT_EQ(length, one.length);
    }
}

TEST(UpdateFile, WritesInPieces) {
    const auto call = [](uint32_t offset, size_t count) {
        return [=](CardHandle card) {
            const Bytes data(count, 0xAA);
            const uint8_t fileId[] = {0x50, 0x32};
            return scard_UpdateEF(card, fileId, offset, data.data(), length(data));
        };
    };
    const std::string select = "00 A4 02 0C 02 50 32 > 90 00 | ", first = "00 D6 00 00 FF" + repeated("AA", 255);
    const std::string far = "00 D7 00 00 FF 54 03 00 80 00 53 81 F7" + repeated("AA", 247) + " > 90 00 | ";
    run({
        {"one piece", call(2, 2), select + "00 D6 00 02 02 AA AA > 90 00"},
        {"nothing", call(0, 0), select},
        {"two pieces", call(0, 256), select + first + " > 90 00 | 00 D6 00 FF 01 AA > 90 00"},
        {"the same", call(0, 256), select + first + " > 90 00 | 00 D6 00 FF 01 AA > 90 00", 0, extendedAtr},
        {"no such file", call(0, 2), "00 A4 02 0C 02 50 32 > 6A 82", 0xE0116A82},
        {"stops at a failure", call(0, 600), select + first + " > 65 81", 0xE0116581},
        {"far offset", call(0x8000, 248), select + far + "00 D7 00 00 08 54 03 00 80 F7 53 01 AA > 90 00"},
        {"offset too long", call(0xFFFFFF, 1), "", invalidParameter},
    });
}

TEST(Record, CommandsAndCapacities) {
    const auto read = [](uint32_t id, uint32_t mode, uint32_t capacity, const std::string &expected = "") {
        return [=](CardHandle card) {
            Bytes buffer(capacity);
            uint32_t size = capacity;
            const uint32_t result = scardcmd_ReadRecord(card, id, 0, mode, 0, buffer.data(), &size);
            if (result == 0) {
                EXPECT_EQ(toHex({buffer.begin(), buffer.begin() + size}), expected);
            }
            return result;
        };
    };
    const auto update = [](uint32_t id, uint32_t mode, size_t count) {
        return [=](CardHandle card) {
            const Bytes data(count, 0x07);
            return scardcmd_UpdateRecord(card, id, 0, mode, data.data(), length(data), 0);
        };
    };
    const auto append = [](size_t count) {
        return [=](CardHandle card) {
            const Bytes data(count, 0x07);
            return scardcmd_AppendRecord(card, 0, data.data(), length(data), 0);
        };
    };
    const std::string more = repeated("07", 256);
    run({
        {"next", read(0, 2, 4, "07 01 AA"), "00 B2 00 02 00 > 07 01 AA 90 00"},
        {"by identifier, cut", read(7, 0, 2, "07 01"), "00 B2 07 00 00 > 07 01 AA 90 00"},
        {"no room at all", read(0, 2, 0), "00 B2 00 02 00 > 07 01 AA 90 00"},
        {"end of record", read(0, 2, 4, "07 00"), "00 B2 00 02 00 > 07 00 62 82"},
        {"none left", read(0, 2, 4), "00 B2 00 02 00 > 6A 83", 0xE0116A83},
        {"corrected length", read(0, 2, 4, "07 00"), "00 B2 00 02 00 > 6C 02 | 00 B2 00 02 02 > 07 00 90 00"},
        {"identifier too great", read(256, 0, 4), "", invalidParameter},
        {"mode too great", read(1, 8, 4), "", invalidParameter},
        {"update by identifier", update(7, 0, 2), "00 DC 07 00 02 07 07 > 90 00"},
        {"update by number", update(3, 4, 2), "00 DC 03 04 02 07 07 > 90 00"},
        {"update with nothing", update(3, 4, 0), "", invalidParameter},
        {"update too long for short length", update(3, 4, 256), "", invalidParameter},
        {"extended update", update(3, 4, 256), "00 DC 03 04 00 01 00" + more + " > 90 00", 0, extendedAtr},
        {"append", append(2), "00 E2 00 00 02 07 07 > 90 00"},
        {"append to a full file", append(2), "00 E2 00 00 02 07 07 > 6A 84", 0xE0116A84},
        {"append with nothing", append(0), "", invalidParameter},
    });
}

TEST(Verify, HandsOutRetries) {
    struct {
        const char *answer;
        uint32_t result;
        uint8_t retries;
    } const cases[] = {
        {"90 00", 0, 77},         {"63 C2", 0xA0116300, 2},  {"63 C0", 0xA0116300, 0},  {"63 00", 0xA0116300, 77},
        {"69 83", 0xE0116983, 0}, {"69 84", 0xE0116984, 77}, {"6A 88", 0xE0116A88, 77},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.answer);
        const Bytes pin = fromHex("31 32 33");
        const std::string exchange = std::string("00 20 00 81 03 31 32 33 > ") + one.answer;
        const ScriptedCard card(exchange + " | " + exchange);
        uint8_t retries = 77;
        EXPECT_EQ(scardcmd_VerifyPIN(card, 0x81, pin.data(), 3, &retries, 0), one.result);
        EXPECT_EQ(retries, one.retries);
        EXPECT_EQ(scardcmd_VerifyPIN(card, 0x81, pin.data(), 3, nullptr, 0), one.result);
    }
}

TEST(Verify, SendsNoEmptyPin) {
    const ScriptedCard card("");
    const uint8_t pin[] = {0x31};
    uint8_t retries = 77;
    EXPECT_EQ(scardcmd_VerifyPIN(card, 1, pin, 0, &retries, 0), invalidParameter);
    EXPECT_EQ(scardcmd_VerifyPIN(card, 1, nullptr, 0, &retries, 0), invalidParameter);
    EXPECT_EQ(scardcmd_VerifyPIN(card, 256, pin, 1, &retries, 0), invalidParameter);
    EXPECT_EQ(retries, 77);
}

// Whatever the card makes of it: a rejected PIN sent again would cost a second try.
TEST(Verify, IsNeverSentTwice) {
    const uint8_t pin[] = {0x31, 0x32};
    for (const std::string answer : {"6C 02", "6C 00", "67 00", "63 00", "63 C2", "69 85", "6F 00", "gone"}) {
        SCOPED_TRACE(answer);
        const ScriptedCard card("00 20 00 01 02 31 32 > " + answer);
        EXPECT_NE(scardcmd_VerifyPIN(card, 1, pin, sizeof pin, nullptr, 0), 0u);
    }
}

TEST(Verify, QueryIsNoFailureWhileTriesAreLeft) {
    struct {
        const char *answer;
        uint32_t result;
        uint8_t retries;
    } const cases[] = {
        {"63 C3", 0, 3},           {"90 00", 0, 255},         {"69 83", 0xE0116983, 0},
        {"63 00", 0xA0116300, 77}, {"6A 88", 0xE0116A88, 77},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.answer);
        const ScriptedCard card(std::string("00 20 00 02 > ") + one.answer);
        uint8_t retries = 77;
        EXPECT_EQ(scardcmd_QueryRetryCounter(card, 2, &retries, 0), one.result);
        EXPECT_EQ(retries, one.retries);
    }
}

TEST(ReferenceData, CommandsByWhatIsGiven) {
    const auto change = [](uint32_t mode, const std::string &before, const std::string &after) {
        return [=](CardHandle card) {
            const Bytes one = fromHex(before);
            const Bytes two = fromHex(after);
            return scardcmd_ChangeReferenceData(card, mode, 0x73, one.data(), length(one), two.data(), length(two), 0);
        };
    };
    const auto unblock = [](const std::string &authority, const std::string &after) {
        return [=](CardHandle card) {
            const Bytes one = fromHex(authority);
            const Bytes two = fromHex(after);
            return scardcmd_ResetRetryCounter(card, 0, 2, one.data(), length(one), two.data(), length(two), 0);
        };
    };
    const auto authenticate = [](uint32_t key, const std::string &value) {
        return [=](CardHandle card) {
            const Bytes data = fromHex(value);
            return scardcmd_ExternalAuthenticate(card, key, data.data(), length(data), 0);
        };
    };
    const auto putKey = [](uint32_t key, const std::string &value) {
        return [=](CardHandle card) {
            const Bytes data = fromHex(value);
            return scardcmd_ChangeKeyData(card, 0, key, data.data(), length(data), 0);
        };
    };
    const auto forget = [](uint32_t mode) {
        return [=](CardHandle card) { return scardcmd_ResetSecurityStatus(card, mode); };
    };
    run({
        {"old and new", change(0, "31 32", "33"), "00 24 00 73 03 31 32 33 > 90 00"},
        {"new alone", change(1, "", "33"), "00 24 01 73 01 33 > 90 00"},
        {"wrong old value", change(0, "31", "33"), "00 24 00 73 02 31 33 > 63 C1", 0xA0116300},
        {"old value missing", change(0, "", "33"), "", invalidParameter},
        {"old value too many", change(1, "31", "33"), "", invalidParameter},
        {"new value missing", change(1, "", ""), "", invalidParameter},
        {"unknown mode", change(2, "31", "33"), "", invalidParameter},
        {"together too long", change(0, repeated("31", 200), repeated("32", 56)), "", invalidParameter},
        {"unblock with both", unblock("31", "32"), "00 2C 00 02 02 31 32 > 90 00"},
        {"unblock alone", unblock("31", ""), "00 2C 01 02 01 31 > 90 00"},
        {"unblock with the new value alone", unblock("", "32"), "00 2C 02 02 01 32 > 90 00"},
        {"unblock with nothing", unblock("", ""), "00 2C 03 02 > 69 82", 0xE0116982},
        {"external authenticate", authenticate(8, "01 02"), "00 82 00 08 02 01 02 > 90 00"},
        {"external authenticate refused", authenticate(0x88, "01"), "00 82 00 88 01 01 > 69 85", 0xE0116985},
        {"wrong answer", authenticate(8, "01"), "00 82 00 08 01 01 > 63 C2", 0xA0116300},
        {"external authenticate with nothing", authenticate(8, ""), "", invalidParameter},
        {"new key", putKey(0x83, "01 02 03"), "80 D8 00 83 03 01 02 03 > 90 00"},
        {"new key refused", putKey(3, "01"), "80 D8 00 03 01 01 > 69 82", 0xE0116982},
        {"new key unknown", putKey(3, "01"), "80 D8 00 03 01 01 > 6E 00", 0xE0116E00},
        {"new key missing", putKey(3, ""), "", invalidParameter},
        {"key reference of two octets", putKey(256, "01"), "", invalidParameter},
        {"forget what the application knows", forget(128), "00 20 FF 80 > 90 00"},
        {"forget everything", forget(0), "00 20 FF 00 > 90 00"},
        {"forgetting refused", forget(0), "00 20 FF 00 > 6A 86", 0xE0116A86},
        {"forget in an unknown way", forget(1), "", invalidParameter},
        {"forget in a way of two octets", forget(384), "", invalidParameter},
    });
}

TEST(GetData, DeliversAllOrNothing) {
    const ScriptedCard card(
        "00 CA 00 84 00 > 01 02 03 90 00 | 00 CA 5F 20 00 > 01 02 03 90 00 |"
        "00 CA 00 84 00 > 90 00 | 00 CA 00 84 00 > 6A 88");
    uint8_t buffer[3] = {};
    uint32_t length = 3;
    EXPECT_EQ(scardcmd_GetData(card, 0x84, buffer, &length), 0u);
    EXPECT_EQ(length, 3u);
    EXPECT_EQ(buffer[2], 3);
    length = 2;
    buffer[0] = 9;
    EXPECT_EQ(scardcmd_GetData(card, 0x5F20, buffer, &length), 0x80100008u);
    EXPECT_EQ(length, 3u);
    EXPECT_EQ(buffer[0], 9);
    EXPECT_EQ(scardcmd_GetData(card, 0x84, buffer, &length), 0u);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(scardcmd_GetData(card, 0x84, nullptr, &length), 0xE0116A88u);
    EXPECT_EQ(scardcmd_GetData(card, 0x10000, buffer, &length), invalidParameter);
}

TEST(CardInfo, ComesFromTheCardsDescription) {
    const ScriptedCard card("00 CA 01 00 00 > 80 02 15 01 81 02 AB CD 82 01 29 90 00", extendedAtr);
    CardInfo info = {};
    EXPECT_EQ(scard_GetCardInfo(card, &info), 0u);
    EXPECT_EQ(info.model, 0x1501u);
    EXPECT_EQ(info.serialLength, 2u);
    EXPECT_EQ(info.serial[1], 0xCD);
    EXPECT_EQ(info.lifeCycle, 41u);
    EXPECT_EQ(info.extendedLength, 1u);
    EXPECT_EQ(info.chaining, 0u);
    EXPECT_EQ(toHex({info.atr, info.atr + info.atrLength}), extendedAtr);
    EXPECT_EQ(scard_GetCardModel(card), 0x1501u) << "and asks no second time";
    EXPECT_EQ(scard_GetCardInfo(card, nullptr), invalidParameter);
}

TEST(CardInfo, UnknownCardIsNoFailure) {
    const ScriptedCard card("00 CA 01 00 00 > 6D 00 | 00 CA 01 00 00 > 81 40" + repeated("11", 64) + "90 00");
    CardInfo info = {};
    EXPECT_EQ(scard_GetCardModel(card), 0u);
    EXPECT_EQ(scard_GetCardInfo(card, &info), 0u);
    EXPECT_EQ(info.lifeCycle, 0u);
    EXPECT_EQ(info.serialLength, 32u);
}

TEST(LifeCycle, OneCommandEach) {
    const auto administer = [](CardHandle card) { return scard_LifeCycleAdministration(card); };
    const auto erase = [](CardHandle card) { return scardcmd_EraseFiles(card, 0); };
    run({
        {"administration", administer, "80 10 00 20 > 90 00"},
        {"no delivered card", administer, "80 10 00 20 > 69 85", 0xE0116985},
        {"erased", erase, "80 E4 00 00 > 90 00"},
        {"in use", erase, "80 E4 00 00 > 69 85", 0xE0116985},
        {"another card", erase, "80 E4 00 00 > 6E 00", 0xE0116E00},
    });
}

TEST(Random, CollectsWhatTheCardGives) {
    uint8_t buffer[300];
    const auto call = [&buffer](uint32_t count) {
        return [&buffer, count](CardHandle card) { return scard_GetRandom(card, buffer, count); };
    };
    const std::string eight = repeated("5A", 8);
    run({
        {"at once", call(16), "00 84 00 00 10 > " + eight + eight + "90 00"},
        {"by eights", call(16), "0084000010 > 6C 08 | 0084000008 > " + eight + "9000 | 0084000008 > " + eight + "9000"},
        {"two commands' worth", call(257), "00 84 00 00 00 > " + full + "90 00 | 00 84 00 00 01 > 11 90 00"},
        {"none", call(0), ""},
        {"nothing comes", call(16), "00 84 00 00 10 > 90 00", 0x8010002F},
        {"refused", call(16), "00 84 00 00 10 > 6A 81", 0xE0116A81},
    });
    EXPECT_EQ(buffer[256], 0x11);
}

TEST(Algorithms, BoundsOfTheDefaultAndNullForOthers) {
    const ExtendedAlgorithmInfo *info = scard_GetExtendedAlgorithmInfo(0x0C);
    ASSERT_NE(info, nullptr);
    EXPECT_LE(info->minKeyLength, 1024u);
    EXPECT_GE(info->maxKeyLength, 2048u);
    EXPECT_EQ(scard_GetExtendedAlgorithmInfo(0xFE), nullptr);
}

}  // namespace
