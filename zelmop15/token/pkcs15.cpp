// The library's frame, and the small looks into contexts and decoded objects.
#include "zelmop15/pkcs15.h"

#include <bit>
#include <cstring>

#include "asn1/asn1_pkcs15_coders.h"
#include "runtime/owned.h"
#include "runtime/str_safe.h"
#include "token/pkcs15_accessors.h"
#include "token/pkcs15_card_call.h"
#include "token/pkcs15_exception.h"

using token::FileBuffer;
using token::raise;

namespace {

using Rule = asn1::AccessControlRule;

constexpr uint32_t access_kinds = 3;  // read, update, execute
constexpr uint32_t auth_id_condition = 4;

void free_rules(List *rules) {
    List_free(rules, Rule::free_thunk);
}

// The rule that stands for a bare authId: it guards all access. Null when memory is short.
AccessControlRule *rule_for_auth_id(const Identifier *authId) {
    Owned<AccessControlRule, asn1_AccessControlRule_free> rule(asn1_AccessControlRule_new());
    if (rule == nullptr)
        return nullptr;
    rule->accessMode = asn1_BitString_new(access_kinds);
    rule->securityCondition = asn1_SecurityCondition_new();
    if (rule->accessMode == nullptr || rule->securityCondition == nullptr)
        return nullptr;
    for (uint32_t kind = 0; kind < access_kinds; ++kind)
        asn1_BitString_set(rule->accessMode, kind, 1);
    rule->securityCondition->tag = auth_id_condition;
    rule->securityCondition->value = asn1_OctetString_clone(authId);
    return rule->securityCondition->value != nullptr ? rule.release() : nullptr;
}

List *rules_for_auth_id(const Identifier *authId) {
    Owned<List, free_rules> rules(List_new(1));
    Owned<AccessControlRule, asn1_AccessControlRule_free> rule(rule_for_auth_id(authId));
    if (rules == nullptr || rule == nullptr || List_append(rules.get(), rule.get(), nullptr) == nullptr)
        return nullptr;
    (void)rule.release();
    return rules.release();
}

// Every CHOICE of an object type has these two members.
struct TypedObject {
    explicit TypedObject(const void *record) {
        static_assert(sizeof(TypedObject) == sizeof(PrivateKeyType) && sizeof(TypedObject) == sizeof(CertificateType));
        std::memcpy(this, record, sizeof *this);
    }
    uint32_t tag;
    void *value;
};

// Whether the value is an alternative carried as bytes. The same tag number stands for an object in one type and for
// bytes in another, and the type is not known here. Both are zero-filled blocks, so what they begin with tells them
// apart: bytes with their count, which the size of a file keeps low, an object with a pointer, and no pointer lies in
// the lowest 64 KiB (vm.mmap_min_addr).
bool is_carried(const void *value) {
    constexpr uintptr_t lowest_address = 0x10000;
    uintptr_t head = 0;
    static_assert(sizeof head <= sizeof(asn1_Any) && sizeof head <= sizeof(PKCS15Object));
    static_assert(FileBuffer::capacity < lowest_address && std::endian::native == std::endian::little);
    std::memcpy(&head, value, sizeof head);
    return head < lowest_address;
}

constexpr uint32_t bit(uint32_t number) {
    return 1u << number;
}

// Tag numbers that stand for an object, by object type.
constexpr uint32_t object_tags[] = {
    bit(16),                   // private keys
    bit(16),                   // public keys
    bit(16),                   // trusted public keys
    bit(16) | (bit(14) - 1),   // secret keys: the generic one and those of an algorithm
    bit(16),                   // certificates
    bit(16),                   // trusted certificates
    bit(16),                   // useful certificates
    bit(16),                   // data objects
    bit(16) | bit(0) | bit(1)  // authentication objects: PIN, biometric template, key
};

// The key of another algorithm is the one alternative that is neither an object nor bytes; only secret keys have it.
constexpr uint8_t other_key_choice = 14;

}  // namespace

namespace token {

const PKCS15Object *object_in(uint32_t objectType, const void *record) {
    const TypedObject typed(record);
    const bool isObject = typed.tag < 32 && (object_tags[objectType] & bit(typed.tag)) != 0;
    return isObject ? static_cast<const PKCS15Object *>(typed.value) : nullptr;
}

const Identifier *object_identifier(uint32_t objectType, const void *record) {
    const PKCS15Object *object = object_in(objectType, record);
    if (object == nullptr)
        return nullptr;
    switch (objectType) {
        case PKCS15_DATA_OBJECTS:
            return nullptr;
        case PKCS15_AUTH_OBJECTS:
            return static_cast<const CommonAuthenticationObjectAttributes *>(object->classAttributes)->authId;
        case PKCS15_CERTIFICATES:
        case PKCS15_TRUSTED_CERTIFICATES:
        case PKCS15_USEFUL_CERTIFICATES:
            return static_cast<const CommonCertificateAttributes *>(object->classAttributes)->iD;
        default:
            return static_cast<const CommonKeyAttributes *>(object->classAttributes)->iD;
    }
}

}  // namespace token

extern "C" {

uint32_t pkcs15_Initialize(void) {
    return 0;
}

void pkcs15_Finalize(void) {}

void pkcs15_FreeData(void *data) {
    std::free(data);
}

DIRRecord *pkcs15_ScGetDIRRecord(const TokenContext *tokenContext) {
    return tokenContext->dirRecord;
}

TokenInfo *pkcs15_ScGetTokenInfo(const TokenContext *tokenContext) {
    return tokenContext->tokenInfo;
}

CommonObjectAttributes *pkcs15_GetCommonObjectAttributes(const void *object) {
    const TypedObject typed(object);
    if (typed.value == nullptr || token::selector(typed) == other_key_choice || is_carried(typed.value))
        return nullptr;
    return static_cast<const PKCS15Object *>(typed.value)->commonObjectAttributes;
}

uint32_t pkcs15_GetObjectACRs(const CommonObjectAttributes *commonAttributes, List **rules) {
    *rules = nullptr;
    if (commonAttributes->accessControlRules != nullptr)
        *rules = List_clone(commonAttributes->accessControlRules, Rule::clone_thunk, Rule::free_thunk);
    else if (commonAttributes->authId != nullptr)
        *rules = rules_for_auth_id(commonAttributes->authId);
    else
        return 0;
    return *rules != nullptr ? 0 : raise(PKCS15_E_NO_MEMORY);
}

Path *pkcs15_GetIndirectValuePath(const ObjectValue *value) {
    if (value == nullptr || token::selector(*value) != token::sequence_choice)
        return nullptr;
    const auto *reference = static_cast<const ReferencedValue *>(value->value);
    if (reference == nullptr || token::selector(*reference) != token::sequence_choice)
        return nullptr;
    return static_cast<Path *>(reference->value);
}

char *pkcs15_Label2szString(const Label *label, char *buffer, uint32_t size) {
    std::memset(buffer, 0, size);
    if (label != nullptr && label->len != 0)
        strncpy_safe(buffer, size, reinterpret_cast<const char *>(label->data), label->len);
    buffer[size - 1] = '\0';
    return buffer;
}

uint8_t bitcount(uint32_t value) {
    uint8_t count = 0;
    for (uint32_t rest = value & 0xFF; rest != 0; rest &= rest - 1)
        ++count;
    return count;
}
}
