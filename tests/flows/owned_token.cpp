#include "flows/owned_token.h"

#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>

#include "flows/challenge.h"
#include "runtime/owned.h"
#include "token/signed_script.h"
#include "zelmo/script_build.h"

namespace {

const std::string demo = ZELMO_SOURCE_DIR "/tools/zelmo/demo/";

using Context = Owned<TokenContext, pkcs15_ScReleaseTokenContext>;
using Reference = Owned<ObjectReference, pkcs15_ObjectReferenceFree>;

Octets content_of(const std::string &file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void write(const std::string &file, const Octets &content) {
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char *>(content.data()), static_cast<std::streamsize>(content.size()));
}

const uint8_t *octets_or_null(const std::string &text) {
    return text.empty() ? nullptr : reinterpret_cast<const uint8_t *>(text.data());
}

std::string padded(std::string label) {
    label.resize(32, ' ');
    return label;
}

Context open_token(CardHandle card) {
    DIRRecord *const application = pkcs15_GetDefaultDIR();
    TokenContext *context = nullptr;
    EXPECT_EQ(pkcs15_ScAcquireTokenContext(card, application, &context, nullptr), 0u);
    asn1_DIRRecord_free(application);
    return Context(context);
}

uint32_t verify(CardHandle card, TokenContext *context, uint8_t authId, const std::string &value) {
    const asn1_OctetString id = {1, &authId};
    uint8_t retries = 0;
    return pkcs15_ScVerify(card, context, pkcs15_GetAuthenticationType(context, &id),
                           reinterpret_cast<const uint8_t *>(value.data()), static_cast<uint32_t>(value.size()),
                           P15_VERIFY_NO_PROMPT, &retries, nullptr);
}

std::map<uint32_t, int> list_objects(CardHandle card, TokenContext *context) {
    std::map<uint32_t, int> found;
    for (uint32_t type = PKCS15_PRIVATE_KEYS; type <= PKCS15_AUTH_OBJECTS; ++type) {
        uintptr_t cursor = 0;
        ObjectReference *reference = nullptr;
        for (uint32_t mode = ENUM_FIRST; pkcs15_ScEnumerateObjects(card, context, type, mode, FLAG_REFRESH_CACHE,
                                                                   &cursor, &reference, nullptr) == 0;
             mode = ENUM_NEXT) {
            ++found[type];
            pkcs15_ObjectReferenceFree(reference);
        }
    }
    return found;
}

void expect_certificate(CardHandle card, TokenContext *context) {
    uintptr_t cursor = 0;
    ObjectReference *first = nullptr;
    ASSERT_EQ(pkcs15_ScEnumerateObjects(card, context, PKCS15_CERTIFICATES, ENUM_FIRST, FLAG_REFRESH_CACHE, &cursor,
                                        &first, nullptr),
              0u);
    pkcs15_ScEnumerateObjects(card, context, PKCS15_CERTIFICATES, ENUM_CLOSE, 0, &cursor, nullptr, nullptr);
    const Reference reference(first);
    uint8_t *octets = nullptr;
    uint32_t length = 0;
    EXPECT_EQ(pkcs15_ScReadCertificate(card, context, first, FLAG_USE_CACHE, &octets, &length, nullptr), 0u);
    EXPECT_EQ(Octets(octets, octets + length), content_of(demo + "authentication.der"));
    pkcs15_FreeData(octets);
}

}  // namespace

const Owner ann = {"0907060504030201", "135790", Octets(hex("0123456789ABCDEFFEDCBA98765432108877665544332211")),
                   "00112233445566aA", "Ann's token"};

ScriptPair::ScriptPair(uint32_t model, bool operational) {
    std::ifstream sample(demo + "token.json");
    auto profile = nlohmann::ordered_json::parse(sample);
    for (auto &object : profile["objects"])
        if (object.contains("file"))
            object["file"] = demo + object["file"].get<std::string>();
    if (operational) {
        profile.erase("phase");
        profile["root"].erase("access");
    }
    const std::string profile_file = directory_.file("profile.json");
    std::ofstream(profile_file) << profile;
    SignedScript pair;
    pair.script = zelmo::buildScript(zelmo::readProfile(profile_file), profile_file);
    pair.attributes[0] = digest_attribute(sha1_of(pair.script));
    char name[] = "InitToken    .cpd";
    std::snprintf(name, sizeof name, "InitToken%4X.cpd", model & 0xFFFF);
    script_file_ = directory_.file(name);
    write(script_file_, pair.script);
    write(script_file_.substr(0, script_file_.size() - 3) + "sig", pair.signature());
}

uint32_t ScriptPair::run(CardHandle card, const Owner &owner, uint32_t *cardError) const {
    const std::string prefix = directory_.path().string() + "/";
    const std::string label = padded(owner.label);
    return pkcs15_ScInitToken(card, prefix.c_str(), octets_or_null(owner.pin), static_cast<uint32_t>(owner.pin.size()),
                              octets_or_null(owner.second_pin), static_cast<uint32_t>(owner.second_pin.size()),
                              owner.key.empty() ? nullptr : owner.key.data(), static_cast<uint32_t>(owner.key.size()),
                              owner.serial.empty() ? nullptr : owner.serial.data(),
                              owner.label.empty() ? nullptr : octets_or_null(label), cardError);
}

void ScriptPair::tamper() const {
    Octets script = content_of(script_file_);
    script.back() ^= 1;
    write(script_file_, script);
}

void expect_owned(CardHandle card, const Owner &owner) {
    enum : uint8_t { pin = 1, puk, administration };
    const Context context = open_token(card);
    ASSERT_NE(context, nullptr);
    const TokenInfo *const info = pkcs15_ScGetTokenInfo(context.get());
    const std::string label = owner.label.empty() ? "Zelmop token" : owner.label;
    EXPECT_EQ(std::string(info->label->data, info->label->data + info->label->len), label);
    EXPECT_EQ(Octets(info->serialNumber->data, info->serialNumber->data + info->serialNumber->len),
              hex("16" + (owner.serial.empty() ? "0000000000000000" : owner.serial)));
    const std::map<uint32_t, int> objects = {{PKCS15_SECRET_KEYS, 1},
                                             {PKCS15_CERTIFICATES, 1},
                                             {PKCS15_TRUSTED_CERTIFICATES, 1},
                                             {PKCS15_DATA_OBJECTS, 1},
                                             {PKCS15_AUTH_OBJECTS, 3}};
    EXPECT_EQ(list_objects(card, context.get()), objects);
    expect_certificate(card, context.get());
    if (!owner.second_pin.empty()) {
        EXPECT_EQ(verify(card, context.get(), pin, owner.second_pin), 0u);
        EXPECT_EQ(pkcs15_ScSetTokenInfo(card, context.get(), nullptr, nullptr, 0, 0, nullptr), PKCS15_E_SECURITY_STATUS)
            << "not with this PIN";
    }
    const std::string known = "4718256093";
    if (owner.pin.empty()) {
        EXPECT_EQ(verify(card, context.get(), puk, known), PKCS15_E_AUTH_BLOCKED);
    } else {
        EXPECT_EQ(verify(card, context.get(), puk, known), PKCS15_E_VERIFICATION_FAILED);
        EXPECT_EQ(verify(card, context.get(), puk, owner.pin), 0u);
    }
    const Octets key = owner.key.empty() ? hex("0123456789ABCDEF23456789ABCDEF01456789ABCDEF0123") : owner.key;
    EXPECT_EQ(verify(card, context.get(), administration, answer(card, EVP_des_ede3_ecb(), key)), 0u);
}
