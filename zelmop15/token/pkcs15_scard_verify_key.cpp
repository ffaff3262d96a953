// Authenticating with a key.
#include <algorithm>

#include "token/pkcs15_auth_object.h"
#include "token/pkcs15_card_call.h"
#include "token/pkcs15_exception.h"
#include "token/pkcs15_scard_verify.h"

using token::AuthKey;
using token::raise;

namespace {

// Asks the card which keys stand authenticated. Its status is told, but not mapped: whatever keeps the key out of the
// list, there is nothing to present.
bool stands_authenticated(CardHandle card, uint8_t reference, uint32_t *cardError) {
    constexpr uint32_t authenticated_keys = 0x84;
    constexpr uint8_t number_bits = 0x7F;  // without the bit that marks a reference as local
    uint8_t keys[256] = {};
    uint32_t length = sizeof keys;
    if (token::store_status(scardcmd_GetData(card, authenticated_keys, keys, &length), cardError) != 0)
        return false;
    const uint8_t number = reference & number_bits;
    length = std::min<uint32_t>(length, sizeof keys);
    return std::count(keys, keys + length, number) != 0;
}

}  // namespace

extern "C" {

uint32_t pkcs15_ScAuthenticateKey(CardHandle card, TokenContext *tokenContext, const PKCS15Object *object,
                                  const uint8_t *value, uint32_t length, uint32_t flags, uint8_t *retries,
                                  uint32_t *cardError) {
    constexpr uint8_t no_counter = 255;
    AuthKey key{};
    if (!token::find_auth_key(*tokenContext, token::auth_id(*object), key))
        return raise(PKCS15_E_UNSUPPORTED);
    if ((flags & P15_VERIFY_NO_SELECT) == 0) {
        if (key.path == nullptr)
            return raise(PKCS15_E_UNSUPPORTED);
        if (const uint32_t code = token::select_path(card, tokenContext, *key.path, nullptr, cardError); code != 0)
            return raise(code);
    }
    if (value != nullptr) {
        const uint32_t raw = scardcmd_ExternalAuthenticate(card, key.reference, value, length, 0);
        if (const uint32_t code = token::card_result(raw, cardError); code != 0)
            return raise(code);
    } else if (!stands_authenticated(card, key.reference, cardError)) {
        return raise(PKCS15_E_CREDENTIAL_REJECTED);
    }
    if (retries != nullptr)
        *retries = no_counter;
    return 0;
}
}
