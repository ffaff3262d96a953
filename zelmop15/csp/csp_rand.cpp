// The random generator: P_hash makes the key of each request from the state, AES in output feedback makes its octets.
#include "csp/csp_rand.h"

#include <cstring>
#include <ctime>

#include "csp/csp.h"
#include "csp/mf.h"
#include "runtime/assertion.h"
#include "runtime/owned.h"

namespace {

constexpr uint32_t aes_block = 16;
/// Octets at the front of the state that a request changes.
constexpr uint32_t folded = 256;

/// What a request draws from the state.
struct Expansion {
    uint8_t key[aes_block];
    uint8_t feedback[aes_block];  ///< Where the output feedback starts.
    uint8_t fold[folded];
    uint8_t unused[12];  ///< Fills the 15 digests.
};
static_assert(sizeof(Expansion) == 300);

void unlock(void *ctx) {
    trng_unlock(static_cast<CspContext *>(ctx));
}

/// Does the work and gives the mutex back, also where a trace ends the thread. Without exceptions no destructor runs
/// then, so it takes a clean-up handler.
uint32_t work_and_unlock(CspContext *ctx, uint32_t (*work)(CspContext *ctx, void *argument), void *argument) {
    volatile uint32_t result = 0;
    pthread_cleanup_push(unlock, ctx);
    result = work(ctx, argument);
    pthread_cleanup_pop(1);
    return result;
}

/// A key that nobody needs again: it only keeps one seed from giving the same state in two different seconds.
void make_throw_away_key(uint8_t (&key)[24]) {
    for (uint32_t i = 0; i < sizeof key; ++i)
        key[i] = static_cast<uint8_t>(11 * i * i + 97 * i + 61);
    const auto now = static_cast<uint64_t>(std::time(nullptr));
    for (uint32_t i = 0; i < 4; ++i)
        key[i] ^= static_cast<uint8_t>(now >> i);
}

uint32_t expand(CspContext *ctx, Expansion *expansion) {
    uint8_t text[] = {'e', 'n', 't', 'r', 'o', 'p', 'y', ' ', 'u', 'p', 'd', 'a', 't', 'e'};
    const Bytestring label = {sizeof text, text};
    Bytestring block = {sizeof *expansion, reinterpret_cast<uint8_t *>(expansion)};
    return P_hash(ctx, CSP_ALG_SHA1, ctx->state, &label, &block);
}

/// AES in output feedback. Only the first octet of each block is given out, on purpose.
bool fill(const Expansion &expansion, Bytestring *out) {
    const OwnedBlock<void> aes(mf_aesinit(8 * aes_block, expansion.key, 1, 8 * aes_block, nullptr));
    if (aes == nullptr)
        return false;
    uint8_t feedback[aes_block];
    std::memcpy(feedback, expansion.feedback, sizeof feedback);
    for (uint32_t i = 0; i < out->len; ++i) {
        mf_blockEncrypt(aes.get(), feedback, 8 * aes_block, feedback);
        out->data[i] = feedback[0];
    }
    return true;
}

uint32_t replace_state(CspContext *ctx, void *seed) {
    Bytestring_free(ctx->state);
    uint8_t octets[24];
    make_throw_away_key(octets);
    const Bytestring key = {sizeof octets, octets};
    const auto *const from = static_cast<const Bytestring *>(seed);
    ctx->state = Bytestring_new(from->len, nullptr);
    if (ctx->state == nullptr)
        return CSP_ERR_INTERNAL;
    return trng_crypt(ctx, 0, &key, from, ctx->state);
}

uint32_t copy_state(CspContext *ctx, void *copy) {
    const Bytestring *const state = ctx->state;
    ZELMO_ASSERT_GIVEN(state);
    auto *const made = static_cast<Bytestring **>(copy);
    *made = Bytestring_clone(state);
    if (*made == nullptr)
        return CSP_ERR_MEMORY;
    return 0;
}

uint32_t draw(CspContext *ctx, void *out) {
    if (ctx->state == nullptr)
        return CSP_ERR_ENTROPY;
    Expansion expansion;
    if (const uint32_t failure = expand(ctx, &expansion); failure != 0)
        return failure;
    if (!fill(expansion, static_cast<Bytestring *>(out)))
        return CSP_ERR_MEMORY;
    for (uint32_t i = 0; i < folded && i < ctx->state->len; ++i)
        ctx->state->data[i] ^= expansion.fold[i];
    return 0;
}

/// Locks for work on the state itself. A failed locking is unlocked all the same.
uint32_t with_state(CspContext *ctx, uint32_t (*work)(CspContext *ctx, void *argument), void *argument) {
    if (trng_lock(ctx) != 0) {
        trng_unlock(ctx);
        return CSP_ERR_INTERNAL;
    }
    return work_and_unlock(ctx, work, argument);
}

/// Gives the first octet, and behind it the rest of the number's top bits, their values.
void shape_top(uint8_t *buffer, uint32_t bits, int32_t top) {
    const uint32_t top_bit = (bits - 1) % 8;
    uint32_t first = buffer[0];
    if (top == 0)
        first |= 1U << top_bit;
    else if (top != -1 && top_bit > 0)
        first |= 3U << (top_bit - 1);
    else if (top != -1) {
        first = 1;
        // A number of one bit has no second one.
        if (bits > 1)
            buffer[1] |= 0x80;
    }
    buffer[0] = static_cast<uint8_t>(first & ((2U << top_bit) - 1));
}

}  // namespace

extern "C" {

uint32_t trng_lock(CspContext *csp) {
    ZELMO_ASSERT_GIVEN(csp);
    if (pthread_mutex_lock(&csp->lock) != 0)
        return CSP_ERR_INTERNAL;
    return 0;
}

uint32_t trng_unlock(CspContext *csp) {
    ZELMO_ASSERT_GIVEN(csp);
    if (pthread_mutex_unlock(&csp->lock) != 0)
        return CSP_ERR_INTERNAL;
    return 0;
}

uint32_t trng_crypt(CspContext *csp, uint32_t direction, const Bytestring *key, const Bytestring *input,
                    Bytestring *output) {
    ZELMO_ASSERT_GIVEN(csp);
    ZELMO_ASSERT_GIVEN(key);
    ZELMO_ASSERT_GIVEN(input);
    ZELMO_ASSERT_GIVEN(output);
    SymCipherSession *session = nullptr;
    if (const uint32_t failure = CSP_sym_init(csp, CSP_SYM_ARCFOUR, key, nullptr, &session); failure != 0)
        return failure;
    const uint32_t result =
        direction == 0 ? CSP_sym_enc(csp, session, input, output) : CSP_sym_dec(csp, session, input, output);
    CSP_sym_final(csp, session);
    return result;
}

uint32_t CSP_RNG_set_state(CspContext *ctx, const Bytestring *state) {
    ZELMO_ASSERT_GIVEN(ctx);
    ZELMO_ASSERT_GIVEN(state);
    return with_state(ctx, replace_state, const_cast<Bytestring *>(state));
}

uint32_t CSP_RNG_get_state(CspContext *ctx, Bytestring **state) {
    ZELMO_ASSERT_GIVEN(ctx);
    ZELMO_ASSERT_GIVEN(state);
    return with_state(ctx, copy_state, state);
}

uint32_t CSP_RNG_get_bytes(CspContext *ctx, Bytestring *out) {
    ZELMO_ASSERT_GIVEN(ctx);
    if (out == nullptr)
        return CSP_ERR_PARAM;
    if (trng_lock(ctx) != 0)
        return CSP_ERR_MEMORY;
    return work_and_unlock(ctx, draw, out);
}

uint32_t CSP_RNG_get_bits(CspContext *ctx, uint8_t *buffer, uint32_t bits, int32_t top, uint32_t bottom) {
    ZELMO_ASSERT_GIVEN(ctx);
    if (bits == 0)
        return 0;
    if (buffer == nullptr)
        return CSP_ERR_PARAM;
    Bytestring out = {(bits - 1) / 8 + 1, buffer};
    if (const uint32_t failure = CSP_RNG_get_bytes(ctx, &out); failure != 0)
        return failure;
    shape_top(buffer, bits, top);
    if (bottom != 0)
        buffer[out.len - 1] |= 1;
    return 0;
}
}
