#include "token_host.h"

#include <cstring>

#include "token/pkcs15_types_functions.h"
#include "zelmop15/pkcs15.h"

namespace {

uint8_t pkcs15_aid[] = {0xA0, 0x00, 0x00, 0x00, 0x63, 0x50, 0x4B, 0x43, 0x53, 0x2D, 0x31, 0x35};
const asn1_OctetString aid_filter[] = {{sizeof pkcs15_aid, pkcs15_aid}, {0, nullptr}};
constexpr uint32_t walking = FLAG_REFRESH_CACHE, cached = FLAG_REFRESH_CACHE | FLAG_USE_CACHE;

/// A result is 0 or one of the library's codes, never a raw one.
uint32_t checked(uint32_t code) {
    const uint32_t family = code & 0xFFFF0000;
    fuzz::require(code == 0 || family == 0x20200000 || family == 0xA0200000 || family == 0xE0200000, "result",
                  "it is a code of the library");
    return code;
}

/// The first record of EF.DIR for the token's AID, or the built-in one.
DIRRecord *find_token(CardHandle card) {
    uintptr_t cursor = 0;
    uint32_t card_error = 0;
    DIRRecord *record = nullptr;
    if (checked(pkcs15_ScEnumerateDirectories(card, ENUM_FIRST, aid_filter, &cursor, &record, &card_error)) != 0) {
        fuzz::require(cursor == 0, "directories", "the cursor is closed after the end or a failure");
        return pkcs15_GetDefaultDIR();
    }
    DIRRecord *next = nullptr;
    while (checked(pkcs15_ScEnumerateDirectories(card, ENUM_NEXT, aid_filter, &cursor, &next, &card_error)) == 0)
        asn1_DIRRecord_free(next);
    fuzz::require(cursor == 0, "directories", "the cursor is closed after the end or a failure");
    return record;
}

/// What a host asks of an object that it has read.
void look_at(const void *object) {
    const CommonObjectAttributes *common = pkcs15_GetCommonObjectAttributes(object);
    if (common == nullptr)
        return;
    List *rules = nullptr;
    checked(pkcs15_GetObjectACRs(common, &rules));
    List_free(rules, [](void *rule) { asn1_AccessControlRule_free(static_cast<AccessControlRule *>(rule)); });
    if (common->label != nullptr) {
        char text[16];
        pkcs15_Label2szString(common->label, text, sizeof text);
        fuzz::require(std::memchr(text, '\0', sizeof text) != nullptr, "label", "the text is terminated");
    }
}

/// Reads the object that the walk stands at. The record must come from the cache: nothing may be selected meanwhile.
void read_entry(CardHandle card, TokenContext *context, ObjectReference *reference) {
    void *object = nullptr;
    uint32_t card_error = 0;
    if (checked(pkcs15_ScGetDFEntry(card, context, reference, cached, &object, &card_error)) != 0)
        return;
    fuzz::require(object != nullptr, "entry", "a read that succeeds yields an object");
    look_at(object);
    checked(pkcs15_ScReleaseDFEntry(card, context, reference, RELEASE_DISCARD, object, &card_error));
}

/// Walks one type. With `wanted`, the first reference is kept for the caller.
void walk(CardHandle card, TokenContext *context, uint32_t type, ObjectReference **wanted) {
    uintptr_t cursor = 0;
    uint32_t card_error = 0, mode = ENUM_FIRST;
    ObjectReference *reference = nullptr;
    while (checked(pkcs15_ScEnumerateObjects(card, context, type, mode, walking, &cursor, &reference, &card_error)) ==
           0) {
        mode = ENUM_NEXT;
        read_entry(card, context, reference);
        if (wanted != nullptr && *wanted == nullptr)
            *wanted = reference;
        else
            pkcs15_ObjectReferenceFree(reference);
    }
    fuzz::require(cursor == 0, "objects", "the cursor is closed after the end or a failure");
}

/// Reads the first object again and writes it back, where it can be encoded; writing one that cannot is an assertion.
void rewrite(CardHandle card, TokenContext *context, ObjectReference *reference) {
    void *object = nullptr;
    uint32_t card_error = 0;
    if (reference->updateEntry != nullptr && reference->cacheSlot == nullptr)
        return;
    // A record that is read by its id may be another one of the same id with a wrong length, an assertion too.
    uint8_t record[PKCS15_MAX_RECORD];
    uint32_t length = sizeof record;
    const bool record_file = reference->updateEntry != nullptr;
    if (record_file && pkcs15_DirCacheGet(context->dirCache, reference, FLAG_USE_CACHE, record, &length) != 0)
        return;
    if (checked(pkcs15_ScGetDFEntry(card, context, reference, FLAG_USE_CACHE, &object, &card_error)) != 0)
        return;
    const bool writable = token::P15TypesFunctions[reference->objectType].encoder(nullptr, object) != 0;
    if (record_file && writable)
        checked(pkcs15_ScUpdateDFEntry(card, context, reference, object, &card_error));
    const uint32_t mode = !writable ? RELEASE_DISCARD : (reference->objectId & 1) != 0 ? RELEASE_ERASE : RELEASE_COMMIT;
    checked(pkcs15_ScReleaseDFEntry(card, context, reference, mode, object, &card_error));
}

void find(CardHandle card, TokenContext *context, uint32_t type) {
    uint8_t octet = 0x45;
    const asn1_OctetString identifier = {1, &octet};
    ObjectReference *reference = nullptr;
    uint32_t card_error = 0;
    const uint32_t code =
        checked(pkcs15_ScFindObject(card, context, type, &identifier, cached, &reference, &card_error));
    fuzz::require((code == 0) == (reference != nullptr), "find", "a reference exactly when it is found");
    pkcs15_ObjectReferenceFree(reference);
}

void add_data_object(CardHandle card, TokenContext *context) {
    ObjectReference *reference = nullptr;
    void *object = nullptr;
    uint32_t card_error = 0;
    const uint32_t code =
        checked(pkcs15_ScAllocDFEntry(card, context, PKCS15_DATA_OBJECTS, 16, &reference, &object, &card_error));
    if (code == 0)
        checked(pkcs15_ScReleaseDFEntry(card, context, reference, RELEASE_COMMIT, object, &card_error));
    pkcs15_ObjectReferenceFree(reference);
}

void choose_algorithm(CardHandle card, const TokenContext *context) {
    uint8_t algorithm = 0;
    Reference *reference = nullptr;
    const uint32_t key_length = 2048;
    pkcs15_ScSelectPrivateKeyAlgorithm(card, context, 1, 1, 0, &key_length, &algorithm, &reference);
}

/// A pinType that has no form is an assertion.
bool has_form(const AuthenticationType &object) {
    return object.tag != P15_TAG_PIN ||
           static_cast<const PinAttributes *>(static_cast<const PKCS15Object *>(object.value)->typeAttributes)
                   ->pinType <= 4;
}

void prove(CardHandle card, TokenContext *context, const AuthenticationType *object) {
    const uint8_t *pin = reinterpret_cast<const uint8_t *>("1234");
    const uint8_t *new_pin = reinterpret_cast<const uint8_t *>("56789");
    uint8_t retries = 0;
    uint32_t card_error = 0;
    if (!has_form(*object))
        return;
    for (const uint32_t flags :
         {uint32_t{P15_VERIFY_QUERY}, uint32_t{P15_VERIFY_CACHE}, uint32_t{P15_VERIFY_NO_PROMPT | P15_VERIFY_CACHE}})
        checked(pkcs15_ScVerify(card, context, object, (flags & P15_VERIFY_NO_PROMPT) != 0 ? nullptr : pin, 4, flags,
                                &retries, &card_error));
    checked(pkcs15_ScSetAuthenticationObject(card, context, object, pin, 4, new_pin, 5, 0, &retries, &card_error));
    checked(pkcs15_ScInitAuthenticationObject(card, context, object, pin, 4, &card_error));
    checked(pkcs15_ScVerify(card, context, object, pin, 4, P15_VERIFY_CACHE, &retries, &card_error));
}

/// Proves all that can be proven, and takes back some of it.
void prove_everything(CardHandle card, TokenContext *context) {
    uint32_t cursor = 0, card_error = 0;
    AuthenticationType *object = nullptr;
    for (uint32_t mode = ENUM_FIRST; checked(pkcs15_EnumerateAODF(context, mode, &cursor, &object)) == 0;
         mode = ENUM_NEXT) {
        prove(card, context, object);
        if ((cursor & 1) != 0)
            checked(pkcs15_ScUnVerify(card, context, object, &card_error));
    }
}

void read_certificate(CardHandle card, TokenContext *context, ObjectReference *reference) {
    uint8_t *data = nullptr;
    uint32_t length = 0, card_error = 0;
    const uint32_t code =
        checked(pkcs15_ScReadCertificate(card, context, reference, FLAG_USE_CACHE, &data, &length, &card_error));
    fuzz::require((code == 0) == (data != nullptr), "certificate", "a value exactly when it is read");
    pkcs15_FreeData(data);
}

/// Whether the objects' conditions may be evaluated: one of them may name a PIN whose type has no form.
bool all_have_forms(const TokenContext *context) {
    for (int32_t i = 0; i < List_len(context->authObjects); i++)
        if (!has_form(*static_cast<const P15AuthenticationTypeInfo *>(List_get(context->authObjects, i))->authObject))
            return false;
    return true;
}

bool is_certificate(uint32_t type) {
    return type >= PKCS15_CERTIFICATES && type <= PKCS15_USEFUL_CERTIFICATES;
}

void use_token(CardHandle card, TokenContext *context) {
    prove_everything(card, context);
    for (uint32_t type = 0; type < token::object_types; type++) {
        ObjectReference *first = nullptr;
        walk(card, context, type, &first);
        if (first != nullptr && is_certificate(type) && all_have_forms(context))
            read_certificate(card, context, first);
        if (first != nullptr)
            rewrite(card, context, first);
        pkcs15_ObjectReferenceFree(first);
        find(card, context, type);
    }
    add_data_object(card, context);
    choose_algorithm(card, context);
}

}  // namespace

namespace fuzz {

void use_card(CardHandle card) {
    DIRRecord *record = find_token(card);
    TokenContext *context = nullptr;
    uint32_t card_error = 0;
    if (checked(pkcs15_ScAcquireTokenContext(card, record, &context, &card_error)) == 0) {
        use_token(card, context);
        pkcs15_ScReleaseTokenContext(context);
    }
    asn1_DIRRecord_free(record);
}

}  // namespace fuzz
