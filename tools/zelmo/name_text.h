// Distinguished names as people write them.
#ifndef ZELMO_NAME_TEXT_H
#define ZELMO_NAME_TEXT_H

#include <string>

#include "der.h"

namespace zelmo {

/// An encoded Name as "CN=Ann Example, O=Example, C=DE", most significant part last; empty when it is malformed.
std::string nameText(Octets encoded);

}  // namespace zelmo

#endif
