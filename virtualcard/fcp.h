// The file control parameters that a selection answers.
#ifndef VIRTUALCARD_FCP_H
#define VIRTUALCARD_FCP_H

#include "virtualcard/image.h"

namespace virtualcard {

/// The FCP template (tag 62) of a file.
Bytes fileControlParameters(const File &file);

/// Appends the BER-TLV object `tag`, length, `value`; at most 65535 octets of value.
void appendObject(Bytes &out, uint8_t tag, const Bytes &value);

}  // namespace virtualcard

#endif
