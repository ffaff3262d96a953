// Reading the value of a certificate: order of the calls, lengths and offsets, and every way to fail.
#include "asn1/asn1_x680.h"
#include "token/auth_token.h"
#include "token/pkcs15_credential_cache.h"

namespace {

using Lines = std::vector<std::string>;

const CardAnswer ok = {};
const Octets certificate = hex("30 03 02 01 07");

// A certificate object: private or not, guarded by this authId (0: by none), its value as given.
Octets certificate_with(bool is_private, uint8_t authId, const Octets &value) {
    const Octets guard = authId != 0 ? der(0x04, {Octets{authId}}) : Octets{};
    return der(0x30, {der(0x30, {hex(is_private ? "03020780" : "03020640"), guard}), der(0x30, {hex("040143")}),
                      der(0xA1, {der(0x30, {value})})});
}

Octets path_with(const char *index_and_length) {
    return der(0x30, {hex("04024301"), hex(index_and_length)});
}

const char *const select_value = "scard_SelectFile null 3F0050154301 null";

struct Case {
    const char *name;
    bool is_private;
    uint8_t authId;
    Octets value;
    const char *remembered;  ///< An authId for which "1234" is remembered, or "".
    std::deque<CardAnswer> script;
    uint32_t code;
    uint32_t cardError;
    Lines calls;
    size_t length;
};

constexpr bool secret = true, open = false;

// clang-format off
const Case cases[] = {
    {"free, of unknown length", open, 0, path_value("4301"), "", {ok, {0, {}, 5}, {0, certificate}}, 0, 0,
     {select_value, "scard_GetDERContentLength 0 place", "scard_ReadEFCertificate 0 0 5 0 3"}, 5},
    {"of known length", open, 0, path_with("020102 800103"), "", {ok, {0, hex("303132")}}, 0, 0,
     {select_value, "scard_ReadEFCertificate 0 2 3 0 3"}, 3},
    {"the file is shorter", open, 0, path_with("020100 800200FF"), "", {ok, {0, certificate}}, 0, 0,
     {select_value, "scard_ReadEFCertificate 0 0 255 0 3"}, 5},
    {"of no length", open, 0, path_value("4301"), "", {ok, {0, {}, 0}, ok}, 0, 0,
     {select_value, "scard_GetDERContentLength 0 place", "scard_ReadEFCertificate 0 0 0 0 3"}, 0},
    {"behind a remembered PIN", secret, plain_pin, path_with("020100 800105"), "1",
     {ok, {0, hex("EE01")}, ok, {0, certificate}}, 0, 0,
     {select_value, "scard_FormatPin 31323334 1 4 8 8 null 64", "scardcmd_VerifyPIN 1 EE01 null 0",
      "scard_ReadEFCertificate 0 0 5 0 3"}, 5},
    {"behind a key that stands authenticated", secret, global_key, path_with("020100 800105"), "",
     {ok, {0, hex("09")}, {0, certificate}}, 0, 0,
     {select_value, "scardcmd_GetData 132 256", "scard_ReadEFCertificate 0 0 5 0 3"}, 5},
    {"public, its authId is not looked at", open, plain_pin, path_with("020100 800105"), "",
     {ok, {0, certificate}}, 0, 0, {select_value, "scard_ReadEFCertificate 0 0 5 0 3"}, 5},
    {"behind a PIN that nobody may be asked for", secret, plain_pin, path_value("4301"), "", {ok},
     PKCS15_E_PIN_REQUIRED, 0, {select_value}, 0},
    {"behind a stale PIN", secret, plain_pin, path_value("4301"), "1", {ok, {0, hex("EE01")}, {0xA0116300}},
     PKCS15_E_CREDENTIAL_REJECTED, 0xA0116300,
     {select_value, "scard_FormatPin 31323334 1 4 8 8 null 64", "scardcmd_VerifyPIN 1 EE01 null 0"}, 0},
    {"the file is not there", open, 0, path_value("4301"), "", {{sw_file_not_found}}, PKCS15_E_DEVICE_ERROR,
     sw_file_not_found, {select_value}, 0},
    {"the length cannot be had", open, 0, path_value("4301"), "", {ok, {0x80100011}}, PKCS15_E_DEVICE_ERROR, 0x80100011,
     {select_value, "scard_GetDERContentLength 0 place"}, 0},
    {"the file cannot be read", open, 0, path_with("020100 800105"), "", {ok, {0xE0116982}}, PKCS15_E_SECURITY_STATUS,
     0xE0116982, {select_value, "scard_ReadEFCertificate 0 0 5 0 3"}, 0},
    {"held elsewhere", open, 0, der(0x13, {text("ldap:")}), "", {}, PKCS15_E_UNSUPPORTED, untouched, {}, 0},
};
// clang-format on

// A token with one certificate besides the suite's authentication objects.
struct World {
    explicit World(const Octets &object) : files(false) {
        FakeFile aodf{transparent}, skdf{transparent}, cdf{transparent};
        aodf.content = pin_object({plain_pin, 0x01, "4100"}) + auth_key_object(global_key, 0x47);
        skdf.content = secret_key_object(0x47, 0x09, "4B07");
        cdf.content = object;
        files.add_directory(PKCS15_SECRET_KEYS, "4003", skdf);
        files.add_directory(PKCS15_AUTH_OBJECTS, "4008", aodf);
        files.add_directory(PKCS15_CERTIFICATES, "4004", cdf);
        context = acquire(files);
        references = walk(context.get(), PKCS15_CERTIFICATES, refresh);
    }
    uint32_t read(uint8_t **data, uint32_t *length, uint32_t *cardError) {
        return pkcs15_ScReadCertificate(test_card, context.get(), references.at(0).get(), 0, data, length, cardError);
    }
    TokenCard files;
    Context context;
    std::vector<Ref> references;
};

TEST(Certificate, EachOutcome) {
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        World world(certificate_with(c.is_private, c.authId, c.value));
        if (*c.remembered != '\0') {
            uint8_t id = plain_pin;
            const asn1_OctetString authId = {1, &id};
            ASSERT_TRUE(token::remember_credential(*world.context, &authId, octets_of("1234"), 4));
        }
        ScriptedCard card;
        card.script = c.script;
        uint8_t *data = nullptr;
        uint32_t length = 0;
        uint32_t cardError = untouched;
        LogCapture log;
        EXPECT_EQ(world.read(&data, &length, &cardError), c.code);
        EXPECT_EQ(data != nullptr, c.code == 0);
        EXPECT_EQ(length, c.length);
        EXPECT_TRUE(data == nullptr || std::equal(data, data + length, c.script.back().data.begin()));
        EXPECT_EQ(cardError, c.cardError);
        EXPECT_THAT(card.take_calls(), ElementsAreArray(c.calls));
        EXPECT_EQ(log.take().empty(), c.code == 0 && (c.is_private || c.authId == 0));
        pkcs15_FreeData(data);
    }
}

TEST(Certificate, ACarriedKindHasNoValueToRead) {
    World world(hex("A503020100"));
    ScriptedCard card;
    uint8_t *data = nullptr;
    uint32_t length = 0;
    EXPECT_EQ(world.read(&data, &length, nullptr), PKCS15_E_UNSUPPORTED);
}

TEST(Certificate, RefusesWhatIsNoCertificate) {
    World world(certificate_object(1));
    const std::vector<Ref> keys = walk(world.context.get(), PKCS15_SECRET_KEYS, refresh);
    ScriptedCard card;
    LogCapture log;
    for (ObjectReference *reference : {static_cast<ObjectReference *>(nullptr), keys.at(0).get()}) {
        uint32_t cardError = untouched;
        EXPECT_EQ(pkcs15_ScReadCertificate(test_card, world.context.get(), reference, 0, nullptr, nullptr, &cardError),
                  PKCS15_E_INVALID_PARAMETER);
        EXPECT_EQ(cardError, untouched);
        EXPECT_THAT(log.take(), ElementsAreArray(exceptions(PKCS15_E_INVALID_PARAMETER, 1)));
    }
}

// In a record file the entry is closed again, so that it can be read once more.
TEST(Certificate, TheEntryIsClosedWhateverHappens) {
    TokenCard files(true);
    FakeFile &directory = files.add_directory(PKCS15_CERTIFICATES, "4004", {tlv_records});
    directory.records = {record(1, certificate_with(open, 0, path_with("020100 800105")))};
    files.file("4301");
    const Context context = acquire(files);
    const std::vector<Ref> references = walk(context.get(), PKCS15_CERTIFICATES, refresh);
    for (const std::deque<CardAnswer> &script :
         {std::deque<CardAnswer>{{sw_file_not_found}}, {ok, {0x80100069}}, {ok, {0, certificate}}}) {
        ScriptedCard card;
        card.script = script;
        uint8_t *data = nullptr;
        uint32_t length = 0;
        pkcs15_ScReadCertificate(test_card, context.get(), references.at(0).get(), FLAG_USE_CACHE, &data, &length,
                                 nullptr);
        EXPECT_EQ(references.at(0)->entryState, uint32_t{ENTRY_CLOSED});
        EXPECT_EQ(data != nullptr, script.back().code == 0);
        pkcs15_FreeData(data);
    }
}

}  // namespace
