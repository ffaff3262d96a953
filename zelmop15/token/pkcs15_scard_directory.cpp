// EF.DIR and the object directory file: finding the token's application, and its directory files.
#include "token/pkcs15_accessors.h"
#include "token/pkcs15_card_call.h"
#include "token/pkcs15_cursor.h"
#include "token/pkcs15_exception.h"
#include "token/pkcs15_log.h"
#include "token/pkcs15_types_functions.h"

using token::Cursor;
using token::FileBuffer;
using token::raise;
using token::Record;

namespace {

using DirRecordThunks = token::RecordThunks<DIRRecord, asn1_DIRRecord_e, asn1_DIRRecord_d, asn1_DIRRecord_free>;
using OdfEntryThunks =
    token::RecordThunks<PKCS15Objects, asn1_PKCS15Objects_e, asn1_PKCS15Objects_d, asn1_PKCS15Objects_free>;
using OwnedDirRecord = Owned<DIRRecord, asn1_DIRRecord_free>;

constexpr uint32_t path_from_root = 8;
constexpr uint8_t dir_path[] = {0x2F, 0x00};

uint32_t read_transparent_directory(CardHandle card, Cursor &cursor, uint32_t *cardError) {
    // Two zero octets behind the file end the run of values even when the file fills the buffer.
    constexpr uint32_t limit = FileBuffer::capacity - 2;
    FileBuffer file;
    if (!file)
        return raise(PKCS15_E_NO_MEMORY);
    if (const uint32_t code = file.read(card, nullptr, limit, cardError); code != 0)
        return raise(code);
    List *records = nullptr;
    if (pkcs15_DirectoryFile_d(file.begin(), file.end(), DirRecordThunks::d_thunk, DirRecordThunks::free_thunk,
                               &records, p15asn1LogFlag) == nullptr)
        return raise(PKCS15_E_INVALID_TOKEN);
    cursor.open_list(records);
    return 0;
}

uint32_t open_directory(CardHandle card, Cursor &cursor, uint32_t *cardError) {
    if (cursor.is_open())
        return raise(PKCS15_E_INVALID_PARAMETER);
    FileInfo info{};
    // A card without EF.DIR has no directories, and nothing is wrong with it.
    if (token::store_status(scardcmd_SelectFile(card, path_from_root, dir_path, sizeof dir_path, &info), cardError) !=
        0)
        return raise(PKCS15_S_END_OF_ENUMERATION);
    switch (info.fileType) {
        case token::transparent_file:
            return read_transparent_directory(card, cursor, cardError);
        case token::variable_record_file:
        case token::tlv_record_file:
            cursor.open_records();
            return 0;
        default:
            return raise(PKCS15_E_UNSUPPORTED);
    }
}

// Reads the records of EF.DIR within one call of the walk.
class DirRecordReader {
  public:
    DirRecordReader(CardHandle card, uint32_t *cardError) : card_(card), cardError_(cardError) {
        record_.length = sizeof record_.octets;
    }
    // The next record, whose length is the capacity for the one behind it.
    uint32_t next(OwnedDirRecord &decoded) {
        const uint32_t raw = token::store_status(record_.read(card_, 0, token::next_record), cardError_);
        if (raw == token::record_not_found) {
            token::store_status(0, cardError_);
            return raise(PKCS15_S_END_OF_ENUMERATION);
        }
        if (raw != 0)
            return raise(pkcs15_SCardException(raw));
        repair();
        return decode(decoded) ? 0 : raise(PKCS15_E_INVALID_TOKEN);
    }

  private:
    // Some cards put a two-byte header and a SEQUENCE where the application template should be. Its tag is put right,
    // and decoding starts behind the header for the rest of the call.
    void repair() {
        constexpr uint8_t sequence = 0x30;
        constexpr uint8_t application_template = 0x61;
        if (record_.length <= header || record_.octets[0] != 0 || record_.octets[header] != sequence)
            return;
        record_.octets[header] = application_template;
        offset_ = header;
    }
    bool decode(OwnedDirRecord &decoded) const {
        const uint32_t end = std::min<uint32_t>(offset_ + record_.length, sizeof record_.octets);
        DIRRecord *record = nullptr;
        asn1_DIRRecord_d(record_.octets + offset_, record_.octets + end, 0, &record, p15asn1LogFlag);
        decoded.reset(record);
        return record != nullptr;
    }

    static constexpr uint32_t header = 2;
    CardHandle card_;
    uint32_t *cardError_;
    Record record_;
    uint32_t offset_ = 0;
};

uint32_t take_first(List *records, OwnedDirRecord &record) {
    if (List_len(records) == 0)
        return raise(PKCS15_S_END_OF_ENUMERATION);
    record.reset(static_cast<DIRRecord *>(List_get(records, 0)));
    List_remove(records, 0, nullptr);
    return 0;
}

bool passes(const asn1_OctetString *aidFilter, const DIRRecord &record) {
    for (; aidFilter != nullptr && aidFilter->data != nullptr; ++aidFilter)
        if (asn1_OctetString_cmp(aidFilter, record.aid) == 0)
            return true;
    return false;
}

// Goes on to the next record that the filter names.
uint32_t next_directory(CardHandle card, const Cursor &cursor, const asn1_OctetString *aidFilter, DIRRecord **dirRecord,
                        uint32_t *cardError) {
    if (!cursor.is_open())
        return raise(PKCS15_E_INVALID_PARAMETER);
    DirRecordReader reader(card, cardError);
    for (;;) {
        OwnedDirRecord record;
        List *records = cursor.list();
        const uint32_t code = records != nullptr ? take_first(records, record) : reader.next(record);
        if (code != 0)
            return code;
        if (passes(aidFilter, *record)) {
            *dirRecord = record.release();
            return 0;
        }
    }
}

}  // namespace

extern "C" {

uint32_t pkcs15_ScEnumerateDirectories(CardHandle card, uint32_t mode, const asn1_OctetString *aidFilter,
                                       uintptr_t *cursor, DIRRecord **dirRecord, uint32_t *cardError) {
    if (cursor == nullptr)
        return raise(PKCS15_E_INVALID_PARAMETER);
    Cursor walk(cursor, DirRecordThunks::free_thunk);
    uint32_t code = 0;
    if (mode == ENUM_FIRST)
        code = open_directory(card, walk, cardError);
    else if (mode > ENUM_CLOSE || !walk.is_open())
        code = raise(PKCS15_E_INVALID_PARAMETER);
    if (code == 0 && mode != ENUM_CLOSE)
        code = next_directory(card, walk, aidFilter, dirRecord, cardError);
    if (code != 0 || mode == ENUM_CLOSE)
        walk.close();
    return code;
}

uint32_t pkcs15_ScReadODF(CardHandle card, const TokenContext *tokenContext, List **list, uint32_t *cardError) {
    FileBuffer file;
    if (!file)
        return raise(PKCS15_E_NO_MEMORY);
    uint32_t code = token::select_path(card, tokenContext, *tokenContext->dirRecord->ddo->odfPath, nullptr, cardError);
    if (code == 0)
        code = file.read(card, nullptr, FileBuffer::capacity, cardError);
    if (code != 0)
        return raise(code);
    List *entries = nullptr;
    if (pkcs15_DirectoryFile_d(file.begin(), file.end(), OdfEntryThunks::d_thunk, OdfEntryThunks::free_thunk, &entries,
                               p15asn1LogFlag) == nullptr)
        return raise(PKCS15_E_INVALID_TOKEN);
    *list = entries;
    return 0;
}

Path *pkcs15_GetPKCS15ObjectsPath(const PKCS15Objects *entry) {
    const PathOrObjects *content = entry->value;
    if (content == nullptr || token::selector(*content) != token::sequence_choice)
        return nullptr;
    return static_cast<Path *>(content->value);
}

Path *pkcs15_GetDirectoryFilePath(const List *odfEntries, uint32_t objectType) {
    if (objectType >= token::object_types)
        return nullptr;
    const int32_t count = List_len(odfEntries);
    for (int32_t i = 0; i < count; ++i) {
        const auto *entry = static_cast<const PKCS15Objects *>(List_get(odfEntries, i));
        if (token::selector(*entry) == objectType)
            return pkcs15_GetPKCS15ObjectsPath(entry);
    }
    return nullptr;
}
}
