// Access conditions: every command that reaches into a file, with and without the right to it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hex.h"
#include "virtualcard/card.h"

namespace {

using virtualcard::Bytes;
using virtualcard::VirtualCard;

// Reading takes PIN 1, updating PIN 2, appending PIN 3; where appending has no condition, that of updating holds.
const std::string guarded = R"("access": { "read": { "pin": 1 }, "update": { "pin": 2 }, "append": { "pin": 3 } })";
const std::string cardText = R"({ "format": "zelmo virtual card 1",
  "root": { "fid": "3F00", "kind": "df", "files": [
    { "fid": "2F01", "kind": "transparent", "sfi": 1, "data": "00112233", )" +
                             guarded + R"( },
    { "fid": "2F02", "kind": "linear-variable", "sfi": 2, "records": ["0102", "03"], )" +
                             guarded + R"( },
    { "fid": "2F03", "kind": "tlv-records", "sfi": 3, "records": ["010102", "0300"], )" +
                             guarded + R"( },
    { "fid": "2F04", "kind": "tlv-records", "sfi": 4, "records": [], "access": { "update": { "pin": 2 } } },
    { "fid": "2F05", "kind": "transparent", "sfi": 5, "data": "00", "access": { "read": "never", "update": "never" } },
    { "fid": "2F06", "kind": "transparent", "sfi": 6, "data": "00", "state": "deactivated" },
    { "fid": "2F07", "kind": "tlv-records", "sfi": 7, "records": ["0100"], "state": "terminated" },
    { "fid": "2F08", "kind": "transparent", "sfi": 8, "data": "00" } ] },
  "pins": [ { "reference": 1, "value": "01" }, { "reference": 2, "value": "02" }, { "reference": 3, "value": "03" } ] })";

constexpr int nobody = 0;
constexpr int everybody = -1;

struct Access {
    const char *name;
    const char
        *file;  ///< Selected before the command; nothing for a command that names its file by a short identifier.
    const char *command;
    int pin;  ///< The PIN that gives the right.
    const char *refusal = "69 82";
};

const Access accesses[] = {
    {"ReadBinary", "2F 01", "00 B0 00 00 00", 1},
    {"ReadBinaryShortId", "", "00 B0 81 00 00", 1},
    {"ReadBinaryOdd", "2F 01", "00 B1 00 00 03 54 01 00 00", 1},
    {"UpdateBinary", "2F 01", "00 D6 00 00 01 FF", 2},
    {"UpdateBinaryShortId", "", "00 D6 81 00 01 FF", 2},
    {"UpdateBinaryOdd", "2F 01", "00 D7 00 00 06 54 01 00 53 01 FF", 2},
    {"ReadRecordByNumber", "2F 02", "00 B2 01 04 00", 1},
    {"ReadRecordById", "2F 02", "00 B2 03 00 00", 1},
    {"ReadRecordNext", "2F 02", "00 B2 00 02 00", 1},
    {"ReadRecordShortId", "", "00 B2 01 14 00", 1},
    {"UpdateRecordByNumber", "2F 02", "00 DC 01 04 01 FF", 2},
    {"UpdateRecordById", "2F 02", "00 DC 03 00 01 FF", 2},
    {"UpdateRecordShortId", "", "00 DC 01 14 01 FF", 2},
    {"AppendRecord", "2F 02", "00 E2 00 00 01 FF", 3},
    {"AppendRecordShortId", "", "00 E2 00 10 01 FF", 3},
    {"ReadTlvRecordByNumber", "2F 03", "00 B2 01 04 00", 1},
    {"ReadTlvRecordById", "2F 03", "00 B2 03 00 00", 1},
    {"ReadTlvRecordNext", "2F 03", "00 B2 00 02 00", 1},
    {"ReadTlvRecordShortId", "", "00 B2 01 1C 00", 1},
    {"UpdateTlvRecordByNumber", "2F 03", "00 DC 01 04 02 04 00", 2},
    {"UpdateTlvRecordById", "2F 03", "00 DC 03 00 02 04 00", 2},
    {"UpdateTlvRecordShortId", "", "00 DC 01 1C 02 04 00", 2},
    {"AppendTlvRecord", "2F 03", "00 E2 00 00 02 04 00", 3},
    {"AppendTlvRecordShortId", "", "00 E2 00 18 02 04 00", 3},
    {"AppendWithoutItsOwnCondition", "2F 04", "00 E2 00 00 02 04 00", 2},
    {"NeverRead", "2F 05", "00 B0 00 00 00", nobody},
    {"NeverUpdate", "2F 05", "00 D6 00 00 01 FF", nobody},
    {"DeactivatedRead", "2F 06", "00 B0 00 00 00", nobody, "69 85"},
    {"DeactivatedReadShortId", "", "00 B0 86 00 00", nobody, "69 85"},
    {"DeactivatedUpdate", "2F 06", "00 D6 00 00 01 FF", nobody, "69 85"},
    {"TerminatedRead", "2F 07", "00 B2 01 04 00", nobody, "69 85"},
    {"TerminatedUpdate", "2F 07", "00 DC 01 04 02 04 00", nobody, "69 85"},
    {"TerminatedAppendShortId", "", "00 E2 00 38 02 04 00", nobody, "69 85"},
    {"FreeRead", "2F 08", "00 B0 00 00 00", everybody},
    {"FreeUpdate", "2F 08", "00 D6 00 00 01 FF", everybody},
    {"SelectingIsFree", "", "00 A4 00 0C 02 2F 05", everybody},
};

class AccessTable : public testing::TestWithParam<Access> {};

void PrintTo(const Access &access, std::ostream *out) {
    *out << access.name;
}

std::string statusOf(const Bytes &answer) {
    return toHex({answer.end() - 2, answer.end()});
}

TEST_P(AccessTable, OpensToItsPinAlone) {
    const Access &access = GetParam();
    for (const int proven : {0, 1, 2, 3}) {
        SCOPED_TRACE(proven);
        VirtualCard card(virtualcard::parseImage(cardText, "test"));
        if (proven != 0) {
            const auto reference = static_cast<uint8_t>(proven);
            ASSERT_EQ(toHex(card.transmit(Bytes{0x00, 0x20, 0x00, reference, 0x01, reference})), "90 00");
        }
        if (*access.file != '\0')
            card.transmit(fromHex("00 A4 00 0C 02 " + std::string(access.file)));
        const std::string before = virtualcard::formatImage(card.image());
        const Bytes answer = card.transmit(fromHex(access.command));
        if (access.pin == everybody || (proven != 0 && proven == access.pin)) {
            EXPECT_THAT(statusOf(answer), testing::AnyOf("90 00", "62 82"));
            continue;
        }
        EXPECT_EQ(toHex(answer), access.refusal);
        EXPECT_EQ(virtualcard::formatImage(card.image()), before);
    }
}

INSTANTIATE_TEST_SUITE_P(Commands, AccessTable, testing::ValuesIn(accesses),
                         [](const auto &test) { return std::string(test.param.name); });

}  // namespace
