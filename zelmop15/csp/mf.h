// The primitives of the crypto service provider: each knows one published algorithm and nothing else.
//
// A context or schedule is one block on the C heap, opaque to the callers, and holds no pointers: a copy of its octets
// is an independent one. Setups return 0, or CSP_ERR_MEMORY when memory is short. No argument may be null unless a line
// says so, and no key length is tested unless a line says so.
#ifndef ZELMOP15_CSP_MF_H
#define ZELMOP15_CSP_MF_H

#include <cstdint>

extern "C" {

// ---- hash functions ------------------------------------------------------------------------------------------------

// Init makes and starts a context. Update absorbs `length` octets, which may be none, with null bytes. Final writes the
// digest, overwrites the context with zeros and releases it.

uint32_t mf_md2Init(void **context);  ///< RFC 1319, 16 octets.
void mf_md2Update(void *context, const uint8_t *bytes, uint32_t length);
void mf_md2Final(void *context, uint8_t *digest);

uint32_t mf_md5Init(void **context);  ///< RFC 1321, 16 octets.
void mf_md5Update(void *context, const uint8_t *bytes, uint32_t length);
void mf_md5Final(void *context, uint8_t *digest);

uint32_t mf_shaInit(void **context);  ///< SHA-1 of FIPS 180-1, 20 octets.
void mf_shaUpdate(void *context, const uint8_t *bytes, uint32_t length);
void mf_shaFinal(void *context, uint8_t *digest);

uint32_t mf_md160Init(void **context);  ///< RIPEMD-160, 20 octets.
void mf_md160Update(void *context, const uint8_t *bytes, uint32_t length);
/// The exception: overwrites the context but keeps the block, on purpose, so it stays allocated until process end.
void mf_md160Final(void *context, uint8_t *digest);

/// Octets of each context block.
extern const uint32_t mf_md2ContextSize, mf_md5ContextSize, mf_shaContextSize, mf_md160ContextSize;

// ---- ciphers -------------------------------------------------------------------------------------------------------

// A schedule serves both directions: 0 enciphers, 1 deciphers. `in` and `out` may be the same. The turning functions
// return 0.

/// RC2 (RFC 2268) with `length` octets of key, 1 to 128, all of them effective. CSP_ERR_PARAM for another length.
uint32_t mf_rc2init(const uint8_t *key, uint8_t length, void **schedule);
uint32_t mf_rc2(const uint8_t *in, uint8_t *out, uint32_t direction, const void *schedule);

/// arcfour with `length` octets of key, 1 to 255; CSP_ERR_PARAM for 0. A run goes on where the one before it ended;
/// direction has no effect.
uint32_t mf_arcfourinit(const uint8_t *key, uint8_t length, void **schedule);
uint32_t mf_arcfour(const uint8_t *in, uint32_t length, uint8_t *out, uint32_t direction, void *schedule);

/// DES (FIPS 46) with 8 octets of key; parity bits are ignored.
uint32_t mf_desinit(const uint8_t *key, void **schedule);
uint32_t mf_des(const uint8_t *in, uint8_t *out, uint32_t direction, const void *schedule);

/// Triple DES: encrypt with key1, decrypt with key2, encrypt with key3, of 8 octets each.
uint32_t mf_des3init(const uint8_t *key1, const uint8_t *key2, const uint8_t *key3, void **schedule);
uint32_t mf_des3(const uint8_t *in, uint8_t *out, uint32_t direction, const void *schedule);

/// IDEA with 16 octets of key.
uint32_t mf_ideainit(const uint8_t *key, void **schedule);
uint32_t mf_idea(const uint8_t *in, uint8_t *out, uint32_t direction, const void *schedule);

/// Rijndael with keys and blocks of 128, 192 or 256 bits each (FIPS 197 is the block of 128), mode 1 to 3, and an
/// initial value of one block, or null. Null for anything else and when memory is short.
void *mf_aesinit(uint32_t key_bits, const uint8_t *key, uint32_t mode, uint32_t block_bits, const uint8_t *iv);
/// Turns the whole blocks in `bits` bits of input, each for itself. The bits handled; -2 for a context with a bad key
/// size; -5 for one in a bad state, among them every mode but 1.
int32_t mf_blockEncrypt(void *context, const uint8_t *in, uint32_t bits, uint8_t *out);
int32_t mf_blockDecrypt(void *context, const uint8_t *in, uint32_t bits, uint8_t *out);
}

#endif
