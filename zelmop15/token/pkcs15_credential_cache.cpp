#include "token/pkcs15_credential_cache.h"

#include <algorithm>
#include <cstring>

#include "asn1/asn1_x680.h"
#include "runtime/owned.h"

namespace {

using OwnedEntry = Owned<CredentialCacheEntry, pkcs15_CredentialCacheEntry_free>;

constexpr int32_t nowhere = -1;

void free_entry(void *entry) {
    pkcs15_CredentialCacheEntry_free(static_cast<CredentialCacheEntry *>(entry));
}

CredentialCacheEntry *entry_at(const TokenContext &context, int32_t index) {
    return static_cast<CredentialCacheEntry *>(List_get(context.credentialCache, index));
}

int32_t position_of(const TokenContext &context, const Identifier *authId) {
    const int32_t count = List_len(context.credentialCache);
    for (int32_t i = 0; i < count; ++i)
        if (asn1_OctetString_cmp(entry_at(context, i)->credentialId, authId) == 0)
            return i;
    return nowhere;
}

// Never realloc(): it may leave the old value behind in released memory.
uint8_t *copy_of(const uint8_t *value, uint32_t length) {
    auto *copy = allocate<uint8_t>(length);
    if (copy != nullptr)
        std::copy_n(value, length, copy);
    return copy;
}

void wipe(CredentialCacheEntry &entry) {
    if (entry.credential != nullptr)
        explicit_bzero(entry.credential, entry.credentialLen);
    std::free(entry.credential);
}

// A new entry, or null.
CredentialCacheEntry *new_entry(const Identifier *authId, const uint8_t *value, uint32_t length) {
    OwnedEntry entry(allocate<CredentialCacheEntry>());
    if (entry == nullptr)
        return nullptr;
    entry->credentialId = asn1_OctetString_clone(authId);
    entry->credential = copy_of(value, length);
    entry->credentialLen = length;
    return entry->credentialId != nullptr && entry->credential != nullptr ? entry.release() : nullptr;
}

}  // namespace

namespace token {

const CredentialCacheEntry *find_credential(const TokenContext &context, const Identifier *authId) {
    const int32_t position = position_of(context, authId);
    return position != nowhere ? entry_at(context, position) : nullptr;
}

bool remember_credential(TokenContext &context, const Identifier *authId, const uint8_t *value, uint32_t length) {
    OwnedEntry entry(new_entry(authId, value, length));
    removeCredentialCacheEntry(&context, authId);
    if (entry == nullptr || List_append(context.credentialCache, entry.get(), nullptr) == nullptr)
        return false;
    (void)entry.release();
    return true;
}

bool replace_credential(TokenContext &context, const Identifier *authId, const uint8_t *value, uint32_t length) {
    const int32_t position = position_of(context, authId);
    if (position == nowhere)
        return true;
    uint8_t *copy = copy_of(value, length);
    if (copy == nullptr)
        return false;
    CredentialCacheEntry &entry = *entry_at(context, position);
    wipe(entry);
    entry.credential = copy;
    entry.credentialLen = length;
    return true;
}

}  // namespace token

extern "C" {

void pkcs15_CredentialCacheEntry_free(CredentialCacheEntry *entry) {
    if (entry == nullptr)
        return;
    asn1_OctetString_free(entry->credentialId);
    wipe(*entry);
    std::free(entry);
}

void removeCredentialCacheEntry(TokenContext *tokenContext, const Identifier *authId) {
    const int32_t position = position_of(*tokenContext, authId);
    if (position != nowhere)
        List_remove(tokenContext->credentialCache, position, free_entry);
}
}
