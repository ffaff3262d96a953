#include "token/auth_token.h"

#include "token/pkcs15_auth_object.h"
#include "token/pkcs15_credential_cache.h"

namespace {

Octets octet(uint8_t value) {
    return Octets{value};
}

Octets object(uint8_t tag, const char *label, const Octets &classAttributes, const Octets &subClassAttributes,
              const Octets &typeAttributes) {
    const Octets common = label != nullptr ? der(0x0C, {text(label)}) : Octets{};
    return der(tag,
               {der(0x30, {common}), der(0x30, {classAttributes}), subClassAttributes, der(0xA1, {typeAttributes})});
}

void add(TokenCard &card, uint8_t objectType, const char *fileId, const std::vector<Octets> &objects) {
    FakeFile file{transparent};
    for (const Octets &encoded : objects)
        file.content = file.content + encoded;
    card.add_directory(objectType, fileId, file);
}

}  // namespace

Octets pin_object(const PinFields &wanted) {
    const auto number = [](uint8_t tag, std::optional<uint8_t> value) {
        return value ? der(tag, {octet(*value)}) : Octets{};
    };
    return object(0x30, wanted.label, der(0x04, {octet(wanted.authId)}), {},
                  der(0x30, {der(0x03, {octet(2), octet(wanted.flags)}), der(0x0A, {octet(wanted.type)}), hex("020104"),
                             hex("020108"), number(0x02, wanted.maxLength), number(0x80, wanted.reference),
                             wanted.pad != nullptr ? der(0x04, {hex(wanted.pad)}) : Octets{},
                             wanted.path != nullptr ? path_value(wanted.path) : Octets{}}));
}

Octets secret_key_object(uint8_t id, std::optional<uint8_t> reference, const char *path) {
    const Octets number = reference ? der(0x02, {Octets{0}, octet(*reference)}) : Octets{};
    const Octets value = path != nullptr ? path_value(path) : der(0x13, {text("ldap:")});
    return object(0xA2, nullptr, der(0x04, {octet(id)}) + hex("03020780") + number, {}, der(0x30, {value}));
}

AuthToken::AuthToken() : files_(false), dialog_(find_dialog_double()) {
    add(files_, PKCS15_SECRET_KEYS, "4003",
        {secret_key_object(0x46, 0x88, "4B06"), secret_key_object(0x47, 0x09, "4B07"),
         secret_key_object(0x48, 0x0A, nullptr), secret_key_object(0x49, {}, "4B09")});
    add(files_, PKCS15_AUTH_OBJECTS, "4008",
        {pin_object({plain_pin, 0x01, "4100"}), pin_object({local_pin, 0x82, "4200"}), pin_object({pathless_pin, 0x03}),
         pin_object({new_pin, 0x04, "4100", 0x00}), pin_object({numberless_pin, {}, "4100"}),
         auth_key_object(key, 0x46), auth_key_object(global_key, 0x47), auth_key_object(pathless_key, 0x48),
         auth_key_object(numberless_key, 0x49)});
    add(files_, PKCS15_CERTIFICATES, "4004",
        {der(0x30, {der(0x30, {hex("03020780"), der(0x04, {octet(plain_pin)})}), der(0x30, {hex("040143")}),
                    der(0xA1, {der(0x30, {der(0x30, {hex("04024301 020100 800105")})})})})});
    context_ = acquire(files_);
    certificates_ = walk(get(), PKCS15_CERTIFICATES, refresh);
    card_.emplace();
    script({});
}

AuthenticationType *AuthToken::object(uint8_t authId) {
    const asn1_OctetString id = {1, &authId};
    return pkcs15_GetAuthenticationType(get(), &id);
}

PinAttributes &AuthToken::pin(uint8_t authId) {
    return *static_cast<PinAttributes *>(static_cast<PKCS15Object *>(object(authId)->value)->typeAttributes);
}

void AuthToken::remember(uint8_t authId, const std::string &value) {
    const asn1_OctetString id = {1, &authId};
    ASSERT_TRUE(token::remember_credential(*get(), &id, octets_of(value.c_str()), static_cast<uint32_t>(value.size())));
}

std::vector<std::string> AuthToken::remembered() {
    std::vector<std::string> entries;
    for (int32_t i = 0; i < List_len(get()->credentialCache); ++i) {
        const auto *entry = static_cast<const CredentialCacheEntry *>(List_get(get()->credentialCache, i));
        entries.push_back(std::to_string(entry->credentialId->data[0]) + "=" +
                          std::string(entry->credential, entry->credential + entry->credentialLen));
    }
    return entries;
}

void AuthToken::script(std::deque<CardAnswer> answers) {
    card_->script = std::move(answers);
    card_->take_calls();
    log_.take();
    *dialog_ = DialogDouble{};
}

std::vector<std::string> exceptions(uint32_t code, unsigned levels, const char *level) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", code);
    return std::vector<std::string>(levels, exception_line(level, text));
}
