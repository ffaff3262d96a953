// Credentials that a token context remembers, at most one per authentication object.
#ifndef ZELMOP15_TOKEN_PKCS15_CREDENTIAL_CACHE_H
#define ZELMOP15_TOKEN_PKCS15_CREDENTIAL_CACHE_H

#include "zelmop15/pkcs15.h"

extern "C" {
/// A remembered credential; element of TokenContext::credentialCache.
struct CredentialCacheEntry {
    Identifier *credentialId;  ///< Owned copy of the authentication object's authId, the key.
    uint8_t *credential;       ///< Owned: the value as the host passed it.
    uint32_t credentialLen;    ///< Octets in credential.
};

/// Overwrites the credential and releases the entry; null is a no-op.
void pkcs15_CredentialCacheEntry_free(CredentialCacheEntry *entry);
/// Forgets what is remembered for an authentication object, if anything.
void removeCredentialCacheEntry(TokenContext *tokenContext, const Identifier *authId);
}

namespace token {

/// What is remembered for an authentication object, borrowed, or null.
const CredentialCacheEntry *find_credential(const TokenContext &context, const Identifier *authId);
/// Remembers a value at the end of the cache, in the place of an older one, which it may be part of. False when memory
/// is short; then nothing is remembered any more.
bool remember_credential(TokenContext &context, const Identifier *authId, const uint8_t *value, uint32_t length);
/// Puts a new value in the place of a remembered one, and does nothing where there is none. False when memory is short.
bool replace_credential(TokenContext &context, const Identifier *authId, const uint8_t *value, uint32_t length);

}  // namespace token

#endif
