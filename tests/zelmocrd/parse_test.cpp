// What a card says of itself and its files: file control parameters, ATR.
#include <gtest/gtest.h>

#include "virtualcard/hex.h"
#include "virtualcard/image.h"
#include "zelmocrd/atr.h"
#include "zelmocrd/fcp.h"

namespace {

TEST(FileControl, ReadsWhatIsThereAndNothingElse) {
    struct {
        const char *octets;
        FileInfo info;  // type, size, id, record size, records, life cycle
    } const cases[] = {
        {"", {}},
        {"62 00", {}},
        {"62 0F 80 02 01 00 82 01 01 83 02 50 31 8A 01 05 00 00", {1, 256, 0x5031, 0, 0, 5}},
        {"62 07 82 05 04 21 00 EA 03", {4, 0, 0, 234, 3, 0}},
        {"62 08 82 06 05 21 00 EA 00 FE", {5, 0, 0, 234, 254, 0}},
        {"62 06 82 04 02 21 00 10", {2, 0, 0, 16, 0, 0}},
        {"62 05 82 03 03 21 10", {3, 0, 0, 16, 0, 0}},
        {"62 04 82 02 05 21", {5, 0, 0, 0, 0, 0}},
        {"62 07 82 01 38 80 02 00 01", {0, 1, 0, 0, 0, 0}},
        {"62 03 82 01 41", {1, 0, 0, 0, 0, 0}},  // shareable
        {"62 03 82 01 09", {1, 0, 0, 0, 0, 0}},  // internal
        {"62 03 82 01 06", {}},                  // cyclic
        {"62 03 82 01 11", {}},                  // proprietary category
        {"62 03 82 01 81", {}},
        {"62 02 82 00", {}},
        {"6F 05 62 03 82 01 01", {1, 0, 0, 0, 0, 0}},
        {"6F 03 82 01 01", {1, 0, 0, 0, 0, 0}},
        {"00 FF 62 06 00 82 01 01 FF 00", {1, 0, 0, 0, 0, 0}},  // padding between objects
        {"62 81 03 82 01 01", {1, 0, 0, 0, 0, 0}},
        // Objects of no interest are passed over, tags of two octets too.
        {"62 09 9F 1F 01 AA 85 00 82 01 01", {1, 0, 0, 0, 0, 0}},
        // Lengths that lie end the reading; what stood before counts.
        {"62 7F 82 01 01", {}},
        {"62 03 82 02 01", {}},
        {"62 05 82 01 01 83 02", {1, 0, 0, 0, 0, 0}},
        {"62 06 82 01 01 83 84 FF", {1, 0, 0, 0, 0, 0}},
        {"62 84 FF FF FF FF 82 01 01", {}},
        {"62 80 82 01 01 00 00", {}},
        {"62 85 00 00 00 00 03 82 01 01", {}},
        {"62 05 80 05 01 00 00", {}},
        {"62 0A 80 05 01 00 00 00 00 82 01 01", {1, 0, 0, 0, 0, 0}},  // a size beyond 32 bits is no size
        {"1F", {}},
        {"62", {}},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.octets);
        const FileInfo info = zelmocrd::parseFileControl(fromHex(one.octets));
        EXPECT_EQ(info.fileType, one.info.fileType);
        EXPECT_EQ(info.fileSize, one.info.fileSize);
        EXPECT_EQ(info.fileId, one.info.fileId);
        EXPECT_EQ(info.recordSize, one.info.recordSize);
        EXPECT_EQ(info.records, one.info.records);
        EXPECT_EQ(info.lifeCycle, one.info.lifeCycle);
    }
}

// Every truncation and every single wrong octet, for the sanitizers' eyes.
TEST(FileControl, SurvivesDamage) {
    const std::vector<uint8_t> good =
        fromHex("6F 19 62 17 80 02 01 00 82 05 05 21 00 EA 03 83 02 50 31 84 02 A0 00 8A 01 05 85 00");
    for (size_t length = 0; length <= good.size(); length++) {
        std::vector<uint8_t> octets(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_LE(zelmocrd::parseFileControl(octets).fileType, 5u);
        for (size_t at = 0; at < length; at++) {
            for (const uint8_t value : std::initializer_list<uint8_t>{0x00, 0x1F, 0x7F, 0x80, 0x82, 0x84, 0xFF}) {
                std::vector<uint8_t> damaged = octets;
                damaged[at] = value;
                EXPECT_LE(zelmocrd::parseFileControl(damaged).fileType, 5u);
            }
        }
    }
}

TEST(Atr, TellsAbilities) {
    struct {
        const char *atr;
        bool extended;
        bool chaining;
    } const cases[] = {
        {"3B 85 80 01 80 73 F7 21 40 61", true, false},
        {"3B 85 80 01 80 73 F7 21 C0 E1", true, true},
        {"3B 05 80 73 F7 21 80", false, true},
        {"3B 08 00 73 F7 21 40 05 90 00", true, false},   // the status behind the objects is none of them
        {"3B 08 00 31 80 73 F7 73 F7 21", false, false},  // a capability object cut by the status
        {"3B 07 80 31 80 73 F7 21 40", true, false},      // behind another object
        {"3B F5 11 22 33 81 44 01 80 73 F7 21 40", true, false},
        {"3B 04 80 72 F7 21", false, false},     // capabilities of two octets
        {"3B 05 80 7F F7 21 40", false, false},  // lying length
        {"3B 05 10 73 F7 21 40", false, false},  // other category
        {"3B 05 80 73 F7 21", false, false},     // cut off
        {"3B FF", false, false},
        {"3B 8F 80 80 80", false, false},
        {"3B", false, false},
        {"", false, false},
        {"3B 80 80 01 01", false, false},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.atr);
        const zelmocrd::CardAbilities abilities = zelmocrd::abilitiesFromAtr(fromHex(one.atr));
        EXPECT_EQ(abilities.extendedLength, one.extended);
        EXPECT_EQ(abilities.chaining, one.chaining);
    }
    EXPECT_TRUE(zelmocrd::abilitiesFromAtr(virtualcard::defaultAtr(true)).extendedLength);
    EXPECT_FALSE(zelmocrd::abilitiesFromAtr(virtualcard::defaultAtr(false)).extendedLength);
}

}  // namespace
