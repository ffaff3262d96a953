// A walk over all objects of a type, for callers inside the library.
#ifndef ZELMOP15_TOKEN_PKCS15_SCARD_WALK_H
#define ZELMOP15_TOKEN_PKCS15_SCARD_WALK_H

#include "token/pkcs15_scard_entry.h"

namespace token {

/// Walks with FLAG_REFRESH_CACHE or whatever else `flags` say, and closes the walk at the end of its life.
class ObjectWalk {
  public:
    ObjectWalk(CardHandle card, TokenContext *context, uint32_t objectType, uint32_t flags, uint32_t *cardError)
        : card_(card), context_(context), objectType_(objectType), flags_(flags), cardError_(cardError) {}
    ObjectWalk(const ObjectWalk &) = delete;
    ObjectWalk &operator=(const ObjectWalk &) = delete;
    /// A walk that is closed already, at its end or by a failure, leaves a line in the log.
    ~ObjectWalk() {
        pkcs15_ScEnumerateObjects(card_, context_, objectType_, ENUM_CLOSE, flags_, &cursor_, nullptr, cardError_);
    }
    /// ENUM_FIRST or ENUM_NEXT.
    uint32_t step(uint32_t mode, OwnedReference &reference) {
        ObjectReference *found = nullptr;
        const uint32_t code =
            pkcs15_ScEnumerateObjects(card_, context_, objectType_, mode, flags_, &cursor_, &found, cardError_);
        reference.reset(found);
        return code;
    }

  private:
    CardHandle card_;
    TokenContext *context_;
    uint32_t objectType_;
    uint32_t flags_;
    uint32_t *cardError_;
    uintptr_t cursor_ = 0;
};

}  // namespace token

#endif
