// PINs in the forms in which cards store them: the published encodings, the bounds, the refusals.
#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <optional>

#include "virtualcard/hex.h"
#include "zelmocrd/zelmocrd.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t invalidParameter = 0x80100004;
constexpr uint32_t insufficientBuffer = 0x80100008;
constexpr int unbounded = -1;
constexpr int unpadded = -1;

enum Type : uint32_t { bcd = 0, ascii = 1, folded = 2, halfNibble = 3, iso = 4, utf8 = 82 };

struct Formatted {
    uint32_t result = 0;
    uint32_t length = 0;
    Bytes buffer;
};

struct Case {
    std::string name;
    std::string pin;
    uint32_t type;
    std::string expected;  ///< In hexadecimal; empty for a refusal.
    uint32_t stored = 0;
    int pad = unpadded;
    uint32_t least = 0;
    int64_t most = unbounded;
};

// In buffers of just their size, so that a step outside is seen.
Formatted format(const Case &one, uint32_t capacity) {
    const Bytes pin(one.pin.begin(), one.pin.end());
    const auto most = static_cast<uint32_t>(one.most);
    const auto pad = static_cast<uint8_t>(one.pad);
    const ScardPinFormat form = {one.type, one.least, one.stored, one.most == unbounded ? nullptr : &most,
                                 one.pad == unpadded ? nullptr : &pad};
    Formatted formatted = {0, capacity, Bytes(capacity, 0xEE)};
    formatted.result = scard_FormatPin(pin.data(), static_cast<uint32_t>(pin.size()), &form, formatted.buffer.data(),
                                       &formatted.length);
    return formatted;
}

void expectEncodedOrRefused(const Case &one) {
    SCOPED_TRACE(one.name);
    const Formatted roomy = format(one, 64);
    if (one.expected.empty()) {
        EXPECT_EQ(roomy.result, invalidParameter);
        EXPECT_EQ(roomy.length, 0u);
        EXPECT_EQ(roomy.buffer, Bytes(64, 0xEE));
        return;
    }
    const Bytes expected = fromHex(one.expected);
    ASSERT_EQ(roomy.result, 0u);
    EXPECT_EQ(toHex({roomy.buffer.begin(), roomy.buffer.begin() + roomy.length}), toHex(expected));
    EXPECT_EQ(Bytes(roomy.buffer.begin() + roomy.length, roomy.buffer.end()), Bytes(64 - roomy.length, 0xEE));
    const auto size = static_cast<uint32_t>(expected.size());
    EXPECT_EQ(format(one, size).buffer, expected) << "capacity just enough";
    const Formatted small = format(one, size - 1);
    EXPECT_EQ(small.result, insufficientBuffer);
    EXPECT_EQ(small.length, size);
    EXPECT_EQ(small.buffer, Bytes(size - 1, 0xEE));
}

const Case cases[] = {
    {"BcdEven", "1234", bcd, "12 34"},
    {"BcdOdd", "12345", bcd, "12 34 5F"},
    {"BcdOddTakesThePadsLowNibble", "12345", bcd, "12 34 5A CA", 4, 0xCA},
    {"BcdOddPaddedWithZeros", "123", bcd, "12 30 00 00", 4, 0x00},
    {"BcdPaddedWithF", "1234", bcd, "12 34 FF FF FF FF FF FF", 8, 0xFF},
    {"BcdFillsWhatIsStored", "12345678", bcd, "12 34 56 78", 4, 0xFF},
    {"BcdBeyondWhatIsStored", "123456789", bcd, "", 4, 0xFF},
    {"BcdNoDigit", "12a4", bcd, ""},
    {"Ascii", "0123456789", ascii, "30 31 32 33 34 35 36 37 38 39"},
    {"AsciiPadded", "1234", ascii, "31 32 33 34 00 00 00 00", 8, 0x00},
    {"AsciiUnpaddedStaysShort", "1234", ascii, "31 32 33 34", 8},
    {"AsciiPadWithoutStoredLength", "1234", ascii, "31 32 33 34", 0, 0xFF},
    {"AsciiBeyondWhatIsStored", "12345", ascii, "", 4},
    {"AsciiLetter", "123A", ascii, ""},
    {"AsciiSlashIsBelowTheDigits", "123/", ascii, ""},
    {"AsciiColonIsAboveTheDigits", "123:", ascii, ""},
    {"AsciiSuperscriptDigit", "12\xC2\xB2", ascii, ""},
    {"AsciiNul", std::string("12\0", 3), ascii, ""},
    {"HalfNibble", "1290", halfNibble, "F1 F2 F9 F0"},
    {"HalfNibblePadded", "12", halfNibble, "F1 F2 FF FF", 4, 0xFF},
    {"HalfNibbleBlank", "1 2", halfNibble, ""},

    // The plaintext PIN block of EMV 4.3 Book 3, 6.5.12, which is that of ISO 9564-1 format 2.
    {"IsoFourDigits", "1234", iso, "24 12 34 FF FF FF FF FF"},
    {"IsoOddDigits", "12345", iso, "25 12 34 5F FF FF FF FF"},
    {"IsoTwelveDigits", "123456789012", iso, "2C 12 34 56 78 90 12 FF"},
    {"IsoFillIsNoPad", "12345", iso, "25 12 34 5F FF FF FF FF", 8, 0x00},
    {"IsoPaddedBehindTheBlock", "1234", iso, "24 12 34 FF FF FF FF FF 00 00", 10, 0x00},
    {"IsoBlockBeyondWhatIsStored", "1234", iso, "", 7},
    {"IsoThreeDigits", "123", iso, ""},
    {"IsoThirteenDigits", "1234567890123", iso, ""},
    {"IsoLetter", "12x4", iso, ""},

    // Upper case as str.upper() of Python 3.11 (Unicode 14) has it.
    {"Utf8AsItStands", "Gr\xC3\xBC\xC3\x9F", utf8, "47 72 C3 BC C3 9F"},
    {"FoldedAscii", "aBz09-", folded, "41 42 5A 30 39 2D"},
    {"FoldedUmlautAndSharpS", "Gr\xC3\xBC\xC3\x9F", folded, "47 52 C3 9C 53 53"},
    {"FoldedNeedsNoLocale", "i\xC4\xB1", folded, "49 49"},
    {"FoldedBothSigmas", "\xCF\x83\xCF\x82", folded, "CE A3 CE A3"},
    {"FoldedShrinks", "\xE2\xB1\xA5", folded, "C8 BA"},
    {"FoldedGrowsThreefold", "\xCE\x90", folded, "CE 99 CC 88 CC 81"},
    {"FoldedLigature", "\xEF\xAC\x83", folded, "46 46 49"},
    {"FoldedBeyondTheBasicPlane", "\xF0\x90\x90\xA8", folded, "F0 90 90 80"},
    {"FoldedPadded", "ab", folded, "41 42 20 20", 4, 0x20},
    {"FoldedBeyondWhatIsStored", "\xC3\x9F\xC3\x9F", folded, "53 53 53 53", 4},
    {"FoldedGrowsBeyondWhatIsStored",
     "\xC3\x9F"
     "a\xCE\x90",
     folded, "", 8},
    {"Utf8CountsCodePoints", "\xF0\x9F\x94\x92\xC3\xBC", utf8, "F0 9F 94 92 C3 BC", 0, unpadded, 2, 2},
    {"FoldedCountsBeforeFolding", "\xC3\x9F", folded, "53 53", 0, unpadded, 1, 1},
    {"Utf8HoldsNul", std::string("a\0", 2), utf8, "61 00"},
    {"Utf8CutShort", "a\xC3", utf8, ""},
    {"FoldedCutShort", "a\xC3", folded, ""},
    {"Utf8Overlong", "\xC0\xB1", utf8, ""},
    {"Utf8Surrogate", "\xED\xA0\x80", utf8, ""},
    {"Utf8BeyondUnicode", "\xF4\x90\x80\x80", utf8, ""},
    {"Utf8StrayContinuation", "\x80", utf8, ""},

    {"JustTheLeast", "1234", ascii, "31 32 33 34", 0, unpadded, 4, 8},
    {"OneBelowTheLeast", "123", ascii, "", 0, unpadded, 4, 8},
    {"JustTheMost", "12345678", ascii, "31 32 33 34 35 36 37 38", 0, unpadded, 4, 8},
    {"OneAboveTheMost", "123456789", ascii, "", 0, unpadded, 4, 8},
    {"BcdCountsDigits", "1234", bcd, "12 34", 0, unpadded, 4, 4},
    {"IsoCountsDigits", "12345", iso, "", 0, unpadded, 4, 4},
    {"Utf8AboveTheMost", "\xC3\xBC\xC3\xBC\xC3\xBC", utf8, "", 0, unpadded, 0, 2},
    {"MostOfNothing", "1", ascii, "", 0, unpadded, 0, 0},
    {"EmptyDigits", "", ascii, "", 8, 0x00},
    {"EmptyText", "", utf8, ""},
    {"UnknownType", "1234", 5, ""},
    {"TypeOfAnotherCase", "1234", 83, ""},
};

TEST(PinFormat, EncodesOrRefuses) {
    for (const Case &one : cases)
        expectEncodedOrRefused(one);
}

TEST(PinFormatArguments, AreChecked) {
    const Bytes pin = fromHex("31 32 33 34");
    const ScardPinFormat form = {ascii, 0, 0, nullptr, nullptr};
    uint8_t buffer[8];
    uint32_t length = sizeof buffer;
    EXPECT_EQ(scard_FormatPin(nullptr, 4, &form, buffer, &length), invalidParameter);
    EXPECT_EQ(length, 0u);
    length = sizeof buffer;
    EXPECT_EQ(scard_FormatPin(pin.data(), 4, nullptr, buffer, &length), invalidParameter);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(scard_FormatPin(pin.data(), 4, &form, buffer, nullptr), invalidParameter);
    length = 8;
    EXPECT_EQ(scard_FormatPin(pin.data(), 4, &form, nullptr, &length), invalidParameter);
    length = 0;
    EXPECT_EQ(scard_FormatPin(pin.data(), 4, &form, nullptr, &length), insufficientBuffer) << "asks for the length";
    EXPECT_EQ(length, 4u);
}

TEST(PinFormatArguments, WorksInPlace) {
    Bytes buffer = fromHex("31 32 33 34 00 00 00 00");
    const uint8_t pad = 0xFF;
    const ScardPinFormat form = {bcd, 4, 8, nullptr, &pad};
    auto length = static_cast<uint32_t>(buffer.size());
    ASSERT_EQ(scard_FormatPin(buffer.data(), 4, &form, buffer.data(), &length), 0u);
    EXPECT_EQ(toHex(buffer), "12 34 FF FF FF FF FF FF");
}

// A length that a card's attributes make up costs no memory.
TEST(PinFormatArguments, HugeLengthsAreHarmless) {
    const Case one = {"", "1234", ascii, "", std::numeric_limits<uint32_t>::max(), 0xFF};
    const Formatted formatted = format(one, 64);
    EXPECT_EQ(formatted.result, insufficientBuffer);
    EXPECT_EQ(formatted.length, std::numeric_limits<uint32_t>::max());
    EXPECT_EQ(format({"", std::string(65536, '1'), ascii, ""}, 64).result, invalidParameter);
}

}  // namespace
