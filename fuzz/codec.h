// What the fuzz targets share: requirements, and the targets of decoders.
#ifndef ZELMOP15_FUZZ_CODEC_H
#define ZELMOP15_FUZZ_CODEC_H

#include <span>

#include "asn1/record_table.h"

namespace fuzz {

using Octets = std::span<const uint8_t>;

/// Ends the process, as a finding, unless `holds`.
void require(bool holds, const char *type, const char *property);

/// Whether the octets may hold a length that is not minimal. ANY is stored cut short then, by design, so that what is
/// encoded from it need not be readable.
bool may_be_cut_short(Octets data);
/// Whether the octets may hold an element that decodes to something that no encoder writes: an object identifier or a
/// time without content.
bool may_be_unwritable(Octets data);

/// Starts the trace into nothing, so that its code runs as well.
void discard_trace();

/// What a target of decoders defines: its types, from the first to the last, and what it checks besides.
/// codec_target.cpp runs them. The first octet of an input is C0 or above for one of the other checks; below, it
/// chooses the type and, by its top bit, whether the trace runs. The rest is decoded. Besides what the sanitizers see,
///  - the position is behind the start and not behind the end; a failure leaves no value;
///  - measuring and writing agree to the octet;
///  - a decoded value encodes, and what was encoded decodes and encodes to the same octets;
///  - a copy encodes to the same octets.
struct Target {
    const char *first, *last;
    std::span<void (*const)(const uint8_t *data, size_t size)> other_checks;
};
extern const Target target;

}  // namespace fuzz

#endif
