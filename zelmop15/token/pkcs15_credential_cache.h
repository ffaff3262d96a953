// Credentials that a token context remembers.
#ifndef ZELMOP15_TOKEN_PKCS15_CREDENTIAL_CACHE_H
#define ZELMOP15_TOKEN_PKCS15_CREDENTIAL_CACHE_H

#include "zelmop15/pkcs15_types.h"

extern "C" {
/// A remembered credential; element of TokenContext::credentialCache.
struct CredentialCacheEntry {
    Identifier *credentialId;  ///< Owned copy of the authentication object's authId, the key.
    uint8_t *credential;       ///< Owned: the value as the host passed it.
    uint32_t credentialLen;    ///< Octets in credential.
};

/// Overwrites the credential and releases the entry; null is a no-op.
void pkcs15_CredentialCacheEntry_free(CredentialCacheEntry *entry);
}

#endif
