// New entries of a TLV record file.
#include <cstring>

#include "token/pkcs15_card_call.h"
#include "token/pkcs15_exception.h"
#include "token/pkcs15_scard_entry.h"

using token::OwnedReference;
using token::raise;
using token::Record;

namespace {

constexpr uint32_t header = 2;
constexpr uint8_t free_record[header] = {0, 0};
constexpr uint32_t max_record_id = 255;

/// How an empty object of one kind is made.
struct Construction {
    uint32_t objectType;
    uint32_t selector;
    void *(*create)();
};

template <auto Create>
void *create_untyped() {
    return Create();
}

void *create_triple_des_key() {
    constexpr uint32_t triple_des = 4;
    return pkcs15_CreateSecretKey(triple_des);
}

constexpr Construction constructions[] = {
    {PKCS15_PRIVATE_KEYS, 16, create_untyped<pkcs15_CreatePrivateRSAKey>},
    {PKCS15_PUBLIC_KEYS, 16, create_untyped<pkcs15_CreatePublicRSAKey>},
    {PKCS15_SECRET_KEYS, 4, create_triple_des_key},
    {PKCS15_CERTIFICATES, 16, create_untyped<pkcs15_CreateX509CertificateType>},
    {PKCS15_DATA_OBJECTS, 16, create_untyped<pkcs15_CreateDataType>},
};

// Walks the selected file up to its first free record, of each record reading the header alone. `position` becomes the
// free record's number, counted from 1, or that of a new record at the file's end.
uint32_t find_free_record(CardHandle card, uint32_t &position, uint32_t *cardError) {
    Record record;
    for (position = 1; position <= max_record_id; ++position) {
        record.length = header;
        const uint32_t raw = token::store_status(record.read(card, 0, token::next_record), cardError);
        if (raw == token::record_not_found) {
            const uint32_t appended = scardcmd_AppendRecord(card, 0, free_record, header, 0);
            const uint32_t code = token::card_result(appended, cardError);
            return code != 0 ? raise(code) : 0;
        }
        if (raw != 0)
            return raise(pkcs15_SCardException(raw));
        if (record.length != header)
            return raise(PKCS15_E_UNSUPPORTED);
        if (std::memcmp(record.octets, free_record, header) == 0)
            return 0;
    }
    return raise(PKCS15_E_NO_CARD_SPACE);  // the position becomes the record's id, which is one octet
}

uint32_t create_object(uint32_t objectType, uint32_t selector, void **object) {
    *object = nullptr;
    for (const Construction &construction : constructions) {
        if (construction.objectType != objectType || construction.selector != selector)
            continue;
        *object = construction.create();
        return *object != nullptr ? 0 : raise(PKCS15_E_NO_MEMORY);
    }
    return raise(PKCS15_E_INVALID_PARAMETER);
}

}  // namespace

extern "C" {

uint32_t pkcs15_ScAllocDFEntry(CardHandle card, TokenContext *tokenContext, uint32_t objectType, uint32_t selector,
                               ObjectReference **reference, void **object, uint32_t *cardError) {
    FileInfo info{};
    if (token::select_directory_file(card, tokenContext, objectType, &info, cardError) != 0)
        return raise(PKCS15_E_FAILED);
    if (token::physical_file_type(tokenContext, info) != token::tlv_record_file)
        return raise(PKCS15_E_UNSUPPORTED);
    OwnedReference entry = token::new_reference(objectType, p15TLVDirectoryFileMethods);
    if (entry == nullptr)
        return raise(PKCS15_E_NO_MEMORY);
    uint32_t position = 0;
    if (const uint32_t code = find_free_record(card, position, cardError); code != 0)
        return code;
    entry->objectId = static_cast<uint8_t>(position);
    entry->entryState = ENTRY_ALLOCATED;
    entry->savedLength = header;
    std::memcpy(entry->savedRecord, free_record, header);
    *reference = entry.release();
    return create_object(objectType, selector, object);
}
}
