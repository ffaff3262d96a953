// The container for a run of octets of known length: files, digests, signatures, keys.
//
// Nothing here locks or logs. A null where the contract does not allow one is a programming error and ends the process
// by assertion. All blocks come from the C heap.
#ifndef ZELMOP15_RUNTIME_BYTESTRING_H
#define ZELMOP15_RUNTIME_BYTESTRING_H

#include <cstdint>

#include "runtime/owned.h"

extern "C" {

/// Octets and their count, in two blocks of their own; the buffer has exactly `len` octets at all times. The fields are
/// those of asn1_ASN1String.
struct Bytestring {
    uint32_t len;   ///< Number of octets.
    uint8_t *data;  ///< Owned; null when `len` is 0.
};

/// New value of `count` octets, copied from `source` when given, zero otherwise. A count of 0 with a source takes the
/// source's text with its terminating zero, which counts. Null when memory is short.
Bytestring *Bytestring_new(uint32_t count, const uint8_t *source);
/// Copy of `bs`, which must not be null; null when memory is short.
Bytestring *Bytestring_clone(const Bytestring *bs);
/// Releases; null is allowed.
void Bytestring_free(Bytestring *bs);
/// Overwrites the octets with zeros, then releases: for secrets. Null is allowed.
void Bytestring_erase(Bytestring *bs);
/// 0 when equal, 1 when the lengths differ, otherwise -1 or 1 by the first octet that differs. No nulls.
int32_t Bytestring_cmp(const Bytestring *bs1, const Bytestring *bs2);
/// Appends `count` octets of `source`, which may lie in `bs` itself; without a source the new octets have no defined
/// value. Returns bs, or null with bs unchanged when memory is short or the length would pass 32 bits.
Bytestring *Bytestring_append(Bytestring *bs, uint32_t count, const uint8_t *source);
/// Appends bs2 to bs1 and returns bs1, or null with bs1 unchanged; for a null bs1 a copy of bs2.
Bytestring *Bytestring_concat(Bytestring *bs1, const Bytestring *bs2);
/// Removes up to `count` octets from the front. Returns bs; or null, with bs shortened all the same, when the buffer
/// cannot be made smaller.
Bytestring *Bytestring_shift(Bytestring *bs, uint32_t count);
}

/// An owned value, and one whose octets are overwritten at the end.
using OwnedBytestring = Owned<Bytestring, Bytestring_free>;
using SecretBytestring = Owned<Bytestring, Bytestring_erase>;

#endif
