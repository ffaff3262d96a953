// The walk over authentication objects, their lookup, and PIN attributes as formats.
#include <cstring>

#include "asn1/asn1_x680.h"
#include "token/auth_token.h"

namespace {

TEST(AuthObjects, WalkGoesThroughAllInFileOrder) {
    AuthToken token;
    uint32_t cursor = 77;
    std::vector<uint8_t> found;
    AuthenticationType *object = nullptr;
    for (uint32_t mode = ENUM_FIRST; pkcs15_EnumerateAODF(token.get(), mode, &cursor, &object) == 0; mode = ENUM_NEXT) {
        const auto *common = static_cast<const PKCS15Object *>(object->value)->classAttributes;
        found.push_back(asn1_Identifier_get(static_cast<const CommonAuthenticationObjectAttributes *>(common)->authId));
        EXPECT_EQ(cursor, found.size());
    }
    EXPECT_THAT(found, ElementsAre(plain_pin, local_pin, pathless_pin, new_pin, numberless_pin, key, global_key,
                                   pathless_key, numberless_key));
    EXPECT_EQ(cursor, 9u) << "the end leaves the cursor alone";
    EXPECT_THAT(token.log().take(), ElementsAre("Trace Exception 0x20200001 at pkcs15"));
    EXPECT_THAT(token.card().take_calls(), IsEmpty());
}

TEST(AuthObjects, WalkRefusesWhatMakesNoSense) {
    AuthToken token;
    const struct {
        uint32_t mode;
        uint32_t cursor;
        uint32_t code;
        uint32_t cursorAfter;
    } cases[] = {{ENUM_CLOSE, 5, 0, 5},
                 {3, 5, PKCS15_E_INVALID_PARAMETER, 5},
                 {0xFFFFFFFF, 5, PKCS15_E_INVALID_PARAMETER, 5},
                 {ENUM_NEXT, 8, 0, 9},
                 {ENUM_NEXT, 9, PKCS15_S_END_OF_ENUMERATION, 9},
                 {ENUM_NEXT, 0x80000000, PKCS15_S_END_OF_ENUMERATION, 0x80000000},
                 {ENUM_FIRST, 0xFFFFFFFF, 0, 1}};
    for (const auto &c : cases) {
        uint32_t cursor = c.cursor;
        AuthenticationType *object = nullptr;
        EXPECT_EQ(pkcs15_EnumerateAODF(token.get(), c.mode, &cursor, &object), c.code) << c.mode << ' ' << c.cursor;
        EXPECT_EQ(cursor, c.cursorAfter);
        EXPECT_EQ(object != nullptr, c.code == 0 && c.mode != ENUM_CLOSE);
    }
    EXPECT_EQ(pkcs15_EnumerateAODF(token.get(), ENUM_CLOSE, nullptr, nullptr), PKCS15_E_INVALID_PARAMETER);
}

// Objects made by hand, in a list of their own.
struct HandMade {
    explicit HandMade(uint32_t tag, Identifier *id, bool class_attributes = true) : attributes{id} {
        object.classAttributes = class_attributes ? &attributes : nullptr;
        type = {tag, tag == 2 ? nullptr : &object};
        info = {&type, nullptr};
    }
    HandMade(const HandMade &) = delete;
    HandMade &operator=(const HandMade &) = delete;
    CommonAuthenticationObjectAttributes attributes;
    PKCS15Object object = {};
    AuthenticationType type = {};
    P15AuthenticationTypeInfo info = {};
};

TEST(AuthObjects, LookupTakesTheFirstPinOrKeyOfThatName) {
    uint8_t octets[] = {1, 2};
    Identifier one = {1, octets}, two = {1, octets + 1}, both = {2, octets}, empty = {0, nullptr};
    HandMade biometric(0, &one), external(2, &one), bare(16, &one, false), nameless(1, nullptr);
    HandMade first(1, &one), second(16, &one), other(16, &two), longer(1, &both), blank(16, &empty);
    TokenContext context = {};
    context.authObjects = List_new(9);
    HandMade *all[] = {&biometric, &external, &bare, &nameless, &first, &second, &other, &longer, &blank};
    for (HandMade *made : all)
        List_append(context.authObjects, &made->info, nullptr);
    uint8_t three = 3;
    const Identifier unknown = {1, &three};
    const std::pair<const Identifier *, HandMade *> cases[] = {
        {&one, &first}, {&two, &other}, {&both, &longer}, {&empty, &blank}, {&unknown, nullptr}, {nullptr, nullptr}};
    LogCapture log;
    for (const auto &[id, found] : cases) {
        EXPECT_EQ(pkcs15_GetAuthenticationTypeInfo(&context, id), found != nullptr ? &found->info : nullptr);
        EXPECT_EQ(pkcs15_GetAuthenticationType(&context, id), found != nullptr ? &found->type : nullptr);
    }
    EXPECT_THAT(log.take(), IsEmpty());
    List_free(context.authObjects, nullptr);
}

// ---- formats -------------------------------------------------------------------------------------------------------

struct FormatCase {
    uint8_t type;
    uint8_t flags;
    std::optional<uint8_t> maxLength;
    const char *pad;
    const char *call;  ///< What the card service is asked, behind the PIN; null when it is not.
    uint32_t code;     ///< pinType of the record that stands alone.
    uint32_t result;
};

constexpr uint8_t sensitive = 0x80, padding = 0x04;

const FormatCase format_cases[] = {
    {0, 0, 8, nullptr, "0 4 8 8 null 64", 0, 0},
    {0, sensitive, {}, nullptr, "0 4 8 null null 64", 0, 0},
    {1, padding, 8, "20", "1 4 8 8 20 64", 1, 0},
    {1, 0xFB, {}, "20", "1 4 8 null null 64", 1, 0},
    {2, 0, 8, nullptr, "2 4 8 8 null 64", 2, 0},
    {2, sensitive, 8, nullptr, "82 4 8 8 null 64", 82, 0},
    {2, sensitive | padding, {}, "FF", "82 4 8 null FF 64", 82, 0},
    {3, sensitive, 8, nullptr, "3 4 8 8 null 64", 3, 0},
    {4, padding, 8, "00", "4 4 8 8 00 64", 4, 0},
    {1, padding, 8, nullptr, nullptr, 0, PKCS15_E_FAILED},
    {1, padding, 8, "2020", nullptr, 0, PKCS15_E_FAILED},
    {1, padding, 8, "", nullptr, 0, PKCS15_E_FAILED},
    {5, padding, 8, nullptr, nullptr, 0, PKCS15_E_FAILED},
};

TEST(PinFormat, AttributesBecomeFormats) {
    LogCapture log;
    for (const FormatCase &c : format_cases) {
        const Octets encoded =
            pin_object({.authId = 1, .flags = c.flags, .type = c.type, .maxLength = c.maxLength, .pad = c.pad});
        AuthenticationType *type = nullptr;
        ASSERT_NE(asn1_AuthenticationType_d(encoded.data(), encoded.data() + encoded.size(), 0, &type, 0), nullptr);
        const Owned<AuthenticationType, asn1_AuthenticationType_free> owner(type);
        const auto *attributes =
            static_cast<const PinAttributes *>(static_cast<const PKCS15Object *>(type->value)->typeAttributes);

        ScriptedCard card;
        card.script = {{0, hex("313233")}};
        uint8_t buffer[64] = {};
        uint32_t length = sizeof buffer;
        uint8_t *encodedPin = pkcs15_TransformPIN(octets_of("123"), 3, attributes, buffer, &length);
        EXPECT_EQ(encodedPin, c.call != nullptr ? buffer : nullptr);
        const auto calls = card.take_calls();
        if (c.call != nullptr) {
            EXPECT_THAT(calls, ElementsAre(std::string("scard_FormatPin 313233 ") + c.call));
            EXPECT_EQ(length, 3u);
        } else {
            EXPECT_THAT(calls, IsEmpty());
        }
        EXPECT_THAT(log.take(), IsEmpty());

        PinFormatAttributes record;
        std::memset(&record, 0xEE, sizeof record);
        EXPECT_EQ(pkcs15_SetPinFormatAttributes(attributes, &record), c.result);
        EXPECT_EQ(record.format.pinType, c.code);
        EXPECT_EQ(record.format.minLength, 4u);
        EXPECT_EQ(record.format.storedLength, 8u);
        EXPECT_EQ(record.format.maxLength, c.maxLength ? &record.maxLengthValue : nullptr);
        EXPECT_EQ(record.maxLengthValue, c.maxLength ? uint32_t{*c.maxLength} : record.maxLengthValue);
        const bool padded = (c.flags & padding) != 0 && c.result == 0;
        EXPECT_EQ(record.format.padChar, padded ? &record.padCharValue : nullptr);
        EXPECT_EQ(record.padCharValue, padded ? hex(c.pad)[0] : record.padCharValue);
        EXPECT_EQ(log.take().size(), c.result != 0 ? 1u : 0u);
    }
}

TEST(PinFormat, UnknownTypeEndsTheProcess) {
    AuthToken token;
    token.pin(plain_pin).pinType = 5;
    uint8_t buffer[64];
    uint32_t length = sizeof buffer;
    EXPECT_DEATH(pkcs15_TransformPIN(octets_of("123"), 3, &token.pin(plain_pin), buffer, &length),
                 "pkcs15_TransformPIN: Assertion `\\(0\\)' failed");
}

}  // namespace
