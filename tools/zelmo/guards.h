// Which PINs open an object.
#ifndef ZELMO_GUARDS_H
#define ZELMO_GUARDS_H

#include <vector>

#include "pins.h"

namespace zelmo {

/// The PINs of which one opens the object for reading, by the rule that the library takes; none when the object names
/// none. Null attributes name none.
std::vector<const Pin *> readGuards(const CommonObjectAttributes *attributes, const std::vector<Pin> &pins);

}  // namespace zelmo

#endif
