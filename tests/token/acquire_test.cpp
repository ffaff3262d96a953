// Opening a token: what is read, in which order, and what a flaw in it costs.
#include "asn1/asn1_x680.h"
#include "token/pkcs15_accessors.h"
#include "token/pkcs15_scard_token.h"
#include "token/sample_token.h"

namespace {

const std::string readonly_line =
    "Debug The token contains at least one binary PKCS#15 directory file. TokenInfo.flags set to readonly.";
const std::string aid = "A000000063504B43532D3135";
const std::string read_record = "scardcmd_ReadRecord 0 0 2 0 234";
const std::string read_file = "scard_ReadEFBinary null 0 32768 0";

std::string selection(const std::string &fileId, const std::string &info = "place") {
    return "scard_SelectFile null " + in_token(fileId.c_str()) + ' ' + info;
}

bool is_readonly(const Context &context) {
    return asn1_BitString_test(context->tokenInfo->tokenflags, 0) != 0;
}

// Ids of the authentication objects, in order; 100 is added for one with a key. One only carried as octets has id 0.
std::vector<int> auth_ids(const Context &context) {
    std::vector<int> found;
    for (int32_t i = 0; context != nullptr && i < List_len(context->authObjects); ++i) {
        const auto *info = static_cast<const P15AuthenticationTypeInfo *>(List_get(context->authObjects, i));
        const Identifier *authId = token::object_identifier(PKCS15_AUTH_OBJECTS, info->authObject);
        found.push_back((authId != nullptr ? asn1_Identifier_get(authId) : 0) + (info->keyObject != nullptr ? 100 : 0));
    }
    return found;
}

TEST(Acquire, ReadsInAFixedOrder) {
    TokenCard card(true);
    card.add_directory(PKCS15_PRIVATE_KEYS, "4000", {tlv_records});
    card.add_directory(PKCS15_CERTIFICATES, "4004", {tlv_records});
    card.add_directory(PKCS15_SECRET_KEYS, "4003", {tlv_records, {}, {record(1, secret_key_object(0x33))}});
    card.add_directory(PKCS15_PUBLIC_KEYS, "4001", {tlv_records});
    card.add_directory(PKCS15_AUTH_OBJECTS, "4008",
                       {tlv_records, {}, {record(1, pin_object(1)), record(2, auth_key_object(2, 0x33))}});
    LogCapture log(5);
    Context context;
    uint32_t cardError = untouched;
    ASSERT_EQ(acquire(context, &cardError), 0u);
    EXPECT_THAT(card.take_calls(),
                ElementsAre("scard_SelectFile " + aid + " 3F0050155032 null", read_file,
                            "scard_SelectFile " + aid + " 3F0050155031 null", read_file, selection("4008"), read_record,
                            read_record, read_record, selection("4003"), read_record, selection("4001"),
                            selection("4004"), selection("4000")));
    EXPECT_EQ(cardError, 0u);
    EXPECT_THAT(auth_ids(context), ElementsAre(1, 102));
    EXPECT_FALSE(is_readonly(context));
    EXPECT_EQ(context->credentialCache->capacity, 10);
    // The walk's end at its level, and the closing of a walk that its end had closed already.
    EXPECT_THAT(log.take(), ElementsAre(exception_line("Trace", "0x20200001"), exception_line("Error", "0xE0200003")));
}

TEST(Acquire, CompletesARecordWithoutPaths) {
    TokenCard card(false);
    const Dir application(pkcs15_GetDefaultDIR());
    asn1_DDO_free(application->ddo);
    application->ddo = nullptr;
    TokenContext *context = nullptr;
    ASSERT_EQ(pkcs15_ScAcquireTokenContext(test_card, application.get(), &context, nullptr), 0u);
    const auto calls = card.take_calls();
    EXPECT_EQ(calls[0], selection("5032", "null"));
    EXPECT_EQ(calls[2], selection("5031", "null"));
    EXPECT_EQ(application->ddo, nullptr);
    EXPECT_NE(context->dirRecord, application.get());
    pkcs15_ScReleaseTokenContext(context);
    pkcs15_ScReleaseTokenContext(nullptr);
}

TEST(Acquire, RepairsAKnownFaultyTokenInfo) {
    const Octets faulty = hex("3034 020101 801D") + text("Health Professional Card v2.0") +
                          hex("03020560 3010 300B 020101 040A A000000167455349474E");
    ASSERT_EQ(faulty.size(), 59u);
    for (const Octets &surplus : {Octets{}, hex("00FF30"), Octets(1000, 0xAA)}) {
        TokenCard card(false);
        card.file("5032").content = faulty + surplus;
        const Context context = acquire(card);
        const TokenInfo *info = pkcs15_ScGetTokenInfo(context.get());
        char label[64];
        EXPECT_STREQ(pkcs15_Label2szString(info->label, label, sizeof label), "Health Professional Card v2.0");
        const auto *se = static_cast<const SecurityEnvironmentInfo *>(List_get(info->seInfo, 0));
        EXPECT_EQ(to_hex(se->aid->data, se->aid->len), "A000000167455349474E");
        EXPECT_EQ(info->serialNumber, nullptr);
    }
    TokenCard card(false);  // one octet of the image is different
    card.file("5032").content = faulty;
    card.file("5032").content[58] = 0x4F;
    Context context;
    EXPECT_EQ(acquire(context, nullptr), PKCS15_E_INVALID_TOKEN);
}

struct AuthCase {
    const char *what;
    std::vector<Octets> objects;
    uint32_t code;
    std::vector<int> ids;
};

// The one secret key on the token has the identifier 0x33.
const AuthCase auth_cases[] = {
    {"none", {}, 0, {}},
    {"two PINs", {pin_object(1), pin_object(2)}, 0, {1, 2}},
    {"first broken", {broken_object(), pin_object(2)}, PKCS15_E_INVALID_TOKEN, {}},
    {"second broken", {pin_object(1), broken_object(), pin_object(3)}, 0, {1, 3}},
    {"key found", {auth_key_object(1, 0x33)}, 0, {101}},
    {"key not found", {auth_key_object(1, 0x44)}, PKCS15_E_INVALID_TOKEN, {}},
    {"first key decides", {auth_key_object(1, 0x44), auth_key_object(2, 0x33)}, PKCS15_E_INVALID_TOKEN, {}},
    {"later key dropped", {pin_object(9), auth_key_object(1, 0x33), auth_key_object(2, 0x44)}, 0, {9, 101}},
    {"external form kept", {pin_object(1), hex("A2020500")}, 0, {1, 0}},
};

TEST(Acquire, AuthenticationObjects) {
    for (const bool as_records : {false, true}) {
        for (const AuthCase &c : auth_cases) {
            SCOPED_TRACE(c.what);
            // The broken element of a transparent file would break the whole file.
            const bool broken = std::find(c.objects.begin(), c.objects.end(), broken_object()) != c.objects.end();
            if (!as_records && broken)
                continue;
            TokenCard card(as_records);
            FakeFile file{as_records ? tlv_records : transparent};
            for (const Octets &object : c.objects) {
                file.content = file.content + object;
                file.records.push_back(record(static_cast<uint8_t>(file.records.size() + 1), object));
            }
            card.add_directory(PKCS15_AUTH_OBJECTS, "4008", file);
            card.add_directory(PKCS15_SECRET_KEYS, "4003", {transparent, secret_key_object(0x33)});
            Context context;
            uint32_t cardError = untouched;
            ASSERT_EQ(acquire(context, &cardError), c.code);
            EXPECT_EQ(cardError, 0u);
            EXPECT_THAT(auth_ids(context), ElementsAreArray(c.ids));
        }
    }
}

TEST(Acquire, ATokenWithABinaryDirectoryIsReadonly) {
    const struct {
        std::vector<std::pair<uint8_t, uint32_t>> directories;  // type of the objects, type of the file
        bool readonly;
        size_t selections;
    } cases[] = {
        {{}, false, 0},
        {{{0, tlv_records}, {1, tlv_records}, {4, tlv_records}}, false, 3},
        {{{0, tlv_records}, {1, tlv_records}, {4, transparent}}, true, 1},
        {{{0, transparent}, {4, tlv_records}}, true, 2},
        {{{2, transparent}, {3, transparent}, {5, transparent}, {6, transparent}, {7, transparent}}, false, 0},
        {{{0, 0}, {1, variable_records}}, false, 2},
    };
    for (const auto &c : cases) {
        TokenCard card(true);
        for (const auto &[type, kind] : c.directories)
            card.add_directory(type, ("400" + std::to_string(type)).c_str(), {kind});
        LogCapture log;
        Context context;
        ASSERT_EQ(acquire(context, nullptr), 0u);
        EXPECT_EQ(is_readonly(context), c.readonly);
        const auto lines = log.take();
        EXPECT_EQ(lines.back() == readonly_line, c.readonly);
        EXPECT_EQ(card.take_calls().size(), 4 + c.selections);
    }
}

TEST(Acquire, AnEntryThatHoldsObjectsIsPassedOver) {
    TokenCard card(true);
    card.file("5031").content = der(0xA4, {der(0xA0, {certificate_object(1)})});
    EXPECT_FALSE(is_readonly(acquire(card)));
}

TEST(Acquire, ADirectoryThatCannotBeSelectedFailsWithItsOwnCode) {
    TokenCard card(true);
    card.add_directory(PKCS15_CERTIFICATES, "4004", {tlv_records});
    const Dir application(pkcs15_GetDefaultDIR());
    TokenContext *context = nullptr;
    uint32_t cardError = untouched;
    LogCapture log(6);
    card.fail(5, 0x80100069);
    EXPECT_EQ(pkcs15_ScAcquireTokenContext(test_card, application.get(), &context, &cardError), PKCS15_E_CARD_REMOVED);
    EXPECT_EQ(cardError, 0u);  // the selection has a status of its own
    const auto lines = log.take();
    EXPECT_THAT(std::vector(lines.end() - 3, lines.end()),
                ElementsAre("Warn Device error 0x80100069.", readonly_line, exception_line("Error", "0xE0200013")));
}

TEST(Acquire, FailuresOfTheReadPhase) {
    const std::string device = "Warn Device error 0xE0116982.", status = exception_line("Error", "0xE0200026"),
                      invalid = exception_line("Error", "0xE0200010"), closing = exception_line("Error", "0xE0200003");
    const struct {
        unsigned call;
        std::vector<std::string> lines;
    } cases[] = {
        {1, {device, status, invalid}},                           // selecting the TokenInfo file
        {2, {device, status, invalid}},                           // reading it
        {3, {device, status, invalid}},                           // selecting the object directory
        {4, {device, status, invalid}},                           // reading it
        {5, {device, status, device, status, closing, invalid}},  // selecting the authentication objects
        {6, {device, status, device, status, closing, invalid}},  // the first record
        {7, {device, status, device, status, closing, invalid}},  // the second
        {8, {exception_line("Trace", "0x20200001"), device, status, status, closing, closing, invalid}},  // the keys
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.call);
        TokenCard card(true);
        card.add_directory(PKCS15_AUTH_OBJECTS, "4008", {tlv_records, {}, {record(1, auth_key_object(1, 0x33))}});
        card.add_directory(PKCS15_SECRET_KEYS, "4003", {tlv_records, {}, {record(1, secret_key_object(0x33))}});
        LogCapture log(5);
        Context context;
        uint32_t cardError = untouched;
        card.fail(c.call, 0xE0116982);
        EXPECT_EQ(acquire(context, &cardError), PKCS15_E_INVALID_TOKEN);
        EXPECT_EQ(cardError, 0xE0116982);
        EXPECT_THAT(log.take(), ElementsAreArray(c.lines));
    }
}

TEST(Acquire, UndecodableFiles) {
    const std::pair<const char *, Octets> cases[] = {
        {"5032", {}}, {"5032", hex("3000")}, {"5031", hex("A901 00")}, {"5031", hex("A8023000")}};
    for (const auto &[file, content] : cases) {
        TokenCard card(true);
        card.file(file).content = content;
        const Dir application(pkcs15_GetDefaultDIR());
        auto *place = reinterpret_cast<TokenContext *>(&card);
        EXPECT_EQ(pkcs15_ScAcquireTokenContext(test_card, application.get(), &place, nullptr), PKCS15_E_INVALID_TOKEN);
        EXPECT_EQ(place, reinterpret_cast<TokenContext *>(&card));
    }
}

TEST(AuthObjects, OnlyAKeyOwnsAKeyObject) {
    auto *info = allocate<P15AuthenticationTypeInfo>();
    info->authObject = asn1_AuthenticationType_new();
    info->authObject->tag = P15_TAG_AUTHKEY;
    info->keyObject = pkcs15_CreateSecretKey(2);
    pkcs15_P15AuthenticationTypeInfo_free(info);  // the leak checker watches
    info = allocate<P15AuthenticationTypeInfo>();
    info->authObject = asn1_AuthenticationType_new();
    info->authObject->tag = P15_TAG_PIN;
    SecretKeyType *key = info->keyObject = pkcs15_CreateSecretKey(2);
    pkcs15_P15AuthenticationTypeInfo_free(info);
    asn1_SecretKeyType_free(key);
    pkcs15_P15AuthenticationTypeInfo_free(nullptr);
}

}  // namespace
