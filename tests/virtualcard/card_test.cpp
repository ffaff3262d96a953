// The virtual card command by command: what it answers, octet for octet.
#include "virtualcard/card.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hex.h"
#include "session.h"

namespace {

using virtualcard::Bytes;
using virtualcard::VirtualCard;

const char *const cardText = R"({
  "format": "zelmo virtual card 1",
  "card": { "serial": "0102", "model": "1501", "lifeCycle": 41, "extendedLength": false },
  "root": { "fid": "3F00", "kind": "df", "files": [
    { "fid": "2F00", "kind": "transparent", "sfi": 30, "data": "0011223344" },
    { "fid": "2F01", "kind": "transparent", "data": "AA", "access": { "read": "never" } },
    { "fid": "2F02", "kind": "transparent", "size": 4, "state": "deactivated" },
    { "fid": "5015", "kind": "df", "name": "A000000063504B43532D3135", "files": [
      { "fid": "5031", "kind": "transparent", "sfi": 17, "size": 300 },
      { "fid": "4401", "kind": "tlv-records", "sfi": 5, "maxRecord": 8, "maxRecords": 4,
        "records": ["0101AA", "0000", "0301BB"] },
      { "fid": "4402", "kind": "linear-variable", "records": ["61024F00", "61"],
        "access": { "update": { "and": [ { "pin": 1 }, { "or": [ "never", { "pin": 2 } ] } ] },
                    "append": { "key": 7 } } },
      { "fid": "5F00", "kind": "df", "files": [] } ] },
    { "fid": "5016", "kind": "df", "name": "A000000063504B4353", "files": [] } ] },
  "pins": [ { "reference": 1, "value": "31323334" },
            { "reference": 2, "value": "35363738", "maxTries": 2 } ],
  "keys": []
})";

const char *const records = R"(NextRecordWalksTheFileOnce
  00 A4 08 0C 04 50 15 44 01 > 90 00 | 00 B2 00 02 00 > 01 01 AA 90 00 | 00 B2 00 02 02 > 00 00 90 00
  00 B2 00 02 02 > 03 01 90 00 | 00 B2 00 02 00 > 6A 83 | 00 B2 00 02 00 > 6A 83 | 00 B2 00 03 00 > 00 00 90 00
  00 B2 00 00 00 > 01 01 AA 90 00 | 00 B2 00 01 00 > 03 01 BB 90 00 | 00 B2 00 03 03 > 00 00 62 82
  00 A4 08 0C 04 50 15 44 01 > 90 00 | 00 B2 00 02 00 > 01 01 AA 90 00
RecordByIdentifier
  00 A4 08 0C 04 50 15 44 01 > 90 00 | 00 B2 03 00 00 > 03 01 BB 90 00 | 00 B2 01 02 00 > 6A 83
  00 B2 01 03 00 > 01 01 AA 90 00 | 00 B2 02 00 00 > 6A 83 | 00 B2 00 02 00 > 00 00 90 00
RecordByNumberLeavesThePointer
  00 A4 08 0C 04 50 15 44 01 > 90 00 | 00 B2 00 04 00 > 6A 83 | 00 B2 03 04 00 > 03 01 BB 90 00
  00 B2 00 02 00 > 01 01 AA 90 00 | 00 B2 00 04 00 > 01 01 AA 90 00 | 00 B2 04 04 00 > 6A 83
  00 B2 01 05 00 > 6A 86
RecordByShortIdentifier
  00 A4 00 0C 02 50 15 > 90 00 | 00 B2 01 2C 00 > 01 01 AA 90 00 | 00 B2 00 02 00 > 01 01 AA 90 00
  00 B2 01 34 00 > 6A 82 | 00 B2 01 FC 00 > 6A 86
UpdateRecordShrinksAndGrows
  00 A4 08 0C 04 50 15 44 01 > 90 00 | 00 DC 01 00 02 00 00 > 90 00 | 00 B2 01 04 00 > 00 00 90 00
  00 DC 02 04 08 02 06 01 02 03 04 05 06 > 90 00 | 00 B2 02 00 00 > 02 06 01 02 03 04 05 06 90 00
  00 DC 02 00 09 02 07 01 02 03 04 05 06 07 > 6A 84 | 00 DC 09 00 02 09 00 > 6A 83
  00 DC 04 04 02 09 00 > 6A 83 | 00 DC 01 04 > 67 00
AppendRecordUntilFull
  00 A4 08 0C 04 50 15 44 01 > 90 00 | 00 E2 00 00 09 01 02 03 04 05 06 07 08 09 > 6A 84
  00 E2 00 00 02 04 00 > 90 00 | 00 B2 04 04 00 > 04 00 90 00 | 00 E2 00 00 02 05 00 > 6A 84
  00 E2 01 00 02 05 00 > 6A 86 | 00 E2 00 04 02 05 00 > 6A 86
RecordCommandsWantARecordFile
  00 B2 00 02 00 > 69 86 | 00 A4 00 0C 02 2F 00 > 90 00 | 00 B2 00 02 00 > 69 81 | 00 DC 01 04 01 00 > 69 81
  00 E2 00 00 01 00 > 69 81
ConditionsAreJoined
  00 A4 08 0C 04 50 15 44 02 > 90 00 | 00 DC 01 04 01 00 > 69 82 | 00 20 00 02 04 35 36 37 38 > 90 00
  00 DC 01 04 01 00 > 69 82 | 00 20 00 01 04 31 32 33 34 > 90 00 | 00 DC 01 04 01 00 > 90 00
  00 E2 00 00 01 00 > 69 82 | 00 20 00 01 04 31 32 33 35 > 63 C2 | 00 DC 01 04 01 00 > 69 82)";

TEST(CardSession, Selection) {
    runSessions(cardText, R"(SelectRootAnswersItsParameters
  00 A4 00 00 00 > 62 0A 82 01 38 83 02 3F 00 8A 01 05 90 00
  00 A4 00 04 02 3F 00 00 > 62 0A 82 01 38 83 02 3F 00 8A 01 05 90 00
SelectTellsTheKindOfFile
  00 A4 08 04 02 2F 00 00 > 62 11 80 02 00 05 82 01 01 83 02 2F 00 88 01 F0 8A 01 05 90 00
  00 A4 08 04 04 50 15 44 01 00 > 62 11 82 05 05 21 00 08 03 83 02 44 01 88 01 28 8A 01 05 90 00
  00 A4 08 04 04 50 15 44 02 00 > 62 10 82 05 04 21 00 EA 02 83 02 44 02 88 00 8A 01 05 90 00
  00 A4 08 04 02 50 16 00 > 62 15 82 01 38 83 02 50 16 84 09 A0 00 00 00 63 50 4B 43 53 8A 01 05 90 00
ParametersWithoutLeWaitForGetResponse
  00 A4 08 04 02 2F 00 > 61 13 | 00 C0 00 00 20 > 6C 13 | 00 C0 00 00 02 > 62 11 61 11
  00 C0 00 00 11 > 80 02 00 05 82 01 01 83 02 2F 00 88 01 F0 8A 01 05 90 00 | 00 C0 00 00 00 > 69 85
AnotherCommandDropsWhatWaits
  00 A4 08 04 02 2F 00 > 61 13 | 00 B0 00 00 01 > 00 90 00 | 00 C0 00 00 00 > 69 85
SelectByIdentifierLooksAround
  00 A4 00 0C 02 50 15 > 90 00  # child
  00 A4 00 0C 02 50 31 > 90 00  # child that is an EF
  00 A4 00 0C 02 44 01 > 90 00  # its sibling: the DF has stayed
  00 A4 00 0C 02 50 15 > 90 00  # the DF itself
  00 A4 00 0C 02 50 16 > 90 00  # a DF beside it
  00 A4 00 0C 02 2F 00 > 6A 82  # an EF beside it is out of reach
  00 A4 00 0C 02 3F 00 > 90 00 | 00 A4 00 0C 02 5F 00 > 6A 82  # a grandchild too
SelectOfChildrenAndParent
  00 A4 01 0C 02 2F 00 > 6A 82 | 00 A4 02 0C 02 50 15 > 6A 82 | 00 A4 01 0C 02 50 15 > 90 00
  00 A4 02 0C 02 50 31 > 90 00 | 00 A4 03 0C > 90 00 | 00 A4 02 0C 02 2F 00 > 90 00 | 00 A4 03 0C > 6A 82
SelectByNameTakesBeginnings
  00 A4 04 0C 05 A0 00 00 00 63 > 90 00 | 00 A4 02 0C 02 50 31 > 90 00
  # The whole name of the second application is also the beginning of the first one's.
  00 A4 04 0C 09 A0 00 00 00 63 50 4B 43 53 > 90 00 | 00 A4 02 0C 02 50 31 > 6A 82
  00 A4 04 0C 05 A0 00 00 00 64 > 6A 82
SelectByPath
  00 A4 08 0C 04 50 15 50 31 > 90 00 | 00 A4 09 0C 02 44 01 > 90 00 | 00 A4 09 0C 04 44 01 44 01 > 6A 82
  00 A4 09 0C 02 5F 00 > 90 00 | 00 A4 09 0C 02 44 01 > 6A 82
FailedSelectionChangesNothing
  00 A4 08 0C 02 2F 00 > 90 00 | 00 A4 08 0C 02 2F FF > 6A 82 | 00 B0 00 04 01 > 44 90 00
SelectRefusesWrongParameters
  00 A4 05 0C 02 2F 00 > 6A 86 | 00 A4 00 02 02 2F 00 > 6A 86 | 00 A4 00 0C 01 2F > 6A 87
  00 A4 08 0C 03 50 15 50 > 6A 87 | 00 A4 03 0C 02 3F 00 > 6A 87
DeactivatedFileIsSelectedWithAWarning
  00 A4 00 0C 02 2F 02 > 62 83 | 00 B0 00 00 00 > 69 85)");
}

TEST(CardSession, Binary) {
    runSessions(cardText, R"(ReadBinary
  00 B0 00 00 00 > 69 86 | 00 A4 00 0C 02 2F 00 > 90 00 | 00 B0 00 00 00 > 00 11 22 33 44 62 82
  00 B0 00 00 05 > 00 11 22 33 44 90 00 | 00 B0 00 02 02 > 22 33 90 00 | 00 B0 00 04 02 > 44 62 82
  00 B0 00 05 01 > 6B 00 | 00 B0 7F FF 01 > 6B 00 | 00 B0 00 00 > 67 00
ReadBinaryByShortIdentifierMakesTheFileCurrent
  00 B0 9E 03 01 > 33 90 00 | 00 B0 00 04 01 > 44 90 00 | 00 B0 91 00 01 > 6A 82 | 00 B0 FE 00 01 > 6A 86
ReadBinaryOddForm
  00 A4 00 0C 02 2F 00 > 90 00 | 00 B1 00 00 03 54 01 03 00 > 53 02 33 44 62 82
  00 B1 00 00 05 54 03 00 00 00 07 > 53 05 00 11 22 33 44 90 00 | 00 B1 00 00 03 54 01 05 00 > 6B 00
  00 B1 00 00 03 54 02 05 00 > 6A 80 | 00 B1 00 00 02 54 00 00 > 6A 80 | 00 B1 00 00 03 53 01 05 00 > 6A 80
  00 B1 00 01 03 54 01 05 00 > 6A 86
UpdateBinary
  00 A4 00 0C 02 2F 00 > 90 00 | 00 D6 00 03 02 AA BB > 90 00 | 00 B0 00 00 05 > 00 11 22 AA BB 90 00
  00 D6 00 03 03 01 02 03 > 6A 84 | 00 D6 00 05 01 01 > 6A 84 | 00 D6 00 06 01 01 > 6B 00 | 00 D6 00 00 > 67 00
  00 D6 9E 00 01 EE > 90 00 | 00 D7 00 00 07 54 02 00 01 53 01 FF > 90 00
  00 D7 00 00 06 54 01 01 53 02 FF > 6A 80 | 00 B0 00 00 05 > EE FF 22 AA BB 90 00
BinaryCommandsWantATransparentFile
  00 A4 08 0C 04 50 15 44 01 > 90 00 | 00 B0 00 00 00 > 69 81 | 00 D6 00 00 01 00 > 69 81
ReadingMayBeForbidden
  00 A4 00 0C 02 2F 01 > 90 00 | 00 B0 00 00 00 > 69 82)");
}

TEST(CardSession, Others) {
    runSessions(cardText, R"(GetData
  00 CA 01 00 00 > 80 02 15 01 81 02 01 02 82 01 29 90 00 | 00 CA 00 84 00 > 90 00 | 00 CA 00 85 00 > 6A 88
  00 CA 01 00 > 67 00
CommandsThatMakeNoSense
   > 67 00 | 00 A4 00 > 67 00 | 00 A4 00 0C 03 3F 00 > 67 00 | 00 A4 00 0C 02 3F 00 00 00 > 67 00
  00 B0 00 00 00 00 > 67 00 | 00 B0 00 00 00 01 00 > 67 00  # extended length, which this card does not take
  00 11 00 00 > 6D 00 | 80 A4 00 00 > 6E 00 | FF A4 00 00 > 6E 00 | 10 A4 00 00 > 68 84 | 0C A4 00 00 > 68 82
  01 A4 00 00 > 68 81)");
}

TEST(CardSession, Records) {
    runSessions(cardText, records);
}

// Each beginning of good commands, in a block of just its size, so that a read
// past its end is seen.
TEST(VirtualCard, AnswersTruncatedCommands) {
    VirtualCard card(virtualcard::parseImage(cardText, "test"));
    for (const Session &session : parseSessions(records)) {
        for (const Exchange &exchange : session.exchanges) {
            const Bytes command = fromHex(exchange.command);
            for (auto end = command.begin(); end != command.end(); ++end)
                EXPECT_GE(card.transmit(Bytes(command.begin(), end)).size(), 2u);
        }
    }
}

TEST(VirtualCard, ResetForgetsSelectionAndProof) {
    VirtualCard card(virtualcard::parseImage(cardText, "test"));
    card.transmit(fromHex("00 20 00 01 04 31 32 33 34"));
    card.transmit(fromHex("00 A4 00 0C 02 50 15"));
    card.transmit(fromHex("00 A4 08 04 02 2F 00"));
    card.reset();
    EXPECT_EQ(toHex(card.transmit(fromHex("00 C0 00 00 00"))), "69 85");
    EXPECT_EQ(toHex(card.transmit(fromHex("00 20 00 01"))), "63 C3");
    EXPECT_EQ(toHex(card.transmit(fromHex("00 A4 02 0C 02 50 31"))), "6A 82");
}

TEST(VirtualCard, ChallengesDiffer) {
    VirtualCard card((virtualcard::CardImage()));
    const Bytes one = card.transmit(fromHex("00 84 00 00 10"));
    EXPECT_EQ(one.size(), 18u);
    EXPECT_NE(one, card.transmit(fromHex("00 84 00 00 10")));
}

struct ExtendedCard : testing::Test {
    static virtualcard::CardImage image() {
        virtualcard::CardImage image = virtualcard::parseImage(cardText, "test");
        image.extendedLength = true;
        virtualcard::File big;
        big.fid = 0x2F05;
        big.kind = virtualcard::FileKind::transparent;
        big.data.resize(65535, 0x5A);
        big.data.back() = 0xA5;
        image.root.files.push_back(big);
        virtualcard::File longRecords;
        longRecords.fid = 0x2F06;
        longRecords.kind = virtualcard::FileKind::linearVariable;
        longRecords.maxRecord = 400;
        longRecords.records.push_back(Bytes(300, 0x77));
        image.root.files.push_back(longRecords);
        return image;
    }
    VirtualCard card{image()};
};

TEST_F(ExtendedCard, ReadsAndWritesLongPieces) {
    EXPECT_EQ(toHex(card.transmit(fromHex("00 A4 00 0C 00 00 02 2F 05"))), "90 00");
    Bytes answer = card.transmit(fromHex("00 B0 00 00 00 00 00"));
    ASSERT_EQ(answer.size(), 65537u);
    EXPECT_EQ(toHex({answer.end() - 3, answer.end()}), "A5 62 82");
    Bytes update = fromHex("00 D6 00 00 00 02 00");
    update.resize(update.size() + 512, 0x11);
    EXPECT_EQ(toHex(card.transmit(update)), "90 00");
    EXPECT_EQ(toHex(card.transmit(fromHex("00 B0 01 FF 02"))), "11 5A 90 00");
}

TEST_F(ExtendedCard, OddFormReachesTheEndOfALongFile) {
    card.transmit(fromHex("00 A4 00 0C 02 2F 05"));
    EXPECT_EQ(toHex(card.transmit(fromHex("00 B1 00 00 04 54 02 FF FE 00"))), "53 01 A5 62 82");
    // The object's header counts in the wanted length.
    Bytes answer = card.transmit(fromHex("00 B1 00 00 04 54 02 80 00 00"));
    ASSERT_EQ(answer.size(), 258u);
    EXPECT_EQ(toHex({answer.begin(), answer.begin() + 4}), "53 81 FD 5A");
    answer = card.transmit(fromHex("00 B1 00 00 00 00 04 54 02 80 00 02 00"));
    ASSERT_EQ(answer.size(), 514u);
    EXPECT_EQ(toHex({answer.begin(), answer.begin() + 5}), "53 82 01 FC 5A");
}

TEST_F(ExtendedCard, LongRecordArrivesInPieces) {
    card.transmit(fromHex("00 A4 00 0C 02 2F 06"));
    Bytes answer = card.transmit(fromHex("00 B2 01 04 00"));
    ASSERT_EQ(answer.size(), 258u);
    EXPECT_EQ(toHex({answer.end() - 2, answer.end()}), "61 2C");
    EXPECT_EQ(card.transmit(fromHex("00 C0 00 00 2C")).size(), 46u);
    EXPECT_EQ(card.transmit(fromHex("00 B2 01 04 00 00 00")).size(), 302u);
}

TEST(VirtualCard, DefaultAtrTellsExtendedLength) {
    EXPECT_EQ(toHex(virtualcard::defaultAtr(true)), "3B 85 80 01 80 73 F7 21 40 61");
    EXPECT_EQ(toHex(virtualcard::defaultAtr(false)), "3B 85 80 01 80 73 F7 21 00 21");
}

}  // namespace
