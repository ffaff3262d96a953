// Codes, log lines, selection, and the looks into decoded objects.
#include <cstring>

#include "asn1/asn1_x680.h"
#include "token/pkcs15_accessors.h"
#include "token/pkcs15_exception.h"
#include "token/sample_token.h"

namespace {

static_assert(token::unit_of("/src/token/pkcs15_scard_entry_tlv.cpp") == std::string_view("pkcs15_scard"));
static_assert(token::unit_of("pkcs15_inittoken.cpp") == std::string_view("pkcs15_inittoken"));
static_assert(token::unit_of("/a/pkcs15_scard/pkcs15_dircache.cpp") == std::string_view("pkcs15"));

TEST(Frame, MapsCodesOfCardAndReader) {
    const std::pair<uint32_t, uint32_t> cases[] = {
        {0x80100002, 0xE0200008}, {0x80100004, 0xE0200001}, {0x80100006, 0xE0200002}, {0x8010000A, 0xE0200007},
        {0x8010000C, 0xE0200012}, {0x8010000D, 0xE0200010}, {0x8010000F, 0xE0200010}, {0x8010001C, 0xE0200010},
        {0x8010001E, 0xE0200013}, {0x80100069, 0xE0200013}, {0xA0116300, 0xE0200020}, {0xE0116581, 0xE0200005},
        {0xE0116700, 0xE0200003}, {0xE0116982, 0xE0200026}, {0xE0116983, 0xE0200022}, {0xE0116984, 0xE0200027},
        {0xE0116985, 0xE0200020}, {0xE0116A84, 0xE0200005}, {0xE0116A83, 0xE0200011}, {0x80100068, 0xE0200011},
        {0xA01163C1, 0xE0200011}, {0x00000001, 0xE0200011}, {0xFFFFFFFF, 0xE0200011},
    };
    LogCapture log;
    EXPECT_EQ(pkcs15_SCardException(0), 0u);
    EXPECT_THAT(log.take(), IsEmpty());
    for (const auto &[raw, code] : cases) {
        char line[64];
        std::snprintf(line, sizeof line, "Warn Device error 0x%08X.", raw);
        EXPECT_EQ(pkcs15_SCardException(raw), code) << line;
        EXPECT_THAT(log.take(), ElementsAre(line));
    }
}

TEST(Frame, RaiseReportsTheCallersLineAtTheLevelOfTheSeverity) {
    const std::pair<uint32_t, const char *> cases[] = {{PKCS15_S_END_OF_ENUMERATION, "Trace"},
                                                       {0x60200001, " Info"},
                                                       {PKCS15_W_CANCELLED_BY_USER, " Warn"},
                                                       {PKCS15_E_FAILED, "Error"}};
    for (const auto &[code, level] : cases) {
        const CapturedStream stream;
        pkcs15_LogInit(stream.get(), 5);
        EXPECT_EQ(token::raise(code), code);
        const int line = __LINE__ - 1;
        pkcs15_LogClose();
        char expected[80];
        std::snprintf(expected, sizeof expected, "%s: Exception 0x%08X at pkcs15 (%d)\n", level, code, line);
        EXPECT_NE(stream.text().find(expected), std::string::npos) << stream.text();
    }
}

struct Selection {
    const char *application;  // path of the application, or null for none
    std::string path;
    bool null_path;
    const char *call;
};

TEST(Frame, SelectsBelowTheApplicationOrByItsAid) {
    const std::string long_path(2 * 230, '4');  // with the application's four octets exactly 234
    const Selection cases[] = {
        {"3F005015", "5031", false, "scard_SelectFile null 3F0050155031 null"},
        {"3F005015", "3F0050155031", false, "scard_SelectFile A0B1 3F0050155031 null"},
        {"3F005015", "3F", false, "scard_SelectFile null 3F0050153F null"},
        {"3F005015", "3F01", false, "scard_SelectFile null 3F0050153F01 null"},
        {"3F005015", "", true, "scard_SelectFile A0B1 null null"},
        {nullptr, "5031", false, "scard_SelectFile A0B1 5031 null"},
        {"3F005015", long_path, false, nullptr},
        {"3F005015", long_path + "44", false, nullptr},
    };
    LogCapture log;
    for (const Selection &c : cases) {
        Octets aid = hex("A0B1"), application = hex(c.application != nullptr ? c.application : "");
        asn1_OctetString aidString = {2, aid.data()};
        asn1_OctetString pathString = {static_cast<uint32_t>(application.size()), application.data()};
        DIRRecord record = {&aidString, nullptr, c.application != nullptr ? &pathString : nullptr, nullptr};
        TokenContext context = {&record, nullptr, nullptr, nullptr, nullptr, nullptr};
        const Octets path = hex(c.path);
        ScriptedCard card;
        card.script = {{0}, {sw_file_not_found}};
        uint32_t cardError = untouched;
        const uint8_t *given = c.null_path ? nullptr : path.data();
        const auto length = static_cast<uint32_t>(path.size());
        EXPECT_EQ(pkcs15_ScSelectFile(test_card, &context, given, length, nullptr, &cardError), 0u);
        EXPECT_EQ(cardError, 0u);
        const auto calls = card.take_calls();
        if (c.call != nullptr)
            EXPECT_THAT(calls, ElementsAre(c.call));
        else
            EXPECT_EQ(calls.at(0), path.size() == 230 ? "scard_SelectFile null 3F005015" + c.path + " null"
                                                      : "scard_SelectFile A0B1 " + c.path + " null");
        // A failure is mapped and not tried again another way; only its callers write an "Exception" line.
        EXPECT_EQ(pkcs15_ScSelectFile(test_card, &context, given, length, nullptr, nullptr), PKCS15_E_DEVICE_ERROR);
        EXPECT_THAT(log.take(), ElementsAre("Warn Device error 0xE0116A82."));
    }
}

// ---- accessors
// -------------------------------------------------------------------------------------------------------

TEST(Accessors, CountBitsOfTheLowOctet) {
    const std::pair<uint32_t, int> cases[] = {{0, 0}, {1, 1}, {0x80, 1}, {0xFF, 8}, {0x100, 0}, {0xFFFFFF55, 4}};
    for (const auto &[value, count] : cases)
        EXPECT_EQ(bitcount(value), count) << value;
}

TEST(Accessors, LabelsAreCutAndTerminated) {
    Octets octets(40, 'x');
    const Label label = {40, octets.data()};
    const Label empty = {0, nullptr};
    char buffer[32];
    std::memset(buffer, '?', sizeof buffer);
    EXPECT_EQ(pkcs15_Label2szString(&label, buffer, sizeof buffer), buffer);
    EXPECT_EQ(std::string(buffer), std::string(31, 'x'));
    std::memset(buffer, '?', sizeof buffer);
    pkcs15_Label2szString(&empty, buffer, sizeof buffer);
    EXPECT_TRUE(std::all_of(buffer, std::end(buffer), [](char c) { return c == '\0'; }));
    EXPECT_STREQ(pkcs15_Label2szString(&label, buffer, 1), "");
}

void free_rule(void *rule) {
    asn1_AccessControlRule_free(static_cast<AccessControlRule *>(rule));
}

TEST(Accessors, AccessRulesAreClonedSynthesisedOrAbsent) {
    using Attributes = std::unique_ptr<CommonObjectAttributes, decltype(&asn1_CommonObjectAttributes_free)>;
    const Attributes attributes(asn1_CommonObjectAttributes_new(), asn1_CommonObjectAttributes_free);
    List *rules = reinterpret_cast<List *>(&rules);
    EXPECT_EQ(pkcs15_GetObjectACRs(attributes.get(), &rules), 0u);
    EXPECT_EQ(rules, nullptr);

    attributes->authId = asn1_Identifier_set(7);
    ASSERT_EQ(pkcs15_GetObjectACRs(attributes.get(), &rules), 0u);
    ASSERT_EQ(List_len(rules), 1);
    const auto *rule = static_cast<const AccessControlRule *>(List_get(rules, 0));
    EXPECT_EQ(rule->accessMode->bits, 3u);
    EXPECT_EQ(rule->accessMode->data[0], 0xE0);
    EXPECT_EQ(rule->securityCondition->tag, 4u);
    EXPECT_EQ(asn1_Identifier_get(static_cast<Identifier *>(rule->securityCondition->value)), 7);
    EXPECT_NE(rule->securityCondition->value, attributes->authId);

    attributes->accessControlRules = rules;  // rules of its own go before authId
    List *copy = nullptr;
    ASSERT_EQ(pkcs15_GetObjectACRs(attributes.get(), &copy), 0u);
    EXPECT_EQ(List_len(copy), 1);
    EXPECT_NE(List_get(copy, 0), List_get(rules, 0));
    List_free(copy, free_rule);
}

template <class T>
using Decoder = const uint8_t *(*)(const uint8_t *, const uint8_t *, uint8_t, T **, uint16_t);

template <class T>
void expect_common_attributes(const Octets &octets, Decoder<T> decode, void (*free)(T *), bool is_object) {
    T *value = nullptr;
    ASSERT_NE(decode(octets.data(), octets.data() + octets.size(), 0, &value, 0), nullptr);
    const void *expected = is_object ? static_cast<PKCS15Object *>(value->value)->commonObjectAttributes : nullptr;
    EXPECT_EQ(pkcs15_GetCommonObjectAttributes(value), expected);
    free(value);
}

TEST(Accessors, CommonAttributesOfObjectsOnly) {
    expect_common_attributes(private_key_object(1), asn1_PrivateKeyType_d, asn1_PrivateKeyType_free, true);
    expect_common_attributes(carried_key(1), asn1_PrivateKeyType_d, asn1_PrivateKeyType_free, false);
    expect_common_attributes(carried_key(1), asn1_PublicKeyType_d, asn1_PublicKeyType_free, false);
    expect_common_attributes(secret_key_object(1), asn1_SecretKeyType_d, asn1_SecretKeyType_free, true);
    expect_common_attributes(certificate_object(1), asn1_CertificateType_d, asn1_CertificateType_free, true);
    expect_common_attributes(hex("A50102"), asn1_CertificateType_d, asn1_CertificateType_free, false);
    expect_common_attributes(data_object(), asn1_DataType_d, asn1_DataType_free, true);
    expect_common_attributes(hex("A0020500"), asn1_DataType_d, asn1_DataType_free, false);
    expect_common_attributes(pin_object(1), asn1_AuthenticationType_d, asn1_AuthenticationType_free, true);
    expect_common_attributes(auth_key_object(1, 2), asn1_AuthenticationType_d, asn1_AuthenticationType_free, true);
    expect_common_attributes(hex("A200"), asn1_AuthenticationType_d, asn1_AuthenticationType_free, false);
}

TEST(Accessors, IndirectValuePathOfPathsOnly) {
    Octets octets = hex("4B01");
    const asn1_OctetString path = {2, octets.data()};
    ObjectValue *value = pkcs15_CreateObjectValue(&path, 0, 0);
    auto *reference = static_cast<ReferencedValue *>(value->value);
    const Path *indirect = pkcs15_GetIndirectValuePath(value);
    ASSERT_EQ(indirect, reference->value);
    EXPECT_EQ(indirect->path->data[0], 0x4B);
    reference->tag = 22;
    EXPECT_EQ(pkcs15_GetIndirectValuePath(value), nullptr);
    reference->tag = 16;
    value->tag = 2;
    EXPECT_EQ(pkcs15_GetIndirectValuePath(value), nullptr);
    value->tag = 16;
    asn1_ObjectValue_free(value);
    EXPECT_EQ(pkcs15_GetIndirectValuePath(nullptr), nullptr);
    pkcs15_FreeData(nullptr);
}

}  // namespace
