// Presenting secrets: which worker, with which value, and what is remembered of it.
#include "token/pkcs15_scard_verify.h"

#include "token/pkcs15_auth_object.h"
#include "token/pkcs15_card_call.h"
#include "token/pkcs15_credential_cache.h"
#include "token/pkcs15_exception.h"

using token::raise;

namespace {

using Worker = decltype(&pkcs15_ScVerifyPIN);

// A value to present, borrowed; none when the pointer is null.
struct Value {
    const uint8_t *octets;
    uint32_t length;
    bool from_cache;
};

Value remembered(const TokenContext &context, const Identifier *authId) {
    const CredentialCacheEntry *entry = token::find_credential(context, authId);
    return entry != nullptr ? Value{entry->credential, entry->credentialLen, true} : Value{nullptr, 0, false};
}

// What has to be told to the card to take a proof back.
struct Proof {
    const Path *path;
    uint8_t reference;
};

// False where a key is not known.
bool find_proof(const TokenContext &context, const AuthenticationType &type, Proof &proof) {
    const PKCS15Object *object = token::auth_object_in(type);
    if (object == nullptr)
        return true;
    if (token::selector(type) == P15_TAG_AUTHKEY) {
        token::AuthKey key{};
        const bool found = token::find_auth_key(context, token::auth_id(*object), key);
        proof = {key.path, key.reference};
        return found;
    }
    if (object->typeAttributes == nullptr)
        return true;
    const PinAttributes &pin = token::pin_attributes(*object);
    proof = {pin.path, token::pin_reference(pin)};
    return true;
}

}  // namespace

extern "C" {

uint32_t pkcs15_ScVerify(CardHandle card, TokenContext *tokenContext, const AuthenticationType *authObject,
                         const uint8_t *value, uint32_t length, uint32_t flags, uint8_t *retries, uint32_t *cardError) {
    const PKCS15Object *object = authObject != nullptr ? token::auth_object_in(*authObject) : nullptr;
    if (object == nullptr)
        return raise(PKCS15_E_INVALID_PARAMETER);
    const Identifier *authId = token::auth_id(*object);
    if (authId == nullptr || object->typeAttributes == nullptr)
        return raise(PKCS15_E_UNSUPPORTED);
    Worker worker = pkcs15_ScVerifyPIN;
    if (token::selector(*authObject) == P15_TAG_AUTHKEY) {
        worker = pkcs15_ScAuthenticateKey;
        flags &= ~uint32_t{P15_VERIFY_CACHE};  // an answer to a challenge is good for once
    }
    const bool queries = (flags & P15_VERIFY_QUERY) != 0;
    Value presented = {value, length, false};
    if (value == nullptr && !queries)
        presented = remembered(*tokenContext, authId);
    uint32_t code = worker(card, tokenContext, object, presented.octets, presented.length, flags, retries, cardError);
    if (code != 0 && code != PKCS15_E_VERIFICATION_FAILED)
        return raise(code);
    if (code == PKCS15_E_VERIFICATION_FAILED && presented.from_cache)
        code = PKCS15_E_CREDENTIAL_REJECTED;
    if (queries)
        return code != 0 ? raise(code) : 0;
    if (code != 0) {
        removeCredentialCacheEntry(tokenContext, authId);
        return raise(code);
    }
    if ((flags & P15_VERIFY_CACHE) == 0 || presented.octets == nullptr)
        return 0;
    return token::remember_credential(*tokenContext, authId, presented.octets, presented.length)
               ? 0
               : raise(PKCS15_E_NO_MEMORY);
}

uint32_t pkcs15_ScUnVerify(CardHandle card, TokenContext *tokenContext, const AuthenticationType *authObject,
                           uint32_t *cardError) {
    // Modes of the reset: what was proven in the application of the file just selected, or everything.
    constexpr uint32_t of_application = 128;
    constexpr uint32_t of_all = 0;
    constexpr uint8_t local_reference = 0x80;
    if (authObject == nullptr)
        return raise(PKCS15_E_INVALID_PARAMETER);
    Proof proof = {nullptr, 0};
    if (!find_proof(*tokenContext, *authObject, proof))
        return raise(PKCS15_E_UNSUPPORTED);
    const uint8_t tag = token::selector(*authObject);
    uint32_t code = tag == P15_TAG_PIN || tag == P15_TAG_AUTHKEY ? 0 : PKCS15_E_FAILED;
    uint32_t mode = of_all;
    if (proof.path != nullptr && (proof.reference & local_reference) == 0) {
        code = token::select_path(card, tokenContext, *proof.path, nullptr, cardError);
        if (code == 0)
            mode = of_application;
    }
    token::store_status(scardcmd_ResetSecurityStatus(card, mode), cardError);
    const PKCS15Object *object = token::object_in(PKCS15_AUTH_OBJECTS, authObject);
    if (const Identifier *authId = object != nullptr ? token::auth_id(*object) : nullptr; authId != nullptr)
        removeCredentialCacheEntry(tokenContext, authId);
    return code != 0 ? raise(code) : 0;
}
}
