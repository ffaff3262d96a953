// Domain parameters, by the search of FIPS 186, appendix 2.2. SEED, U, W, X and the counter are named as there.
#include <cstring>

#include "csp/csp_key.h"
#include "csp/dsa.h"
#include "csp/mf.h"

namespace {

using csp::Number;

constexpr uint32_t seed_octets = 20;
/// Candidates for p that are tried with one q.
constexpr uint32_t max_counter = 4096;
constexpr uint32_t prime_rounds = 10;

/// SEED, and the number that starts at SEED and is counted up for each digest.
struct Seed {
    uint8_t octets[seed_octets];
    uint8_t work[seed_octets];
};

/// Octets of the longest p, and of the digests that make one.
constexpr uint32_t max_p_octets = 32 * 512 / 8;
constexpr uint32_t max_w_octets = max_p_octets + seed_octets;

bool sha1(const uint8_t *octets, uint8_t *digest) {
    void *context = nullptr;
    if (mf_shaInit(&context) != 0)
        return false;
    mf_shaUpdate(context, octets, seed_octets);
    mf_shaFinal(context, digest);
    return true;
}

/// Adds 1 to a number of 160 bits, which wraps.
void count_up(uint8_t *work) {
    uint32_t i = seed_octets;
    while (i > 0 && ++work[i - 1] == 0)
        --i;
}

bool draw_seed(CspContext *ctx, Seed *seed) {
    Bytestring drawn = {seed_octets, seed->octets};
    return CSP_RNG_get_bytes(ctx, &drawn) == 0;
}

/// Makes the candidate for q that belongs to SEED, and brings `work` to SEED + 1.
bool make_q(Seed *seed, aauint *q) {
    uint8_t u[seed_octets];
    uint8_t other[seed_octets];
    std::memcpy(seed->work, seed->octets, seed_octets);
    count_up(seed->work);
    if (!sha1(seed->octets, u) || !sha1(seed->work, other))
        return false;
    for (uint32_t i = 0; i < seed_octets; ++i)
        u[i] ^= other[i];
    u[0] |= 0x80;
    u[seed_octets - 1] |= 0x01;
    aa_uchar2aauint(q, 8 * seed_octets, u);
    return true;
}

/// X = 2^(L - 1) + (W modulo 2^(L - 1)), for an L of whole octets: the digests stand one before the other, the first
/// of them last, and their last L bits with the top one set are X.
bool make_x(Seed *seed, uint32_t p_octets, aauint *x) {
    uint8_t w[max_w_octets] = {};
    uint32_t start = sizeof w;
    for (uint32_t done = 0; done < p_octets; done += seed_octets) {
        count_up(seed->work);
        start -= seed_octets;
        if (!sha1(seed->work, w + start))
            return false;
    }
    uint8_t *const first = w + sizeof w - p_octets;
    *first |= 0x80;
    aa_uchar2aauint(x, 8 * p_octets, first);
    return true;
}

/// p = X - (X modulo 2q - 1), which is 1 modulo 2q.
bool make_p(const aauint *x, const aauint *q, aauint *p) {
    Number doubled;
    Number c;
    return aa_shift(q, 1, doubled) == 0 && aa_mod(x, c, doubled) == 0 && aa_sub(x, c, p) == 0 && aa_incr(p) == 0;
}

enum class Search { found, none, failed };

/// Looks for p among the candidates that belong to SEED and q. One that has lost its top bit is no candidate.
Search find_p(Seed *seed, uint32_t p_octets, const aauint *q, aauint *p, uint32_t *counter) {
    Number x;
    for (*counter = 0; *counter < max_counter; ++*counter) {
        if (!make_x(seed, p_octets, x) || !make_p(x, q, p))
            return Search::failed;
        if (static_cast<uint32_t>(aa_lb(p)) + 1 >= 8 * p_octets && dsa_is_prime(p) == 1)
            return Search::found;
    }
    return Search::none;
}

/// Looks for q and p, from one SEED after the other.
bool find_primes(CspContext *ctx, Seed *seed, uint32_t p_octets, aauint *p, aauint *q, uint32_t *counter) {
    for (;;) {
        if (!make_q(seed, q))
            return false;
        const Search search = dsa_is_prime(q) == 1 ? find_p(seed, p_octets, q, p, counter) : Search::none;
        if (search != Search::none)
            return search == Search::found;
        if (!draw_seed(ctx, seed))
            return false;
    }
}

/// g = h ^ ((p - 1) / q) modulo p, with the first h from 2 up that does not give 1.
bool find_g(const aauint *p, const aauint *q, aauint *g, uint32_t *h) {
    Number exponent;
    Number remainder;
    if (aa_sub(p, AA_ONE, exponent) != 0 || aa_div(exponent, q, exponent, remainder) != 0)
        return false;
    for (*h = 2;; ++*h) {
        aauint base[2];
        aa_long2aauint(*h, base);
        if (aa_mexp(base, exponent, g, p) != 0)
            return false;
        if (aa_comp(g, AA_ONE) != 0)
            return true;
    }
}

DsaKey *make_key(const aauint *p, const aauint *q, const aauint *g) {
    OwnedDsaKey key(DsaKey_new());
    if (key == nullptr)
        return nullptr;
    key->p = csp::copy_of(p).release();
    key->q = csp::copy_of(q).release();
    key->g = csp::copy_of(g).release();
    return csp::given(key->p, key->q, key->g) ? key.release() : nullptr;
}

}  // namespace

extern "C" {

int32_t dsa_is_prime(const aauint *number) {
    Number gcd;
    return aa_gcd1(number, AA_PRIMEPRODUCT_3_293, gcd) == 0 && aa_miller_rabin(number, prime_rounds) == 0 ? 1 : 0;
}

DsaKey *DSA_params_generation(CspContext *ctx, uint32_t bits, const Bytestring *given_seed, uint32_t *counter,
                              uint32_t *h) {
    const uint32_t p_octets = bits < 512 ? 512 / 8 : ((bits - 1) / 64 + 1) * 8;
    Seed seed;
    if (p_octets > max_p_octets)
        return nullptr;
    if (given_seed != nullptr && given_seed->len >= seed_octets)
        std::memcpy(seed.octets, given_seed->data, seed_octets);
    else if (!draw_seed(ctx, &seed))
        return nullptr;
    Number p;
    Number q;
    Number g;
    uint32_t last_counter = 0;
    uint32_t last_h = 0;
    if (!find_primes(ctx, &seed, p_octets, p, q, &last_counter) || !find_g(p, q, g, &last_h))
        return nullptr;
    if (counter != nullptr)
        *counter = last_counter;
    if (h != nullptr)
        *h = last_h;
    return make_key(p, q, g);
}
}
