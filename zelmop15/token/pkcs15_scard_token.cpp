// Token contexts: reading what a token consists of, and letting go of it.
#include "token/pkcs15_scard_token.h"

#include "asn1/asn1_x680.h"
#include "token/pkcs15_accessors.h"
#include "token/pkcs15_card_call.h"
#include "token/pkcs15_credential_cache.h"
#include "token/pkcs15_exception.h"
#include "token/pkcs15_log.h"
#include "token/pkcs15_scard_walk.h"
#include "token/pkcs15_token_info.h"

using token::FileBuffer;
using token::OwnedReference;
using token::raise;

namespace {

constexpr int32_t credential_capacity = 10;
constexpr int32_t auth_object_capacity = 5;
constexpr uint8_t default_odf_path[] = {0x50, 0x31};
constexpr uint8_t default_token_info_path[] = {0x50, 0x32};

/// A release with the untyped shape that lists take.
template <class T, auto Free>
void free_element(void *element) {
    Free(static_cast<T *>(element));
}
constexpr List_element_free free_auth_object =
    free_element<P15AuthenticationTypeInfo, pkcs15_P15AuthenticationTypeInfo_free>;
constexpr List_element_free free_credential = free_element<CredentialCacheEntry, pkcs15_CredentialCacheEntry_free>;
constexpr List_element_free free_odf_entry = free_element<PKCS15Objects, asn1_PKCS15Objects_free>;

void free_auth_objects(List *list) {
    List_free(list, free_auth_object);
}
using OwnedAuthObjects = Owned<List, free_auth_objects>;
using OwnedContext = Owned<TokenContext, pkcs15_ScReleaseTokenContext>;

// Fills in a file identifier below the application where the record names no path.
template <size_t N>
bool complete_path(Path *&path, const uint8_t (&fileId)[N]) {
    if (path != nullptr)
        return true;
    path = asn1_Path_new();
    if (path == nullptr)
        return false;
    path->path = asn1_ASN1String_new(N, fileId);
    return path->path != nullptr;
}

// What the context holds before the card is asked; false when memory is short.
bool prepare(TokenContext &context, const DIRRecord *dirRecord) {
    context.credentialCache = List_new(credential_capacity);
    context.dirCache = allocate<DirectoryCache>();
    if (context.credentialCache == nullptr || context.dirCache == nullptr)
        return false;
    DIRRecord *application = context.dirRecord = asn1_DIRRecord_clone(dirRecord);
    if (application == nullptr)
        return false;
    if (application->ddo == nullptr)
        application->ddo = asn1_DDO_new();
    return application->ddo != nullptr && complete_path(application->ddo->odfPath, default_odf_path) &&
           complete_path(application->ddo->tokenInfoPath, default_token_info_path);
}

uint32_t read_token_info(CardHandle card, TokenContext &context, uint32_t *cardError) {
    FileBuffer file;
    if (!file)
        return raise(PKCS15_E_NO_MEMORY);
    uint32_t code = token::select_path(card, &context, *context.dirRecord->ddo->tokenInfoPath, nullptr, cardError);
    if (code == 0)
        code = file.read(card, nullptr, FileBuffer::capacity, cardError);
    if (code != 0)
        return raise(code);
    if (token::repair_token_info(file.begin()))
        file.set_length(token::cia_info_size);
    const uint8_t *z = asn1_TokenInfo_d(file.begin(), file.end(), 0, &context.tokenInfo, p15asn1LogFlag);
    return z != nullptr && context.tokenInfo != nullptr ? 0 : raise(PKCS15_E_INVALID_TOKEN);
}

// Appends an authentication object, of which it takes possession whether or not it succeeds.
bool append_auth_object(List *list, AuthenticationType *object) {
    Owned<AuthenticationType, asn1_AuthenticationType_free> owner(object);
    Owned<P15AuthenticationTypeInfo, pkcs15_P15AuthenticationTypeInfo_free> info(allocate<P15AuthenticationTypeInfo>());
    if (info == nullptr)
        return false;
    info->authObject = owner.release();
    if (List_append(list, info.get(), nullptr) == nullptr)
        return false;
    (void)info.release();
    return true;
}

// Reads all authentication objects in file order. One that cannot be read is dropped, except the first: the walk goes
// on to its next step only after an object, so the second try begins the walk again, which is refused.
uint32_t collect_auth_objects(CardHandle card, TokenContext &context, token::ObjectWalk &walk, List *list,
                              uint32_t *cardError) {
    uint32_t mode = ENUM_FIRST;
    for (;;) {
        OwnedReference reference;
        const uint32_t code = walk.step(mode, reference);
        if (code == PKCS15_S_END_OF_ENUMERATION) {
            *cardError = 0;
            return 0;
        }
        if (code != 0) {
            const uint32_t mapped = pkcs15_SCardException(*cardError);
            return mapped != 0 ? raise(mapped) : PKCS15_E_INVALID_TOKEN;
        }
        void *object = nullptr;
        if (pkcs15_ScGetDFEntry(card, &context, reference.get(), FLAG_USE_CACHE, &object, cardError) != 0)
            continue;
        if (!append_auth_object(list, static_cast<AuthenticationType *>(object)))
            return raise(PKCS15_E_NO_MEMORY);
        mode = ENUM_NEXT;
    }
}

// Reads the secret key that an authentication key stands for.
uint32_t read_key_object(CardHandle card, TokenContext &context, P15AuthenticationTypeInfo &info, uint32_t *cardError) {
    constexpr uint32_t flags = FLAG_REFRESH_CACHE | FLAG_USE_CACHE;
    const auto *object = static_cast<const PKCS15Object *>(info.authObject->value);
    const auto *attributes = static_cast<const AuthKeyAttributes *>(object->typeAttributes);
    ObjectReference *found = nullptr;
    uint32_t code =
        pkcs15_ScFindObject(card, &context, PKCS15_SECRET_KEYS, attributes->authKeyId, flags, &found, cardError);
    if (code != 0)
        return code;
    OwnedReference reference(found);
    void *key = nullptr;
    code = pkcs15_ScGetDFEntry(card, &context, reference.get(), FLAG_USE_CACHE, &key, cardError);
    info.keyObject = static_cast<SecretKeyType *>(key);
    return code;
}

// Links authentication keys to their keys, last first, and drops those that have none. The result is that of the first
// authentication key in the list, the last one looked at.
uint32_t link_keys(CardHandle card, TokenContext &context, List *list, uint32_t *cardError) {
    uint32_t result = 0;
    for (int32_t i = List_len(list) - 1; i >= 0; --i) {
        auto *info = static_cast<P15AuthenticationTypeInfo *>(List_get(list, i));
        if (token::selector(*info->authObject) != P15_TAG_AUTHKEY)
            continue;
        result = read_key_object(card, context, *info, cardError);
        if (result != 0)
            List_remove(list, i, free_auth_object);
    }
    return result;
}

uint32_t read_auth_objects(CardHandle card, TokenContext &context, uint32_t *cardError) {
    token::ObjectWalk walk(card, &context, PKCS15_AUTH_OBJECTS, FLAG_REFRESH_CACHE, cardError);
    OwnedAuthObjects list(List_new(auth_object_capacity));
    if (list == nullptr)
        return raise(PKCS15_E_NO_MEMORY);
    uint32_t code = collect_auth_objects(card, context, walk, list.get(), cardError);
    if (code != 0)
        return code;
    code = link_keys(card, context, list.get(), cardError);
    context.authObjects = list.release();
    return code;
}

// Private keys, public keys and certificates are what makes a token writable.
bool decides_writability(uint8_t objectType) {
    constexpr uint32_t deciding_types =
        1u << PKCS15_PRIVATE_KEYS | 1u << PKCS15_PUBLIC_KEYS | 1u << PKCS15_CERTIFICATES;
    return objectType <= PKCS15_CERTIFICATES && (deciding_types & 1u << objectType) != 0;
}

// Looks for a directory file that can only be read, or not even selected: `selection` is then the selection's code.
bool has_binary_directory(CardHandle card, const TokenContext &context, uint32_t &selection) {
    uint32_t scratch = 0;
    for (int32_t i = List_len(context.odfEntries) - 1; i >= 0; --i) {
        const auto *entry = static_cast<const PKCS15Objects *>(List_get(context.odfEntries, i));
        const Path *path = pkcs15_GetPKCS15ObjectsPath(entry);
        if (path == nullptr || !decides_writability(token::selector(*entry)))
            continue;
        FileInfo info{};
        selection = token::select_path(card, &context, *path, &info, &scratch);
        if (selection != 0 || info.fileType == token::transparent_file)
            return true;
    }
    return false;
}

// Marks the token as readonly; false when memory is short.
bool set_readonly(TokenContext &context) {
    constexpr uint32_t debug_level = 6;
    constexpr uint32_t readonly = 0;
    pkcs15_LogMessage(debug_level,
                      "The token contains at least one binary PKCS#15 directory file. "
                      "TokenInfo.flags set to readonly.");
    return asn1_BitString_set(context.tokenInfo->tokenflags, readonly, 1) != nullptr;
}

}  // namespace

extern "C" {

void pkcs15_P15AuthenticationTypeInfo_free(P15AuthenticationTypeInfo *info) {
    if (info == nullptr)
        return;
    if (info->authObject != nullptr && token::selector(*info->authObject) == P15_TAG_AUTHKEY)
        asn1_SecretKeyType_free(info->keyObject);
    asn1_AuthenticationType_free(info->authObject);
    std::free(info);
}

uint32_t pkcs15_ScAcquireTokenContext(CardHandle card, const DIRRecord *dirRecord, TokenContext **tokenContext,
                                      uint32_t *cardError) {
    uint32_t ownStatus = 0;
    if (cardError == nullptr)
        cardError = &ownStatus;
    OwnedContext context(allocate<TokenContext>());
    if (context == nullptr || !prepare(*context, dirRecord))
        return raise(PKCS15_E_NO_MEMORY);
    if (read_token_info(card, *context, cardError) != 0 ||
        pkcs15_ScReadODF(card, context.get(), &context->odfEntries, cardError) != 0 ||
        read_auth_objects(card, *context, cardError) != 0)
        return raise(PKCS15_E_INVALID_TOKEN);
    uint32_t selection = 0;
    if (has_binary_directory(card, *context, selection) && !set_readonly(*context))
        return raise(PKCS15_E_NO_MEMORY);
    *tokenContext = context.get();
    if (selection != 0)
        return raise(selection);  // the place has been written, but the context goes
    (void)context.release();
    return 0;
}

void pkcs15_ScReleaseTokenContext(TokenContext *tokenContext) {
    if (tokenContext == nullptr)
        return;
    List_free(tokenContext->credentialCache, free_credential);
    std::free(tokenContext->dirCache);
    asn1_DIRRecord_free(tokenContext->dirRecord);
    asn1_TokenInfo_free(tokenContext->tokenInfo);
    List_free(tokenContext->odfEntries, free_odf_entry);
    free_auth_objects(tokenContext->authObjects);
    std::free(tokenContext);
}
}
