// The token's authentication objects: the walk over them and the lookups by authId.
#include "token/pkcs15_auth_object.h"

#include "asn1/asn1_x680.h"
#include "token/pkcs15_exception.h"

using token::raise;

namespace token {

const PKCS15Object *auth_object_in(const AuthenticationType &type) {
    const uint8_t tag = selector(type);
    return tag == P15_TAG_PIN || tag == P15_TAG_AUTHKEY ? static_cast<const PKCS15Object *>(type.value) : nullptr;
}

const Identifier *auth_id(const PKCS15Object &object) {
    const auto *attributes = static_cast<const CommonAuthenticationObjectAttributes *>(object.classAttributes);
    return attributes != nullptr ? attributes->authId : nullptr;
}

bool find_auth_key(const TokenContext &context, const Identifier *authId, AuthKey &key) {
    const P15AuthenticationTypeInfo *info = pkcs15_GetAuthenticationTypeInfo(&context, authId);
    if (info == nullptr || info->keyObject == nullptr)
        return false;
    const PKCS15Object *object = object_in(PKCS15_SECRET_KEYS, info->keyObject);
    if (object == nullptr)
        return false;
    const auto *attributes = static_cast<const CommonKeyAttributes *>(object->classAttributes);
    const auto *type = static_cast<const GenericSecretKeyAttributes *>(object->typeAttributes);
    if (attributes == nullptr || attributes->keyReference == nullptr)
        return false;
    key = {first_octet(*attributes->keyReference),
           type != nullptr ? pkcs15_GetIndirectValuePath(type->value) : nullptr};
    return true;
}

}  // namespace token

extern "C" {

uint32_t pkcs15_EnumerateAODF(const TokenContext *tokenContext, uint32_t mode, uint32_t *cursor,
                              AuthenticationType **authObject) {
    if (cursor == nullptr)
        return raise(PKCS15_E_INVALID_PARAMETER);
    if (mode == ENUM_CLOSE)
        return 0;
    if (mode != ENUM_FIRST && mode != ENUM_NEXT)
        return raise(PKCS15_E_INVALID_PARAMETER);
    const uint32_t index = mode == ENUM_FIRST ? 0 : *cursor;
    const List *objects = tokenContext->authObjects;
    if (index >= static_cast<uint32_t>(List_len(objects)))
        return raise(PKCS15_S_END_OF_ENUMERATION);
    *authObject =
        static_cast<const P15AuthenticationTypeInfo *>(List_get(objects, static_cast<int32_t>(index)))->authObject;
    *cursor = index + 1;
    return 0;
}

P15AuthenticationTypeInfo *pkcs15_GetAuthenticationTypeInfo(const TokenContext *tokenContext,
                                                            const asn1_OctetString *authId) {
    const int32_t count = authId != nullptr ? List_len(tokenContext->authObjects) : 0;
    for (int32_t i = 0; i < count; ++i) {
        auto *info = static_cast<P15AuthenticationTypeInfo *>(List_get(tokenContext->authObjects, i));
        const PKCS15Object *object = token::auth_object_in(*info->authObject);
        const Identifier *own = object != nullptr ? token::auth_id(*object) : nullptr;
        if (own != nullptr && asn1_OctetString_cmp(own, authId) == 0)
            return info;
    }
    return nullptr;
}

AuthenticationType *pkcs15_GetAuthenticationType(const TokenContext *tokenContext, const asn1_OctetString *authId) {
    const P15AuthenticationTypeInfo *info = pkcs15_GetAuthenticationTypeInfo(tokenContext, authId);
    return info != nullptr ? info->authObject : nullptr;
}
}
