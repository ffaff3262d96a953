// Personalisation scripts: what is sent, what is refused before anything is, where a script stops.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

#include "support/temp_directory.h"
#include "virtualcard/image.h"
#include "zelmocrd/scripted_transport.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t malformed = 0x80100011;
constexpr uint32_t unsupported = 0x80100022;
constexpr uint32_t invalidParameter = 0x80100004;

/// A script of these instructions, given as hexadecimal text with their headers.
Bytes scriptOf(const std::string &instructions) {
    Bytes script = fromHex("5A 43 50 44 00 01 00 00 00 00" + instructions);
    script[8] = static_cast<uint8_t>(script.size() >> 8);
    script[9] = static_cast<uint8_t>(script.size());
    return script;
}

uint32_t execute(CardHandle card, const Bytes &script) {
    const uint8_t opcode = 0xD0;
    const cpd_Handler handler = cpd_ResetTransactedCard;
    // Just its own octets, so that a read behind them shows.
    const std::unique_ptr<uint8_t[]> copy(new uint8_t[script.size()]);
    std::copy(script.begin(), script.end(), copy.get());
    return cpd_Execute(card, copy.get(), static_cast<uint32_t>(script.size()), 1, &opcode, &handler, 0);
}

/// Where the trace says that a script has stopped; -1 as long as none has.
struct Stop {
    explicit Stop(CardHandle card) {
        zelmocrd_SetTrace(card, note, this);
    }
    static void note(const uint8_t * /*command*/, uint32_t commandLength, const uint8_t *answer, uint32_t answerLength,
                     double /*milliseconds*/, void *context) {
        if (commandLength == 0 && answerLength == 4)
            static_cast<Stop *>(context)->offset = answer[0] << 24 | answer[1] << 16 | answer[2] << 8 | answer[3];
    }
    int offset = -1;
};

struct ScriptCase {
    const char *name;
    std::string instructions;
    Script exchanges;
    uint32_t result = 0;
    int stop = -1;
};

void run(const std::vector<ScriptCase> &cases) {
    for (const ScriptCase &one : cases) {
        SCOPED_TRACE(one.name);
        const ScriptedCard card(one.exchanges);
        const Stop stop(card);
        EXPECT_EQ(execute(card, scriptOf(one.instructions)), one.result);
        EXPECT_EQ(stop.offset, one.stop);
    }
}

TEST(ScriptEngine, SendsWhatItsInstructionsSay) {
    run({
        {"nothing", "", {}},
        {"command", "01 00000A FFFF 9000 00A40000 0000", {{"00 A4 00 00", "90 00"}}},
        {"command with data and answer",
         "01 00000C FFFF 9000 00CA0100 0100 AABB",
         {{"00 CA 01 00 02 AA BB 00", "01 02 61 02"}, {"00 C0 00 00 02", "03 04 90 00"}}},
        {"any of the statuses", "01 00000A FFF0 63C0 00200001 0000", {{"00 20 00 01", "63 C3"}}},
        {"whatever it answers", "01 00000A 0000 0000 00200001 0000", {{"00 20 00 01", "6A 88"}}},
        {"directory",
         "02 000002 6200 05 000004 50155F00",
         {{"00 E0 00 00 02 62 00", "90 00"},
          {"00 A4 08 0C 04 50 15 5F 00", "90 00"},
          {"00 44 00 00", "90 00"},
          {"00 A4 03 0C", "90 00"}}},
        {"file",
         "03 000006 0002 6200 AABB",
         {{"00 E0 00 00 02 62 00", "90 00"}, {"00 D6 00 00 02 AA BB", "90 00"}, {"00 44 00 00", "90 00"}}},
        {"file without content", "03 000004 0002 6200", {{"00 E0 00 00 02 62 00", "90 00"}, {"00 44 00 00", "90 00"}}},
        {"long file",
         "03 000104 0002 6200" + repeated("11", 256),
         {{"00 E0 00 00 02 62 00", "90 00"},
          {"00 D6 00 00 FF" + repeated("11", 255), "90 00"},
          {"00 D6 00 FF 01 11", "90 00"},
          {"00 44 00 00", "90 00"}}},
        {"records",
         "04 00000A 0002 6200 0001 AA 0001 BB",
         {{"00 E0 00 00 02 62 00", "90 00"},
          {"00 E2 00 00 01 AA", "90 00"},
          {"00 E2 00 00 01 BB", "90 00"},
          {"00 44 00 00", "90 00"}}},
        {"PIN, key and phase",
         "06 000002 73 AA 07 000002 08 BB 08 000001 29",
         {{"80 E0 00 73 01 AA", "90 00"}, {"80 E0 01 08 01 BB", "90 00"}, {"80 10 00 29", "90 00"}}},
        {"reset, the root selected", "D0 000000", {}},
        {"reset, a file selected", "D0 000002 5015", {{"00 A4 08 0C 02 50 15", "90 00"}}},
    });
}

TEST(ScriptEngine, StopsWhereTheCardDoes) {
    const std::string first = "05 000002 5015";
    run({
        {"selection", first + "06 000002 73 AA", {{"00 A4 08 0C 02 50 15", "6A 82"}}, 0xE0116A82, 10},
        {"second instruction",
         "08 000001 29 06 000002 73 AA",
         {{"80 10 00 29", "90 00"}, {"80 E0 00 73 01 AA", "6A 89"}},
         0xE0116A89,
         15},
        {"creation", "03 000006 0002 6200 AABB", {{"00 E0 00 00 02 62 00", "6A 80"}}, 0xE0116A80, 10},
        {"content",
         "03 000006 0002 6200 AABB",
         {{"00 E0 00 00 02 62 00", "90 00"}, {"00 D6 00 00 02 AA BB", "65 81"}},
         0xE0116581,
         10},
        {"record",
         "04 00000A 0002 6200 0001 AA 0001 BB",
         {{"00 E0 00 00 02 62 00", "90 00"}, {"00 E2 00 00 01 AA", "6A 84"}},
         0xE0116A84,
         10},
        {"another status", "01 00000A FFFF 6A82 00A40000 0000", {{"00 A4 00 00", "6A 86"}}, 0xE0116A86, 10},
        {"no error, and not what is wanted",
         "01 00000A FFFF 6A82 00A40000 0000",
         {{"00 A4 00 00", "90 00"}},
         0x8010002F,
         10},
        {"card gone", "08 000001 29", {{"80 10 00 29", "gone"}}, 0x8010000C, 10},
        {"handler", "D0 000002 5015 08 000001 29", {{"00 A4 08 0C 02 50 15", "6A 82"}}, 0xE0116A82, 10},
        {"handler's own refusal", "D0 000001 50", {}, invalidParameter, 10},
    });
}

TEST(ScriptEngine, RefusesWhatIsNotWellFormedWithTheCardUntouched) {
    const std::string good = "08 000001 29";
    run({
        {"unknown", good + "09 000000", {}, unsupported, 15},
        {"opcode 0", "00 000000", {}, unsupported, 10},
        {"without a handler", "D1 000000", {}, unsupported, 10},
        {"half a header", good + "08 0000", {}, malformed, 15},
        {"longer than the script", good + "08 000002 29", {}, malformed, 15},
        {"length that would wrap", "08 FFFFFF 29", {}, malformed, 10},
        {"short command", "01 000009 FFFF 9000 00A40000 00", {}, malformed, 10},
        {"long command", "01 00010A FFFF 9000 00A40000 0000" + repeated("00", 256), {}, malformed, 10},
        {"long answer", "01 00000A FFFF 9000 00CA0100 0101", {}, malformed, 10},
        {"directory of nothing", "02 000000", {}, malformed, 10},
        {"long directory", "02 000100" + repeated("00", 256), {}, malformed, 10},
        {"template behind the end", "03 000004 0003 6200", {}, malformed, 10},
        {"no template", "03 000003 0000 AA", {}, malformed, 10},
        {"half a length", "03 000001 00", {}, malformed, 10},
        {"record behind the end", "04 000007 0002 6200 0002 AA", {}, malformed, 10},
        {"half a record's length", "04 000005 0002 6200 00", {}, malformed, 10},
        {"empty record", "04 000006 0002 6200 0000", {}, malformed, 10},
        {"odd path", "05 000003 501500", {}, malformed, 10},
        {"no path", "05 000000", {}, malformed, 10},
        {"PIN without reference", "06 000000", {}, malformed, 10},
        {"long key", "07 000101" + repeated("00", 257), {}, malformed, 10},
        {"no phase", "08 000000", {}, malformed, 10},
    });
}

TEST(ScriptEngine, ChecksTheHeader) {
    const Bytes good = scriptOf("");
    const ScriptedCard card(Script{});
    for (size_t at = 0; at < good.size(); at++) {
        Bytes bad = good;
        bad[at] ^= 0x20;
        EXPECT_EQ(execute(card, bad), at == 4 || at == 5 ? unsupported : malformed) << at;
        EXPECT_EQ(execute(card, Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(at))), malformed) << at;
    }
    EXPECT_EQ(execute(card, good), 0u);
}

uint32_t refuse(CardHandle /*card*/, const uint8_t *data, uint32_t dataLength) {
    return dataLength == 1 ? data[0] : 0;
}

TEST(ScriptEngine, LooksHandlersUpInTheCallersArrays) {
    const ScriptedCard card(Script{});
    const uint8_t opcodes[] = {0xD0, 0x80, 0x08};
    const cpd_Handler handlers[] = {cpd_ResetTransactedCard, refuse, refuse};
    const Bytes script = scriptOf("D0 000000 80 000000 80 000001 07");
    const auto length = static_cast<uint32_t>(script.size());
    EXPECT_EQ(cpd_Execute(card, script.data(), length, 3, opcodes, handlers, 0), 7u);
    EXPECT_EQ(cpd_Execute(card, script.data(), length, 1, opcodes, handlers, 0), unsupported);
    EXPECT_EQ(cpd_Execute(card, script.data(), length, 0, nullptr, nullptr, 0), unsupported);
    EXPECT_EQ(cpd_Execute(card, script.data(), length, 1, nullptr, handlers, 0), invalidParameter);
    EXPECT_EQ(cpd_Execute(card, script.data(), length, 1, opcodes, nullptr, 0), invalidParameter);
    const cpd_Handler none[] = {nullptr};
    EXPECT_EQ(cpd_Execute(card, script.data(), length, 1, opcodes, none, 0), invalidParameter);
    EXPECT_EQ(cpd_Execute(card, nullptr, 1, 3, opcodes, handlers, 0), invalidParameter);
    EXPECT_EQ(cpd_Execute(card, nullptr, 0, 3, opcodes, handlers, 0), malformed);
    EXPECT_EQ(cpd_Execute(0, script.data(), length, 3, opcodes, handlers, 0), 0x80100003u);
}

// On the virtual card, where a script cut at any octet leaves the card as it was.
TEST(ScriptEngine, MakesFilesInOneTransaction) {
    const TempDirectory directory;
    const std::string file = directory.file("blank.card");
    virtualcard::CardImage image;
    image.lifeCycle = virtualcard::phase::delivered;
    virtualcard::writeImage(file, image);
    CardHandle card = 0;
    ASSERT_EQ(zelmocrd_OpenCard(("virtual:" + file).c_str(), 0, &card), 0u);
    // A directory, a reset in it, a file of 1024 octets that ends in content, a PIN, the end.
    const Bytes script = scriptOf(
        "02 000009 62 07 82 01 38 83 02 50 15  D0 000002 5015"
        "03 000411 000F 62 0D 82 01 01 83 02 44 01 80 02 04 00 86 00" +
        repeated("5A", 0x0400) + "05 000002 5015  06 000007 73 80 04 31323334  08 000001 29");
    const auto run = [&] {
        return scard_LifeCycleAdministration(card) | scardcmd_EraseFiles(card, 0) | scard_ResetCard(card) |
               scard_BeginTransaction(card);
    };
    ASSERT_EQ(run(), 0u);
    const std::string before = virtualcard::formatImage(virtualcard::readImage(file));
    for (size_t size = 0; size < script.size(); size += size < 60 || size + 60 > script.size() ? 1 : 97)
        EXPECT_EQ(execute(card, Bytes(script.begin(), script.begin() + static_cast<std::ptrdiff_t>(size))), malformed);
    EXPECT_EQ(virtualcard::formatImage(virtualcard::readImage(file)), before);
    EXPECT_EQ(execute(card, script), 0u);
    EXPECT_EQ(scard_EndTransaction(card, 0), 0u) << "the reset has not ended it";
    EXPECT_EQ(zelmocrd_CloseCard(card), 0u);
    const virtualcard::CardImage made = virtualcard::readImage(file);
    ASSERT_EQ(made.root.files.size(), 1u);
    ASSERT_EQ(made.root.files.front().files.size(), 1u);
    EXPECT_EQ(made.root.files.front().files.front().data, Bytes(0x0400, 0x5A));
    EXPECT_EQ(made.root.files.front().state, virtualcard::FileState::activated);
    EXPECT_EQ(made.pins.size(), 1u);
    EXPECT_EQ(made.lifeCycle, virtualcard::phase::personalised);
}

}  // namespace
