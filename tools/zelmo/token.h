// An open token and a walk over all its objects.
#ifndef ZELMO_TOKEN_H
#define ZELMO_TOKEN_H

#include <memory>

#include "card.h"
#include "view.h"
#include "zelmop15/pkcs15.h"

namespace zelmo {

struct ReleaseToken {
    void operator()(TokenContext *context) const {
        pkcs15_ScReleaseTokenContext(context);
    }
};
using Token = std::unique_ptr<TokenContext, ReleaseToken>;

/// Opens the token of an application. Throws Failure.
Token openToken(const Card &card, const DIRRecord &application);

/// What a walk has found.
struct Walk {
    Json objects = Json::array();     ///< viewObject() of each object, by type and then in file order.
    Json unreadable = Json::array();  ///< {type, objectType, objectId, error} of what could not be read.
};

/// Reads every object of the nine types. What cannot be read is noted and does not stop the walk. Throws Failure only
/// when the card itself has gone.
Walk readObjects(const Card &card, TokenContext &token);

}  // namespace zelmo

#endif
