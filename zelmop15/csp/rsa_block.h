// Blocks of PKCS #1 v1.5, as long as the modulus:
//
//     00  type  padding, 8 octets at least  00  data
//
// Padding is FF in type 1 (private exponent) and anything but 00 in type 2 (public exponent).
#ifndef ZELMOP15_CSP_RSA_BLOCK_H
#define ZELMOP15_CSP_RSA_BLOCK_H

#include "csp/rsa.h"
#include "runtime/assertion.h"

namespace csp {

enum BlockType : uint8_t { private_block = 1, public_block = 2 };

/// Raises a number to one of the key's exponents; false on failure.
using Power = bool (*)(const RsaKey *key, const aauint *base, aauint *result);
bool public_power(const RsaKey *key, const aauint *base, aauint *result);
bool private_power(const RsaKey *key, const aauint *base, aauint *result);

/// Takes the input as a number, raises it, and writes a whole block. The result is that of the operations of rsa.h, as
/// with the next two.
int32_t raise(const RsaKey *key, Power power, const uint8_t *input, uint32_t length, uint8_t *output);
/// The same for an input that must not be longer than a block.
int32_t raise_raw(const RsaKey *key, Power power, const Bytestring *input, Bytestring *output);
/// Raises a whole block and copies the data that it then holds.
int32_t raise_and_strip(const RsaKey *key, Power power, BlockType type, const Bytestring *input, Bytestring *output);

/// Writes the padding, without looking at what was there; false on failure.
using WritePadding = bool (*)(CspContext *ctx, uint8_t *padding, uint32_t count);
/// Puts the data into a block and raises that.
int32_t pad_and_raise(CspContext *ctx, const RsaKey *key, Power power, BlockType type, WritePadding write_padding,
                      const Bytestring *input, Bytestring *output);

}  // namespace csp

#endif
