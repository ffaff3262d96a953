// Credentials that a token context remembers.
#include "token/pkcs15_credential_cache.h"

#include <cstdlib>
#include <cstring>

#include "asn1/asn1_x680.h"

extern "C" {

void pkcs15_CredentialCacheEntry_free(CredentialCacheEntry *entry) {
    if (entry == nullptr)
        return;
    asn1_OctetString_free(entry->credentialId);
    if (entry->credential != nullptr)
        explicit_bzero(entry->credential, entry->credentialLen);
    std::free(entry->credential);
    std::free(entry);
}
}
