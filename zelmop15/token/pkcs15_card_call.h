// Calls of the card service: where the raw result goes, and room for what is read.
#ifndef ZELMOP15_TOKEN_PKCS15_CARD_CALL_H
#define ZELMOP15_TOKEN_PKCS15_CARD_CALL_H

#include <algorithm>

#include "runtime/owned.h"
#include "zelmop15/pkcs15.h"

namespace token {

/// Raw result that ends a walk over records; everywhere else it is a failure.
inline constexpr uint32_t record_not_found = 0xE0116A83;

/// How scardcmd_ReadRecord() and scardcmd_UpdateRecord() address a record.
enum : uint32_t { by_record_id = 0, next_record = 2, by_record_number = 4 };

/// File types that a selection tells and that directories are kept in.
enum : uint32_t { transparent_file = 1, variable_record_file = 4, tlv_record_file = 5 };

/// Hands a raw result to the host, whose place may be null, and yields it.
inline uint32_t store_status(uint32_t raw, uint32_t *cardError) {
    if (cardError != nullptr)
        *cardError = raw;
    return raw;
}

/// Hands a raw result to the host and yields the library's code for it.
inline uint32_t card_result(uint32_t raw, uint32_t *cardError) {
    return pkcs15_SCardException(store_status(raw, cardError));
}

/// A record of a directory file.
struct Record {
    uint8_t octets[PKCS15_MAX_RECORD] = {};
    uint32_t length = 0;  ///< Before a read the capacity that is offered, behind it the octets delivered.

    /// Reads a record to the buffer's start; raw result.
    uint32_t read(CardHandle card, uint8_t recordId, uint32_t mode) {
        const uint32_t capacity = length;
        const uint32_t raw = scardcmd_ReadRecord(card, recordId, 0, mode, 0, octets, &length);
        length = std::min(length, capacity);
        return raw;
    }
};

/// Room for one whole file; empty when memory was short.
class FileBuffer {
  public:
    /// Greatest file that is read.
    static constexpr uint32_t capacity = 32768;

    explicit operator bool() const {
        return octets_ != nullptr;
    }
    /// Reads the selected file, or the one with the short file identifier at `fileReference`, up to `limit` octets.
    /// Behind them the buffer holds zeros. Mapped result.
    uint32_t read(CardHandle card, const uint8_t *fileReference, uint32_t limit, uint32_t *cardError) {
        length_ = limit;
        const uint32_t raw = scard_ReadEFBinary(card, fileReference, 0, octets_.get(), &length_, 0);
        length_ = std::min(length_, limit);
        return card_result(raw, cardError);
    }
    uint8_t *begin() {
        return octets_.get();
    }
    const uint8_t *end() const {
        return octets_.get() + length_;
    }
    /// Takes the first `length` octets for the whole file.
    void set_length(uint32_t length) {
        length_ = length;
    }

  private:
    OwnedBlock<uint8_t> octets_{allocate<uint8_t>(capacity)};
    uint32_t length_ = 0;
};

/// pkcs15_ScSelectFile() for a decoded path.
inline uint32_t select_path(CardHandle card, const TokenContext *context, const Path &path, FileInfo *fileInfo,
                            uint32_t *cardError) {
    return pkcs15_ScSelectFile(card, context, path.path->data, path.path->len, fileInfo, cardError);
}

}  // namespace token

#endif
