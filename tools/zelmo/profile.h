// What 'zelmo card new' makes.
#ifndef ZELMO_PROFILE_H
#define ZELMO_PROFILE_H

#include <string>
#include <vector>

#include "virtualcard/image.h"

namespace zelmo {

/// A kind of new card.
struct Profile {
    const char *name;
    const char *description;
    virtualcard::CardImage (*make)();
};

/// All profiles; the first is the default.
const std::vector<Profile> &profiles();

/// A token in transparent files, to be read only: PIN, PUK, two key pairs, an administration key, three certificates, a
/// data object.
virtualcard::CardImage eidCard();
/// A token with directories of records, which can be changed once its PIN is verified.
virtualcard::CardImage recordsCard();
/// A card with nothing but its root, in use.
virtualcard::CardImage emptyCard();
/// A card with nothing but its root, as it is delivered.
virtualcard::CardImage blankCard();

}  // namespace zelmo

#endif
