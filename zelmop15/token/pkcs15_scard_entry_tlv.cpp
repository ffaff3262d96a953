// Entries of a TLV record file: one object per record, behind the record's id and the length of its body.
#include <cstring>

#include "runtime/assertion.h"
#include "token/pkcs15_card_call.h"
#include "token/pkcs15_dircache.h"
#include "token/pkcs15_exception.h"
#include "token/pkcs15_log.h"
#include "token/pkcs15_scard_entry.h"
#include "token/pkcs15_types_functions.h"

using token::raise;
using token::Record;

namespace {

constexpr uint32_t header = 2;
constexpr uint32_t max_body = PKCS15_MAX_RECORD - header;
constexpr uint8_t free_record[header] = {0, 0};

const P15TypeFunctions &functions_of(const ObjectReference &reference) {
    return token::P15TypesFunctions[reference.objectType];
}

// Reads the record from the card into the cache as well; quiet.
uint32_t read_from_card(CardHandle card, TokenContext *context, ObjectReference *reference, Record &record,
                        uint32_t *cardError) {
    if (const uint32_t code = token::select_directory_file(card, context, reference->objectType, nullptr, cardError);
        code != 0)
        return code;
    const uint8_t recId = reference->objectId;
    if (const uint32_t code = token::card_result(record.read(card, recId, token::by_record_id), cardError); code != 0)
        return code;
    ZELMO_ASSERT(record.octets[0] == recId, "(data[0] == recId)");
    ZELMO_ASSERT(record.octets[1] == record.length - header, "(data[1] == datalen - 2)");
    pkcs15_DirCachePut(context->dirCache, reference, record.octets, record.length);
    return 0;
}

// Encodes the object as the body of the record; the size in octets.
uint32_t encode_body(const ObjectReference &reference, const void *object, Record &record) {
    const asn1_element_e encoder = functions_of(reference).encoder;
    const uint32_t l = encoder(nullptr, object);
    ZELMO_ASSERT(static_cast<int32_t>(l) > 0, "(l > 0)");
    if (l > max_body)
        return l;
    record.octets[0] = reference.objectId;
    record.octets[1] = static_cast<uint8_t>(l);
    record.length = l + header;
    uint8_t *body = record.octets + header;
    return encoder(&body, object);
}

// Writes a record and has the cache show what was intended, whether or not the card took it. Mapped result.
uint32_t write_record(CardHandle card, TokenContext *context, ObjectReference *reference, uint32_t mode,
                      const uint8_t *octets, uint32_t length, uint32_t *cardError) {
    const uint32_t raw = scardcmd_UpdateRecord(card, reference->objectId, 0, mode, octets, length, 0);
    token::store_status(raw, cardError);
    pkcs15_DirCachePut(context->dirCache, reference, octets, length);
    return pkcs15_SCardException(raw);
}

// Puts other octets in the place of the entry's record; quiet.
uint32_t replace_record(CardHandle card, TokenContext *context, ObjectReference *reference, const uint8_t *octets,
                        uint32_t length, uint32_t *cardError) {
    const uint32_t code = token::select_directory_file(card, context, reference->objectType, nullptr, cardError);
    return code != 0 ? code : write_record(card, context, reference, token::by_record_id, octets, length, cardError);
}

bool is_open(uint32_t entryState) {
    return entryState == ENTRY_ALLOCATED || entryState == ENTRY_READ || entryState == ENTRY_WRITTEN;
}

// What a release does before it closes the entry; quiet.
uint32_t finish(CardHandle card, TokenContext *context, ObjectReference *reference, uint32_t mode, const void *object,
                uint32_t *cardError) {
    const uint32_t state = reference->entryState;
    if (!is_open(state))
        return PKCS15_E_UNSUPPORTED;
    switch (mode) {
        case RELEASE_COMMIT:
            return pkcs15_ScUpdateTLVDFEntry(card, context, reference, object, cardError);
        case RELEASE_ERASE:
            if (state == ENTRY_ALLOCATED)
                return 0;  // the record on the card is free already
            return replace_record(card, context, reference, free_record, header, cardError);
        case RELEASE_DISCARD:
            if (state != ENTRY_WRITTEN)
                return 0;
            return replace_record(card, context, reference, reference->savedRecord, reference->savedLength, cardError);
        default:
            return PKCS15_E_UNSUPPORTED;
    }
}

}  // namespace

extern "C" {

const P15DirectoryFileMethods p15TLVDirectoryFileMethods = {pkcs15_ScGetTLVDFEntry, pkcs15_ScUpdateTLVDFEntry,
                                                            pkcs15_ScReleaseTLVDFEntry};

uint32_t pkcs15_ScGetTLVDFEntry(CardHandle card, TokenContext *tokenContext, ObjectReference *reference, uint32_t flags,
                                void **object, uint32_t *cardError) {
    const P15TypeFunctions &functions = functions_of(*reference);
    Record record;
    record.length = sizeof record.octets;
    *object = nullptr;
    if (pkcs15_DirCacheGet(tokenContext->dirCache, reference, flags, record.octets, &record.length) != 0) {
        const uint32_t code = read_from_card(card, tokenContext, reference, record, cardError);
        if (code != 0)
            return code;
    }
    void *decoded = nullptr;
    const uint8_t *z =
        functions.decoder(record.octets + header, record.octets + record.length, 0, &decoded, p15asn1LogFlag);
    if (z == nullptr || decoded == nullptr) {
        functions.free(decoded);
        return raise(PKCS15_E_UNSUPPORTED);
    }
    reference->entryState = ENTRY_READ;
    reference->savedLength = record.length;
    std::memcpy(reference->savedRecord, record.octets, record.length);
    *object = decoded;
    return 0;
}

uint32_t pkcs15_ScUpdateTLVDFEntry(CardHandle card, TokenContext *tokenContext, ObjectReference *reference,
                                   const void *object, uint32_t *cardError) {
    if (object == nullptr)
        return raise(PKCS15_E_INVALID_PARAMETER);
    if (const uint32_t code =
            token::select_directory_file(card, tokenContext, reference->objectType, nullptr, cardError);
        code != 0)
        return raise(code);
    Record record;
    const uint32_t size = encode_body(*reference, object, record);
    if (size > max_body)
        return raise(PKCS15_E_NO_CARD_SPACE);
    if (size == 0)
        return raise(PKCS15_E_NO_MEMORY);  // it could be measured, so memory ran short in between
    if (!is_open(reference->entryState))
        return raise(PKCS15_E_UNSUPPORTED);
    // A free record has no id to address it by; the entry's id is its position.
    const uint32_t mode = reference->entryState == ENTRY_ALLOCATED ? token::by_record_number : token::by_record_id;
    const uint32_t code = write_record(card, tokenContext, reference, mode, record.octets, record.length, cardError);
    if (code != 0)
        return raise(code);
    reference->entryState = ENTRY_WRITTEN;
    return 0;
}

uint32_t pkcs15_ScReleaseTLVDFEntry(CardHandle card, TokenContext *tokenContext, ObjectReference *reference,
                                    uint32_t mode, void *object, uint32_t *cardError) {
    const uint32_t code = finish(card, tokenContext, reference, mode, object, cardError);
    reference->entryState = ENTRY_CLOSED;
    functions_of(*reference).free(object);
    return code;
}
}
