// Setting and changing secrets.
#include "asn1/asn1_x680.h"
#include "runtime/assertion.h"
#include "token/pkcs15_auth_object.h"
#include "token/pkcs15_card_call.h"
#include "token/pkcs15_credential_cache.h"
#include "token/pkcs15_exception.h"
#include "token/pkcs15_scard_verify.h"

using token::EncodedPin;
using token::raise;

namespace {

constexpr uint32_t new_value_only = 1;

// Whether the PIN's attributes allow the new value, and how the card would keep it.
uint32_t check_new_pin(const PinAttributes &attributes, const uint8_t *value, uint32_t length, EncodedPin &encoded) {
    if (length < asn1_Integer_get(attributes.minLength) ||
        (attributes.maxLength != nullptr && length > asn1_Integer_get(attributes.maxLength)))
        return PKCS15_E_PIN_LENGTH;
    if (pkcs15_TransformPIN(value, length, &attributes, encoded.buffer.octets, &encoded.length) == nullptr)
        return PKCS15_E_PIN_FORMAT;
    // A guessed number would set some other PIN.
    return attributes.pinReference != nullptr ? 0 : PKCS15_E_UNSUPPORTED;
}

// The result of a command that sets a secret. Its success leaves the host's place alone.
uint32_t set_result(uint32_t raw, uint32_t *cardError) {
    return raw != 0 ? token::card_result(raw, cardError) : 0;
}

uint32_t send_pin(CardHandle card, const PinAttributes &attributes, const uint8_t *value, uint32_t length,
                  uint32_t *cardError) {
    const uint8_t reference = token::first_octet(*attributes.pinReference);
    return set_result(scardcmd_ChangeReferenceData(card, new_value_only, reference, nullptr, 0, value, length, 0),
                      cardError);
}

// The object behind a PIN or key with all that is needed of it; null where something is missing.
const PKCS15Object *complete_object(const AuthenticationType &type) {
    const PKCS15Object *object = token::auth_object_in(type);
    return object != nullptr && token::auth_id(*object) != nullptr && object->typeAttributes != nullptr ? object
                                                                                                        : nullptr;
}

uint32_t change_key(CardHandle card, TokenContext *context, const AuthenticationType *type, const uint8_t *oldValue,
                    uint32_t oldLength, const uint8_t *newValue, uint32_t newLength, uint32_t flags, uint8_t *retries,
                    uint32_t *cardError) {
    const uint32_t code = pkcs15_ScVerify(card, context, type, oldValue, oldLength, flags, retries, cardError);
    if (code != 0)
        return code;
    token::AuthKey key{};
    const PKCS15Object *object = token::auth_object_in(*type);
    if (!token::find_auth_key(*context, token::auth_id(*object), key))
        return PKCS15_E_UNSUPPORTED;
    return set_result(scardcmd_ChangeKeyData(card, 0, key.reference, newValue, newLength, 0), cardError);
}

}  // namespace

extern "C" {

uint32_t pkcs15_ScInitAuthenticationPinObject(CardHandle card, TokenContext *tokenContext,
                                              const AuthenticationType *pAuthType, const uint8_t *newValue,
                                              uint32_t newLength, uint32_t *cardError) {
    ZELMO_ASSERT(token::selector(*pAuthType) == P15_TAG_PIN, "(pAuthType->tag == P15_TAG_PIN)");
    if (newValue == nullptr)
        return raise(PKCS15_E_INVALID_PARAMETER);
    const PKCS15Object *object = complete_object(*pAuthType);
    if (object == nullptr)
        return raise(PKCS15_E_UNSUPPORTED);
    removeCredentialCacheEntry(tokenContext, token::auth_id(*object));
    const PinAttributes &attributes = token::pin_attributes(*object);
    EncodedPin encoded;
    uint32_t code = check_new_pin(attributes, newValue, newLength, encoded);
    // The encoded form was only to be had: a first PIN goes to the card as it is given.
    if (code == 0)
        code = send_pin(card, attributes, newValue, newLength, cardError);
    return code != 0 ? raise(code) : 0;
}

uint32_t pkcs15_ScInitAuthenticationObject(CardHandle card, TokenContext *tokenContext,
                                           const AuthenticationType *authObject, const uint8_t *newValue,
                                           uint32_t newLength, uint32_t *cardError) {
    if (authObject == nullptr || token::selector(*authObject) != P15_TAG_PIN)
        return raise(PKCS15_E_INVALID_PARAMETER);
    const uint32_t code =
        pkcs15_ScInitAuthenticationPinObject(card, tokenContext, authObject, newValue, newLength, cardError);
    return code != 0 ? raise(code) : 0;
}

uint32_t pkcs15_ScSetAuthenticationPinObject(CardHandle card, TokenContext *tokenContext,
                                             const AuthenticationType *pAuthType, const uint8_t *oldValue,
                                             uint32_t oldLength, const uint8_t *newValue, uint32_t newLength,
                                             uint32_t flags, uint8_t *retries, uint32_t *cardError) {
    ZELMO_ASSERT(token::selector(*pAuthType) == P15_TAG_PIN, "(pAuthType->tag == P15_TAG_PIN)");
    if (oldValue == nullptr || newValue == nullptr)
        return raise(PKCS15_E_INVALID_PARAMETER);
    const PKCS15Object *object = complete_object(*pAuthType);
    if (object == nullptr)
        return raise(PKCS15_E_UNSUPPORTED);
    const Identifier *authId = token::auth_id(*object);
    const PinAttributes &attributes = token::pin_attributes(*object);
    EncodedPin encoded;
    // A new PIN that will not do costs no try on the card.
    uint32_t code = check_new_pin(attributes, newValue, newLength, encoded);
    if (code == 0)
        code = pkcs15_ScVerify(card, tokenContext, pAuthType, oldValue, oldLength, flags, retries, cardError);
    if (code == 0)
        code = send_pin(card, attributes, encoded.buffer.octets, encoded.length, cardError);
    if (code == 0 && !token::replace_credential(*tokenContext, authId, newValue, newLength))
        code = PKCS15_E_NO_MEMORY;
    if (code == 0)
        return 0;
    raise(code);
    removeCredentialCacheEntry(tokenContext, authId);
    return code;
}

uint32_t pkcs15_ScSetAuthenticationObject(CardHandle card, TokenContext *tokenContext,
                                          const AuthenticationType *authObject, const uint8_t *oldValue,
                                          uint32_t oldLength, const uint8_t *newValue, uint32_t newLength,
                                          uint32_t flags, uint8_t *retries, uint32_t *cardError) {
    uint32_t code = PKCS15_E_INVALID_PARAMETER;
    const uint8_t tag = authObject != nullptr ? token::selector(*authObject) : uint8_t{0};
    if (tag == P15_TAG_AUTHKEY)
        code = change_key(card, tokenContext, authObject, oldValue, oldLength, newValue, newLength, flags, retries,
                          cardError);
    else if (tag == P15_TAG_PIN)
        code = pkcs15_ScSetAuthenticationPinObject(card, tokenContext, authObject, oldValue, oldLength, newValue,
                                                   newLength, flags, retries, cardError);
    return code != 0 ? raise(code) : 0;
}
}
