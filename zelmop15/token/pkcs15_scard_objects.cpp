// The objects of a type: walking them all, and finding one by its identifier.
#include "asn1/asn1_x680.h"
#include "token/pkcs15_accessors.h"
#include "token/pkcs15_card_call.h"
#include "token/pkcs15_cursor.h"
#include "token/pkcs15_dircache.h"
#include "token/pkcs15_exception.h"
#include "token/pkcs15_log.h"
#include "token/pkcs15_scard_entry.h"
#include "token/pkcs15_scard_walk.h"
#include "token/pkcs15_types_functions.h"

using token::Cursor;
using token::FileBuffer;
using token::OwnedReference;
using token::raise;
using token::Record;

namespace {

constexpr uint32_t header = 2;

// One step of a walk.
struct Step {
    CardHandle card;
    TokenContext *context;
    uint32_t objectType;
    uint32_t flags;
    Cursor cursor;
    uint32_t *cardError;

    const P15TypeFunctions &functions() const {
        return token::P15TypesFunctions[objectType];
    }
    bool refreshes_cache() const {
        return (flags & FLAG_REFRESH_CACHE) != 0;
    }
};

// Decodes the whole file, the one selected or the one with this short file identifier.
uint32_t open_transparent(Step &step, const uint8_t *fileReference) {
    FileBuffer file;
    if (!file)
        return raise(PKCS15_E_NO_MEMORY);
    if (const uint32_t code = file.read(step.card, fileReference, FileBuffer::capacity, step.cardError); code != 0)
        return raise(code);
    List *objects = nullptr;
    if (pkcs15_DirectoryFile_d(file.begin(), file.end(), step.functions().decoder, step.functions().free, &objects,
                               p15asn1LogFlag) == nullptr)
        return raise(PKCS15_E_INVALID_TOKEN);
    step.cursor.open_list(objects);
    return 0;
}

uint32_t open_walk(Step &step) {
    if (step.cursor.is_open())
        return raise(PKCS15_E_INVALID_PARAMETER);
    if (step.refreshes_cache())
        pkcs15_DirCachePurge(step.context->dirCache, step.objectType);
    const Path *path = pkcs15_GetDirectoryFilePath(step.context->odfEntries, step.objectType);
    if (path == nullptr)
        return raise(PKCS15_S_END_OF_ENUMERATION);  // no such file, no such objects
    const uint8_t *shortFileId = nullptr;
    uint32_t fileType = token::declared_file_type(step.context);
    if (path->path->len == 1) {
        shortFileId = path->path->data;  // reading selects it, so there is no physical type to go by
    } else {
        FileInfo info{};
        const uint32_t code = token::select_path(step.card, step.context, *path, &info, step.cardError);
        if (code != 0)
            return raise(code);
        fileType = token::physical_file_type(step.context, info);
    }
    if (fileType == token::transparent_file)
        return open_transparent(step, shortFileId);
    if (fileType != token::tlv_record_file)
        return raise(PKCS15_E_UNSUPPORTED);
    step.cursor.open_records();
    return 0;
}

// Encodes an object into the reference, which owns the encoding; false when memory is short. One that cannot be encoded
// leaves a reference that reads as nothing.
bool keep_encoded(ObjectReference &reference, const void *object, asn1_element_e encoder) {
    reference.encodedLength = encoder(nullptr, object);
    reference.encodedEntry = allocate<uint8_t>(reference.encodedLength);
    if (reference.encodedEntry == nullptr)
        return false;
    uint8_t *cursor = reference.encodedEntry;
    return reference.encodedLength == 0 || encoder(&cursor, object) == reference.encodedLength;
}

uint32_t next_from_list(Step &step, OwnedReference &reference) {
    List *objects = step.cursor.list();
    reference = token::new_reference(step.objectType, p15BinaryDirectoryFileMethods);
    if (reference == nullptr)
        return raise(PKCS15_E_NO_MEMORY);
    const int32_t count = List_len(objects);
    if (count == 0)
        return raise(PKCS15_S_END_OF_ENUMERATION);
    reference->objectId = static_cast<uint8_t>(count - 1);
    if (!keep_encoded(*reference, List_get(objects, 0), step.functions().encoder))
        return raise(PKCS15_E_NO_MEMORY);
    List_remove(objects, 0, step.functions().free);
    return 0;
}

bool holds_object(const Record &record) {
    return record.octets[0] != 0 && record.octets[1] == record.length - header;
}

// Reads on to a record that holds an object. The capacity is that of a whole record when the cache is to be filled;
// otherwise it starts with that of a header, and each read offers what the one before it delivered.
uint32_t read_next_object(const Step &step, Record &record) {
    record.length = header;
    do {
        if (step.refreshes_cache())
            record.length = sizeof record.octets;
        const uint32_t raw = token::store_status(record.read(step.card, 0, token::next_record), step.cardError);
        if (raw == token::record_not_found) {
            token::store_status(0, step.cardError);
            return raise(PKCS15_S_END_OF_ENUMERATION);
        }
        if (raw != 0)
            return raise(pkcs15_SCardException(raw));
        if (record.length < header)
            return raise(PKCS15_E_UNSUPPORTED);
    } while (!holds_object(record));
    return 0;
}

uint32_t next_from_records(const Step &step, OwnedReference &reference) {
    Record record;
    if (const uint32_t code = read_next_object(step, record); code != 0)
        return code;
    reference = token::new_reference(step.objectType, p15TLVDirectoryFileMethods);
    if (reference == nullptr)
        return raise(PKCS15_E_NO_MEMORY);
    reference->objectId = record.octets[0];
    if (step.refreshes_cache())
        pkcs15_DirCachePut(step.context->dirCache, reference.get(), record.octets, record.length);
    return 0;
}

uint32_t next_object(Step &step, ObjectReference **place) {
    if (!step.cursor.is_open())
        return raise(PKCS15_E_INVALID_PARAMETER);
    OwnedReference reference;
    const uint32_t code =
        step.cursor.list() != nullptr ? next_from_list(step, reference) : next_from_records(step, reference);
    if (code == 0)
        *place = reference.release();
    return code;
}

// Whether the entry's object has this identifier. An object that cannot be read has none.
bool matches(CardHandle card, TokenContext *context, ObjectReference *reference, const asn1_OctetString *identifier,
             uint32_t *cardError) {
    constexpr uint32_t warning_level = 3;
    void *object = nullptr;
    const uint32_t code = pkcs15_ScGetDFEntry(card, context, reference, FLAG_USE_CACHE, &object, cardError);
    if (code != 0) {
        pkcs15_LogMessage(warning_level, "pkcs15_ScGetDFEntry() failed with 0x%08X.", code);
        return false;
    }
    const Identifier *iD = token::object_identifier(reference->objectType, object);
    const bool equal = iD != nullptr && asn1_OctetString_cmp(iD, identifier) == 0;
    pkcs15_ScReleaseDFEntry(card, context, reference, RELEASE_DISCARD, object, cardError);
    return equal;
}

}  // namespace

extern "C" {

uint32_t pkcs15_ScEnumerateObjects(CardHandle card, TokenContext *tokenContext, uint32_t objectType, uint32_t mode,
                                   uint32_t flags, uintptr_t *cursor, ObjectReference **reference,
                                   uint32_t *cardError) {
    if (cursor == nullptr)
        return raise(PKCS15_E_INVALID_PARAMETER);
    // A live cursor stays as it is here: only its own type tells how its objects are released.
    if (objectType >= token::object_types && *cursor != 0)
        return raise(PKCS15_E_INVALID_PARAMETER);
    const asn1_element_free release =
        objectType < token::object_types ? token::P15TypesFunctions[objectType].free : nullptr;
    Step step = {card, tokenContext, objectType, flags, Cursor(cursor, release), cardError};
    uint32_t code = 0;
    if (mode == ENUM_FIRST)
        code = open_walk(step);
    else if (mode > ENUM_CLOSE || !step.cursor.is_open())
        code = raise(PKCS15_E_INVALID_PARAMETER);
    if (code == 0 && mode != ENUM_CLOSE)
        code = next_object(step, reference);
    else if (code == 0 && reference != nullptr)
        *reference = nullptr;
    if (code != 0 || mode == ENUM_CLOSE)
        step.cursor.close();
    return code;
}

uint32_t pkcs15_ScFindObject(CardHandle card, TokenContext *tokenContext, uint32_t objectType,
                             const asn1_OctetString *identifier, uint32_t flags, ObjectReference **reference,
                             uint32_t *cardError) {
    token::ObjectWalk walk(card, tokenContext, objectType, flags, cardError);
    OwnedReference candidate;
    for (uint32_t mode = ENUM_FIRST;; mode = ENUM_NEXT) {
        const uint32_t code = walk.step(mode, candidate);
        if (code != 0)
            return raise(code == PKCS15_S_END_OF_ENUMERATION ? PKCS15_E_OBJECT_NOT_FOUND : code);
        if (matches(card, tokenContext, candidate.get(), identifier, cardError)) {
            *reference = candidate.release();
            return 0;
        }
    }
}
}
