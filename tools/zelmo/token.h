// An open token and a walk over all its objects.
#ifndef ZELMO_TOKEN_H
#define ZELMO_TOKEN_H

#include <initializer_list>
#include <memory>
#include <vector>

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

struct FreeReference {
    void operator()(ObjectReference *reference) const {
        pkcs15_ObjectReferenceFree(reference);
    }
};
using OwnedReference = std::unique_ptr<ObjectReference, FreeReference>;

/// Opens the token of an application. Throws Failure.
Token openToken(const Card &card, const DIRRecord &application);

/// The nine object types.
inline constexpr std::initializer_list<uint32_t> allTypes = {0, 1, 2, 3, 4, 5, 6, 7, 8};

/// What a walk has found.
struct Walk {
    Json objects = Json::array();            ///< viewObject() of each object, by type and then in file order.
    Json unreadable = Json::array();         ///< {type, objectType, objectId, error} of what could not be read.
    std::vector<OwnedReference> references;  ///< To the objects, in the same order; they must not outlive the token.
};

/// The error member of what cannot be read: {code, name, cardError, cardErrorText, exitCode}.
Json errorJson(uint32_t code, uint32_t raw);

/// Throws Failure when the card has gone: what is left to do would fail as well.
void throwIfCardGone(uint32_t code, uint32_t raw);

/// The authentication objects that the token was opened with, as viewObject() shows them.
Json authObjects(const TokenContext &token);

/// Reads every object of these types, of all nine when there are none. What cannot be read is noted and does not stop
/// the walk. Throws Failure only when the card itself has gone.
Walk readObjects(const Card &card, TokenContext &token, std::initializer_list<uint32_t> types = {});

}  // namespace zelmo

#endif
