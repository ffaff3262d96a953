// From a blank card to a token: phases, creation of files, PINs and keys, erasing; and who may use an image meanwhile.
#include <gtest/gtest.h>

#include "session.h"
#include "support/temp_directory.h"
#include "virtualcard/card.h"
#include "virtualcard/image_hold.h"
#include "virtualcard/templates.h"

namespace {

using virtualcard::AccessCondition;
using virtualcard::CardImage;
using virtualcard::File;
using virtualcard::Operation;
using virtualcard::Secret;
using virtualcard::SecretKind;
using virtualcard::VirtualCard;

CardImage blank(uint8_t phase) {
    CardImage image;
    image.lifeCycle = phase;
    return image;
}

const char *const createEf = "00 E0 00 00 0D 62 0B 82 01 01 83 02 2F 00 80 02 00 04";

struct CreateSession : testing::TestWithParam<Session> {};

TEST_P(CreateSession, AnswersAsTheTableSays) {
    VirtualCard card(blank(virtualcard::phase::initialised));
    GetParam().run(card);
    const std::string text = virtualcard::formatImage(card.image());
    EXPECT_EQ(virtualcard::formatImage(virtualcard::parseImage(text, "left")), text);
}

const Session sessions[] = {
    {"FilledBeforeItsConditionsCount",
     {{"00 E0 00 00 14 62 12 82 01 01 83 02 2F 00 80 02 00 04 88 01 08 86 02 02 01", "90 00"},
      {"00 D6 00 02 02 AA BB", "90 00"},
      {"00 44 00 00", "90 00"},
      {"00 44 00 00", "90 00"},
      {"00 D6 00 00 01 11", "69 82"},
      {"00 B0 81 00 00", "00 00 AA BB 62 82"}}},
    {"TreeOfFiles",
     {{"00 E0 00 00 0F 62 0D 82 01 38 83 02 50 15 84 04 A0 00 00 63", "90 00"},
      {"00 E0 00 00 0D 62 0B 82 05 05 21 00 20 02 83 02 44 01", "90 00"},
      {"00 E2 00 00 03 01 01 AA", "90 00"},
      {"00 E2 00 00 02 02 00", "90 00"},
      {"00 E2 00 00 02 03 00", "6A 84"},
      {"00 44 00 00", "90 00"},
      {"00 A4 04 0C 04 A0 00 00 63", "90 00"},
      {"00 44 00 00", "90 00"},
      {"00 A4 08 04 04 50 15 44 01 00", "62 10 82 05 05 21 00 20 02 83 02 44 01 88 00 8A 01 05 90 00"}}},
    {"WhatCannotBeCreated",
     {{createEf, "90 00"},
      {createEf, "6A 89"},
      {"00 E0 00 00 09 62 07 82 01 38 83 02 3F 00", "6A 80"},
      {"00 E0 00 00 09 62 07 82 01 38 83 02 FF FF", "6A 80"},
      {"00 E0 00 00 09 62 07 83 02 44 00 82 01 38", "6A 80"},  // the kind comes first
      {"00 E0 00 00 09 62 07 82 01 02 83 02 44 00", "6A 80"},
      {"00 E0 00 00 09 62 08 82 01 38 83 02 44 00", "6A 80"},
      {"00 E0 00 00 0B 62 09 82 01 38 83 02 44 00 84 00", "6A 80"},
      {"00 E0 00 00 0C 62 0A 82 01 01 83 02 44 00 88 01 F8", "6A 80"},
      {"00 E0 00 00 0D 62 0B 82 01 01 83 02 44 00 86 02 06 00", "6A 80"},  // no operation of an EF
      {"00 E0 00 00 0D 62 0B 82 01 01 83 02 44 00 86 02 01 02", "6A 80"},  // which PIN?
      {"00 E0 00 00 0D 62 0B 82 05 05 21 00 00 02 83 02 44 01", "6A 80"},
      {"00 E0 00 00", "6A 80"},
      {"00 E0 01 00", "6A 86"},
      {"00 44 00 01", "6A 86"}}},
    {"PinsAndKeys",
     {{"80 E0 00 73 0C 80 04 31 32 33 34 81 01 02 83 01 74", "6A 88"},
      {"80 E0 00 73 0A 80 04 31 32 33 34 82 02 04 06", "90 00"},
      {"80 E0 00 73", "6A 89"},
      {"80 E0 00 02 06 83 01 73 81 01 05", "90 00"},
      {"80 E0 01 08 1A 80 10 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 84 01 00 86 03 06 02 73", "90 00"},
      {"80 E0 01 09 06 80 01 00 84 01 00", "6A 80"},  // no AES key of one octet
      {"80 E0 01 09", "6A 80"},
      {"80 E0 00 09 04 82 02 05 04", "6A 80"},
      {"80 E0 00 09 03 81 01 10", "6A 80"},
      {"80 E0 02 09", "6A 86"},
      {"80 D8 00 08 10 0F 0E 0D 0C 0B 0A 09 08 07 06 05 04 03 02 01 00", "69 82"},
      {"00 20 00 73 04 31 32 33 34", "90 00"},
      {"80 D8 00 08 10 0F 0E 0D 0C 0B 0A 09 08 07 06 05 04 03 02 01 00", "90 00"}}},
    {"RootsConditionsComeWithThePhase",
     {{"80 E0 00 01 03 80 01 31", "90 00"},
      {"80 10 00 29 05 86 03 04 02 01", "90 00"},
      {createEf, "69 82"},
      {"80 E0 00 02", "69 82"},
      {"80 10 00 34", "69 82"},
      {"00 20 00 01 01 31", "90 00"},
      {createEf, "90 00"},
      {"80 10 00 34", "90 00"},
      {"80 10 00 29", "69 85"},
      {"80 E4 00 00", "69 85"}}},
    {"ErasedAndOpenAgain",
     {{"80 E0 00 01 03 80 01 31", "90 00"},
      {createEf, "90 00"},
      {"80 10 00 29 04 86 02 04 01", "90 00"},
      {"00 20 00 01 01 31", "90 00"},
      {"80 E4 00 00", "90 00"},
      {"00 20 00 01", "6A 88"},
      {"00 A4 00 0C 02 2F 00", "6A 82"},
      {"00 B0 00 00 00", "69 86"},
      {"00 CA 01 00 00", "80 02 15 01 81 08 01 02 03 04 05 06 07 08 82 01 20 90 00"},
      {createEf, "90 00"}}},
};

INSTANTIATE_TEST_SUITE_P(All, CreateSession, testing::ValuesIn(sessions), sessionName);

struct PhaseCase {
    uint8_t phase;
    const char *erase, *create, *toInitialised, *toPersonalised, *toOperational;
};

TEST(Phases, WhatEachAllows) {
    const PhaseCase cases[] = {
        {16, "69 85", "69 85", "90 00", "69 85", "69 85"}, {32, "90 00", "90 00", "69 85", "90 00", "90 00"},
        {41, "90 00", "90 00", "69 85", "69 85", "90 00"}, {52, "69 85", "90 00", "69 85", "69 85", "69 85"},
        {48, "69 85", "90 00", "69 85", "69 85", "69 85"},
    };
    for (const PhaseCase &one : cases) {
        const std::pair<const char *, const char *> commands[] = {{"80 E4 00 00", one.erase},
                                                                  {createEf, one.create},
                                                                  {"80 10 00 20", one.toInitialised},
                                                                  {"80 10 00 29", one.toPersonalised},
                                                                  {"80 10 00 34", one.toOperational}};
        for (const auto &[command, answer] : commands) {
            VirtualCard card(blank(one.phase));
            EXPECT_EQ(toHex(card.transmit(fromHex(command))), answer) << int{one.phase} << ": " << command;
        }
    }
}

TEST(Depth, DirectoriesEndWhereTheImagesDo) {
    VirtualCard card(blank(virtualcard::phase::initialised));
    for (size_t depth = 2; depth <= virtualcard::limits::depth; depth++)
        ASSERT_EQ(toHex(card.transmit(fromHex("00 E0 00 00 09 62 07 82 01 38 83 02 50 0" + std::to_string(depth)))),
                  "90 00");
    EXPECT_EQ(toHex(card.transmit(fromHex("00 E0 00 00 09 62 07 82 01 38 83 02 50 09"))), "6A 84");
}

// Whatever the image format can say of a file or a secret, the commands can.
TEST(Templates, CarryWhatAnImageCanSay) {
    const CardImage image =
        virtualcard::parseImage(R"({"format":"zelmo virtual card 1","root":{"fid":"3F00","kind":"df",
      "files":[{"fid":"2F00","kind":"transparent","size":300,"sfi":30,
                "access":{"read":{"and":[{"pin":1},{"or":["always",{"key":2},"never"]},{"and":[]}]},"append":"never"}},
               {"fid":"4401","kind":"tlv-records","maxRecord":400,"maxRecords":254},
               {"fid":"4402","kind":"linear-variable","maxRecord":1,"maxRecords":1},
               {"fid":"5015","kind":"df","name":"A0","access":{"create":{"key":8},"delete":"never"}}]},
      "pins":[{"reference":1},{"reference":2,"value":"3132","maxTries":0,"minLength":2,"maxLength":9,"unblockedBy":1,
               "access":{"change":"always","unblock":{"pin":1}}}],
      "keys":[{"reference":8,"value":"000102030405060708090A0B0C0D0E0F","algorithm":"3des",
               "access":{"change":{"pin":115}}}]})",
                                "test");
    CardImage copy = blank(virtualcard::phase::operational);
    for (const File &file : image.root.files) {
        copy.root.files.emplace_back();
        EXPECT_EQ(virtualcard::decodeFile(virtualcard::encodeFile(file), copy.root.files.back()), 0x9000);
    }
    const auto copied = [](const Secret &secret, SecretKind kind) {
        Secret other;
        other.reference = secret.reference;
        EXPECT_EQ(virtualcard::decodeSecret(virtualcard::encodeSecret(secret), kind, other), 0x9000);
        return other;
    };
    for (const Secret &pin : image.pins)
        copy.pins.push_back(copied(pin, SecretKind::pin));
    for (const Secret &key : image.keys)
        copy.keys.push_back(copied(key, SecretKind::key));
    EXPECT_EQ(virtualcard::formatImage(copy), virtualcard::formatImage(image));
}

TEST(Templates, ConditionsNestAsDeepAsInImages) {
    for (const bool deeper : {false, true}) {
        std::vector<uint8_t> rules = {0x86, 0x00, 0x04};
        for (size_t depth = 1; depth < virtualcard::limits::conditionDepth + (deeper ? 1 : 0); depth++)
            rules.insert(rules.end(), {0x04, 0x01});
        rules.push_back(0x00);
        rules[1] = static_cast<uint8_t>(rules.size() - 2);
        virtualcard::AccessRules access;
        EXPECT_EQ(virtualcard::decodeRootRules(rules, access), deeper ? 0x6A80 : 0x9000);
    }
}

struct SharedImage : testing::Test {
    void SetUp() override {
        virtualcard::writeImage(file, blank(virtualcard::phase::initialised));
    }
    TempDirectory directory;
    const std::string file = directory.file("shared.card");
};

TEST_F(SharedImage, HoldMovesOnWithTheFile) {
    const auto mine = VirtualCard::load(file);
    const auto other = VirtualCard::load(file);
    mine->hold();
    EXPECT_TRUE(other->heldByAnother());
    EXPECT_FALSE(mine->heldByAnother());
    EXPECT_THROW(other->hold(), virtualcard::ImageBusy);
    EXPECT_EQ(toHex(mine->transmit(fromHex(createEf))), "90 00");
    EXPECT_TRUE(other->heldByAnother()) << "the file is another one now";
    EXPECT_EQ(toHex(other->transmit(fromHex(createEf))), "65 81");
    mine->letGo();
    EXPECT_FALSE(other->heldByAnother());
    other->hold();
}

TEST_F(SharedImage, ResetReadsWhatOthersHaveWritten) {
    const auto mine = VirtualCard::load(file);
    const auto other = VirtualCard::load(file);
    ASSERT_EQ(toHex(mine->transmit(fromHex(createEf))), "90 00");
    EXPECT_EQ(toHex(other->transmit(fromHex("00 A4 00 0C 02 2F 00"))), "6A 82");
    other->reset();
    EXPECT_EQ(toHex(other->transmit(fromHex("00 A4 00 0C 02 2F 00"))), "90 00");
    EXPECT_EQ(toHex(other->transmit(fromHex("00 D6 00 00 01 AA"))), "90 00");
    ASSERT_EQ(std::remove(file.c_str()), 0);
    EXPECT_THROW(other->reset(), virtualcard::ImageError);
}

}  // namespace
