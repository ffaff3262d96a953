// A host that does all it can with the token of a card.
#ifndef ZELMOP15_FUZZ_TOKEN_HOST_H
#define ZELMOP15_FUZZ_TOKEN_HOST_H

#include "codec.h"
#include "zelmocrd/zelmocrd.h"

namespace fuzz {

/// Finds the token, opens it, proves who one is, walks, reads, finds and changes its objects, and closes it. Every call
/// must end in a code of the library, with its cursor closed where it says that it is at the end.
void use_card(CardHandle card);

}  // namespace fuzz

#endif
