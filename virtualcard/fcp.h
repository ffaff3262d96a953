// The file control parameters that a selection answers.
#ifndef VIRTUALCARD_FCP_H
#define VIRTUALCARD_FCP_H

#include <optional>
#include <span>

#include "virtualcard/image.h"

namespace virtualcard {

/// The FCP template (tag 62) of a file.
Bytes fileControlParameters(const File &file);

/// The first octet of a file descriptor (tag 82).
uint8_t descriptorOctet(FileKind kind);

/// One BER-TLV object of a one-octet tag.
struct Object {
    uint8_t tag = 0;
    std::span<const uint8_t> value;
};
/// Takes the next object off the front of `octets`; nothing when what stands there is none that fits.
std::optional<Object> takeObject(std::span<const uint8_t> &octets);

/// Appends the BER-TLV object `tag`, length, `value`; at most 65535 octets of value.
void appendObject(Bytes &out, uint8_t tag, const Bytes &value);

}  // namespace virtualcard

#endif
