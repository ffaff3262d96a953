// The prime search beside its own cost: what the candidates that it had to look at cost one by one.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "aa/aa.h"
#include "csp/csp.h"

namespace {

using Number = aauint[AA_BUFFER_WORDS];

constexpr uint32_t prime_bits = 1024;
constexpr uint32_t prime_rounds = 10;
constexpr int searches = 15;
constexpr int keys = 5;

/// Processor time, in microseconds.
double now() {
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return 1e6 * static_cast<double>(time.tv_sec) + 1e-3 * static_cast<double>(time.tv_nsec);
}

template <class Work>
double time_of(Work work) {
    const double start = now();
    work();
    return now() - start;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// What one candidate costs: the sieve, and a round of the test.
struct Costs {
    double sieve, round;
};

Costs measure(const aauint *candidate) {
    Number gcd, witness, power;
    std::vector<double> sieves, rounds;
    for (int i = 0; i < 9; ++i) {
        sieves.push_back(time_of([&] { aa_gcd1(candidate, AA_PRIMEPRODUCT_3_293, gcd); }));
        aa_copy(candidate, witness);
        aa_decr(witness);
        aa_decr(witness);
        aa_shift(candidate, -1, power);
        rounds.push_back(time_of([&] { aa_mexp(witness, power, gcd, candidate); }));
    }
    return {median(sieves), median(rounds)};
}

/// Looks at every candidate between the start and the prime: each is sieved, and each that is left takes a round; the
/// prime takes all of them.
double model(const aauint *start, const aauint *prime) {
    const Costs costs = measure(prime);
    Number candidate, gcd;
    uint32_t sieved = 0, tested = 0;
    for (aa_copy(start, candidate); aa_comp(candidate, prime) != -1; aa_add(candidate, AA_TWO, candidate)) {
        ++sieved;
        tested += aa_gcd1(candidate, AA_PRIMEPRODUCT_3_293, gcd) == 0 ? 1 : 0;
    }
    return sieved * costs.sieve + (tested + prime_rounds - 1) * costs.round;
}

/// A search that has been made.
struct Search {
    std::vector<aauint> start, prime;
};
std::vector<Search> seen;

double report(const char *what, double taken, double expected) {
    std::printf("%-12s %8.1f ms, its candidates one by one %8.1f ms, ratio %.3f\n", what, taken / 1e3, expected / 1e3,
                taken / expected);
    return taken / expected;
}

void random_start(CspContext *ctx, aauint *start) {
    uint8_t octets[prime_bits / 8];
    if (CSP_RNG_get_bits(ctx, octets, prime_bits, 1, 1) != 0)
        std::exit(1);
    aa_uchar2aauint(start, prime_bits, octets);
}

double search_ratio(CspContext *ctx) {
    Number start, prime;
    random_start(ctx, start);
    aa_copy(start, prime);
    const double taken = time_of([&] { aa_prime(prime, prime_bits); });
    const double expected = model(start, prime);
    return report("prime", taken, expected);
}

/// A key takes two searches, which are looked at one by one.
double key_ratio(CspContext *ctx) {
    seen.clear();
    Bytestring *key = nullptr;
    const double taken =
        time_of([&] { CSP_RSA_key_generation(ctx, 2 * prime_bits, 2 * prime_bits, 0, nullptr, nullptr, &key); });
    Bytestring_erase(key);
    double expected = 0;
    for (const Search &search : seen)
        expected += model(search.start.data(), search.prime.data());
    return report("RSA-2048 key", taken, expected);
}

}  // namespace

extern "C" {

void __real_aa_prime(aauint *number, uint32_t bits);
void __wrap_aa_prime(aauint *number, uint32_t bits);

void __wrap_aa_prime(aauint *number, uint32_t bits) {
    Search search;
    search.start.assign(number, number + number[0] + 1);
    __real_aa_prime(number, bits);
    search.prime.assign(number, number + number[0] + 1);
    seen.push_back(std::move(search));
}
}

int main() {
    CspContext ctx = {nullptr, PTHREAD_MUTEX_INITIALIZER};
    uint8_t octets[] = "any seed";
    const Bytestring seed = {sizeof octets, octets};
    if (CSP_RNG_set_state(&ctx, &seed) != 0)
        return 1;
    std::vector<double> primes, key_ratios;
    for (int i = 0; i < searches; ++i)
        primes.push_back(search_ratio(&ctx));
    for (int i = 0; i < keys; ++i)
        key_ratios.push_back(key_ratio(&ctx));
    std::printf("medians of the ratios: prime of %u bits %.3f, RSA-2048 key %.3f (target 1.2)\n", prime_bits,
                median(primes), median(key_ratios));
    Bytestring_free(ctx.state);
}
