#include "flows/guarded_token.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "virtualcard/image.h"

namespace {

const std::string data = ZELMO_SOURCE_DIR "/tests/data/";

void note(const uint8_t *command, uint32_t commandLength, const uint8_t *, uint32_t, double, void *commands) {
    char text[4];
    std::snprintf(text, sizeof text, "%02X", commandLength > 1 ? command[1] : 0);
    auto &list = *static_cast<std::string *>(commands);
    list += list.empty() ? "" : " ";
    list += text;
}

}  // namespace

Octets pki_file(const std::string &name) {
    std::ifstream in(data + "pki/" + name, std::ios::binary);
    EXPECT_TRUE(in) << name;
    return Octets(std::istreambuf_iterator<char>(in), {});
}

GuardedToken::GuardedToken() : file_(directory_.path() / "guarded.card") {
    std::filesystem::copy_file(data + "tokens/guarded.card", file_);
    open();
}

GuardedToken::~GuardedToken() {
    close();
}

void GuardedToken::open() {
    ASSERT_EQ(zelmocrd_OpenCard(("virtual:" + file_).c_str(), 0, &card_), 0u) << zelmocrd_OpenErrorText();
    zelmocrd_SetTrace(card_, note, &commands_);
    const std::unique_ptr<DIRRecord, decltype(&asn1_DIRRecord_free)> application(pkcs15_GetDefaultDIR(),
                                                                                 asn1_DIRRecord_free);
    TokenContext *context = nullptr;
    ASSERT_EQ(pkcs15_ScAcquireTokenContext(card_, application.get(), &context, &cardError), 0u);
    context_.reset(context);
    commands_.clear();
}

void GuardedToken::close() {
    context_.reset();
    zelmocrd_CloseCard(card_);
}

void GuardedToken::reopen() {
    close();
    open();
}

AuthenticationType *GuardedToken::object(uint8_t authId) {
    const asn1_OctetString id = {1, &authId};
    return pkcs15_GetAuthenticationType(context(), &id);
}

uint32_t GuardedToken::verify(uint8_t authId, const std::string &value, uint32_t flags) {
    retries = 0xAA;
    return pkcs15_ScVerify(card_, context(), object(authId), reinterpret_cast<const uint8_t *>(value.data()),
                           static_cast<uint32_t>(value.size()), flags, &retries, &cardError);
}

uint32_t GuardedToken::verify(uint8_t authId, uint32_t flags) {
    retries = 0xAA;
    return pkcs15_ScVerify(card_, context(), object(authId), nullptr, 0, flags | P15_VERIFY_NO_PROMPT, &retries,
                           &cardError);
}

uint32_t GuardedToken::query(uint8_t authId) {
    return verify(authId, P15_VERIFY_QUERY);
}

uint32_t GuardedToken::unverify(uint8_t authId) {
    return pkcs15_ScUnVerify(card_, context(), object(authId), &cardError);
}

uint32_t GuardedToken::change(uint8_t authId, const std::string &before, const std::string &after, uint32_t flags) {
    retries = 0xAA;
    return pkcs15_ScSetAuthenticationObject(
        card_, context(), object(authId), reinterpret_cast<const uint8_t *>(before.data()),
        static_cast<uint32_t>(before.size()), reinterpret_cast<const uint8_t *>(after.data()),
        static_cast<uint32_t>(after.size()), flags, &retries, &cardError);
}

uint32_t GuardedToken::read_certificate(uint8_t id, Octets &value) {
    const asn1_OctetString identifier = {1, &id};
    ObjectReference *reference = nullptr;
    uint32_t code = pkcs15_ScFindObject(card_, context(), PKCS15_CERTIFICATES, &identifier, FLAG_REFRESH_CACHE,
                                        &reference, &cardError);
    EXPECT_EQ(code, 0u);
    uint8_t *octets = nullptr;
    uint32_t length = 0;
    code = pkcs15_ScReadCertificate(card_, context(), reference, FLAG_USE_CACHE, &octets, &length, &cardError);
    value.assign(octets, octets + length);
    pkcs15_FreeData(octets);
    pkcs15_ObjectReferenceFree(reference);
    return code;
}

std::string GuardedToken::stored(uint8_t reference) const {
    for (const virtualcard::Secret &pin : virtualcard::readImage(file_).pins)
        if (pin.reference == reference)
            return {pin.value.begin(), pin.value.end()};
    return "no such PIN";
}

std::string GuardedToken::take_commands() {
    return std::exchange(commands_, {});
}
