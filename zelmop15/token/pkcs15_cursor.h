// The cursor of a walk over a directory file.
#ifndef ZELMOP15_TOKEN_PKCS15_CURSOR_H
#define ZELMOP15_TOKEN_PKCS15_CURSOR_H

#include "zelmop15/pkcs15.h"

namespace token {

/// Cursor of a walk over a record file; no list stands at an odd address.
inline constexpr uintptr_t RECORD_CURSOR = 1;

/// A view of the cursor that the host keeps between calls: 0 when closed, RECORD_CURSOR, or a List of decoded values,
/// which the cursor owns.
class Cursor {
  public:
    /// `release` gives back a value of the list.
    Cursor(uintptr_t *place, asn1_element_free release) : place_(*place), release_(release) {}
    bool is_open() const {
        return place_ != 0;
    }
    /// The list; null when closed or over a record file.
    List *list() const {
        return place_ == RECORD_CURSOR ? nullptr : reinterpret_cast<List *>(place_);
    }
    void open_records() {
        place_ = RECORD_CURSOR;
    }
    /// Takes the list over.
    void open_list(List *list) {
        place_ = reinterpret_cast<uintptr_t>(list);
    }
    void close() {
        List_free(list(), release_);
        place_ = 0;
    }

  private:
    uintptr_t &place_;
    asn1_element_free release_;
};

}  // namespace token

#endif
