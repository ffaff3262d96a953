// Products and RSA beside other libraries, in one run. BearSSL's i15 is the nearest peer: it too has no wide multiply.
// GMP and OpenSSL, which have machine code for this processor, show how far one could go.
#include <bearssl.h>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <gmp.h>
#include <iterator>
#include <memory>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "aa/aa.h"
#include "csp/csp.h"
#include "medians.h"

namespace {

using Octets = std::vector<uint8_t>;

void expect(bool holds, const char *what) {
    if (!holds)
        throw std::runtime_error(what);
}

// ---- products ------------------------------------------------------------------------------------------------------

constexpr uint32_t limbs = 64;
using Product = uint32_t[2 * limbs];

/// As in the textbooks, on products of 64 bits.
void multiply_wide(const uint32_t *a, const uint32_t *b, uint32_t *result) {
    std::fill_n(result, 2 * limbs, 0);
    for (uint32_t i = 0; i < limbs; ++i) {
        uint64_t carry = 0;
        for (uint32_t j = 0; j < limbs; ++j) {
            carry += uint64_t{a[i]} * b[j] + result[i + j];
            result[i + j] = static_cast<uint32_t>(carry);
            carry >>= 32;
        }
        result[i + limbs] = static_cast<uint32_t>(carry);
    }
}

/// On products of 16 by 16 bits, with the carry looked at behind each limb.
void multiply_carrying(const uint32_t *a, const uint32_t *b, uint32_t *result) {
    std::fill_n(result, 2 * limbs, 0);
    for (uint32_t i = 0; i < limbs; ++i) {
        uint32_t carry = 0;
        for (uint32_t j = 0; j < limbs; ++j) {
            const uint32_t low_low = (a[i] & 0xFFFF) * (b[j] & 0xFFFF);
            const uint32_t middle = (a[i] & 0xFFFF) * (b[j] >> 16) + (low_low >> 16);
            const uint32_t sum = middle + (a[i] >> 16) * (b[j] & 0xFFFF);
            uint32_t high = (a[i] >> 16) * (b[j] >> 16) + (sum >> 16) + (sum < middle ? 0x10000 : 0);
            uint32_t low = (sum << 16 | (low_low & 0xFFFF)) + carry;
            high += low < carry ? 1 : 0;
            low += result[i + j];
            high += low < result[i + j] ? 1 : 0;
            result[i + j] = low;
            carry = high;
        }
        result[i + limbs] = carry;
    }
}

/// The factors, a length in front of each, and GMP's form of them, in limbs of 64 bits.
struct Factors {
    aauint a[limbs + 1] = {limbs};
    aauint b[limbs + 1] = {limbs};
    mp_limb_t wide_a[limbs / 2], wide_b[limbs / 2];

    Factors() {
        uint32_t state = 1;
        for (uint32_t i = 1; i <= limbs; ++i) {
            a[i] = state = state * 1664525 + 1013904223;
            b[i] = state = state * 1664525 + 1013904223;
        }
        a[limbs] |= 1;
        b[limbs] |= 1;
        for (uint32_t i = 0; i < limbs / 2; ++i) {
            wide_a[i] = mp_limb_t{a[2 * i + 2]} << 32 | a[2 * i + 1];
            wide_b[i] = mp_limb_t{b[2 * i + 2]} << 32 | b[2 * i + 1];
        }
    }
};

template <class Multiply>
void time_product(benchmark::State &state, Multiply multiply) {
    static Factors factors;
    Product expected = {}, found = {};
    multiply_wide(factors.a + 1, factors.b + 1, expected);
    multiply(factors, false, found);
    expect(std::equal(expected, std::end(expected), found), "products differ");
    for (auto _ : state) {
        multiply(factors, state.range(0) != 0, found);
        benchmark::DoNotOptimize(&found);
        benchmark::ClobberMemory();
    }
}

void ours(Factors &factors, bool square, uint32_t *result) {
    aauint product[2 * limbs + 1];
    if (square)
        aa_zsquare(factors.a, product);
    else
        aa_zmult(factors.a, factors.b, product);
    std::copy_n(product + 1, 2 * limbs, result);
}

void textbook(Factors &factors, bool square, uint32_t *result) {
    multiply_wide(factors.a + 1, square ? factors.a + 1 : factors.b + 1, result);
}

void carrying(Factors &factors, bool square, uint32_t *result) {
    multiply_carrying(factors.a + 1, square ? factors.a + 1 : factors.b + 1, result);
}

void gmp(Factors &factors, bool square, uint32_t *result) {
    mp_limb_t product[limbs];
    if (square)
        mpn_sqr(product, factors.wide_a, limbs / 2);
    else
        mpn_mul_n(product, factors.wide_a, factors.wide_b, limbs / 2);
    for (uint32_t i = 0; i < limbs; ++i) {
        result[2 * i] = static_cast<uint32_t>(product[i]);
        result[2 * i + 1] = static_cast<uint32_t>(product[i] >> 32);
    }
}

// ---- RSA -----------------------------------------------------------------------------------------------------------

/// A key of 2048 bits, made by OpenSSL, in everybody's form.
class Key {
  public:
    Key() : pkey_(EVP_RSA_gen(2048), EVP_PKEY_free) {
        unsigned char *octets = nullptr;
        const int length = i2d_PrivateKey(pkey_.get(), &octets);
        der_.assign(octets, octets + length);
        OPENSSL_free(octets);
        for (const char *name :
             {OSSL_PKEY_PARAM_RSA_N, OSSL_PKEY_PARAM_RSA_E, OSSL_PKEY_PARAM_RSA_D, OSSL_PKEY_PARAM_RSA_FACTOR1,
              OSSL_PKEY_PARAM_RSA_FACTOR2, OSSL_PKEY_PARAM_RSA_EXPONENT1, OSSL_PKEY_PARAM_RSA_EXPONENT2,
              OSSL_PKEY_PARAM_RSA_COEFFICIENT1})
            numbers_.push_back(number(name));
        const auto part = [this](size_t i) -> Octets & { return numbers_[i]; };
        public_ = {part(0).data(), part(0).size(), part(1).data(), part(1).size()};
        private_ = {2048,           part(3).data(), part(3).size(), part(4).data(), part(4).size(), part(5).data(),
                    part(5).size(), part(6).data(), part(6).size(), part(7).data(), part(7).size()};
        for (size_t i = 0; i < numbers_.size(); ++i) {
            mpz_init(wide[i]);
            mpz_import(wide[i], numbers_[i].size(), 1, 1, 0, 0, numbers_[i].data());
        }
    }
    Bytestring der() {
        return {static_cast<uint32_t>(der_.size()), der_.data()};
    }
    Bytestring view(size_t i) {
        return {static_cast<uint32_t>(numbers_[i].size()), numbers_[i].data()};
    }
    EVP_PKEY *openssl() {
        return pkey_.get();
    }
    br_rsa_public_key public_;
    br_rsa_private_key private_;
    mpz_t wide[8];  ///< n, e, d, p, q, d mod p - 1, d mod q - 1, 1/q mod p

  private:
    Octets number(const char *name) {
        BIGNUM *value = nullptr;
        expect(EVP_PKEY_get_bn_param(pkey_.get(), name, &value) == 1, name);
        Octets octets(static_cast<size_t>(BN_num_bytes(value)));
        BN_bn2bin(value, octets.data());
        BN_free(value);
        return octets;
    }
    std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> pkey_;
    Octets der_;
    std::vector<Octets> numbers_;
};

Key &key() {
    static Key made;
    return made;
}

/// A block that is below the modulus, as padding would make it.
Octets block() {
    Octets octets(256, 0x5A);
    octets[0] = 0;
    return octets;
}

using Operation = Octets (*)(const Octets &in);

Octets taken(Bytestring *value) {
    const OwnedBytestring owned(value);
    expect(value != nullptr, "the library fails");
    return {value->data, value->data + value->len};
}

Octets sign_here(const Octets &in) {
    const Bytestring der = key().der();
    const Bytestring text = {static_cast<uint32_t>(in.size()), const_cast<uint8_t *>(in.data())};
    Bytestring *out = nullptr;
    CSP_RSA_raw_private(nullptr, &der, &text, &out);
    return taken(out);
}

Octets verify_here(const Octets &in) {
    const Bytestring modulus = key().view(0), exponent = key().view(1);
    const Bytestring text = {static_cast<uint32_t>(in.size()), const_cast<uint8_t *>(in.data())};
    Bytestring *out = nullptr;
    CSP_RSA_raw_public(nullptr, &modulus, &exponent, &text, &out);
    return taken(out);
}

Octets sign_bearssl(const Octets &in) {
    Octets out = in;
    expect(br_rsa_i15_private(out.data(), &key().private_) == 1, "BearSSL fails");
    return out;
}

Octets verify_bearssl(const Octets &in) {
    Octets out = in;
    expect(br_rsa_i15_public(out.data(), out.size(), &key().public_) == 1, "BearSSL fails");
    return out;
}

Octets exported(const mpz_t value) {
    Octets out(256);
    size_t count = 0;
    Octets octets((mpz_sizeinbase(value, 2) + 7) / 8);
    mpz_export(octets.data(), &count, 1, 1, 0, 0, value);
    std::copy(octets.begin(), octets.end(), out.end() - static_cast<std::ptrdiff_t>(octets.size()));
    return out;
}

Octets sign_gmp(const Octets &in) {
    const auto &part = key().wide;
    mpz_t base, first, second;
    mpz_inits(base, first, second, nullptr);
    mpz_import(base, in.size(), 1, 1, 0, 0, in.data());
    mpz_powm(first, base, part[5], part[3]);
    mpz_powm(second, base, part[6], part[4]);
    mpz_sub(first, first, second);
    mpz_mul(first, first, part[7]);
    mpz_mod(first, first, part[3]);
    mpz_mul(first, first, part[4]);
    mpz_add(first, first, second);
    const Octets out = exported(first);
    mpz_clears(base, first, second, nullptr);
    return out;
}

Octets verify_gmp(const Octets &in) {
    mpz_t base;
    mpz_init(base);
    mpz_import(base, in.size(), 1, 1, 0, 0, in.data());
    mpz_powm(base, base, key().wide[1], key().wide[0]);
    const Octets out = exported(base);
    mpz_clear(base);
    return out;
}

template <int (*Init)(EVP_PKEY_CTX *),
          int (*Run)(EVP_PKEY_CTX *, unsigned char *, size_t *, const unsigned char *, size_t)>
Octets openssl(const Octets &in) {
    const std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> context(
        EVP_PKEY_CTX_new(key().openssl(), nullptr), EVP_PKEY_CTX_free);
    Octets out(256);
    size_t length = out.size();
    expect(Init(context.get()) == 1 && EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_NO_PADDING) == 1 &&
               Run(context.get(), out.data(), &length, in.data(), in.size()) == 1,
           "OpenSSL fails");
    return out;
}

void time_rsa(benchmark::State &state, Operation operation, Operation reference) {
    const Octets in = block();
    expect(operation(in) == reference(in), "results differ");
    for (auto _ : state)
        benchmark::DoNotOptimize(operation(in));
}

// ---- the run -------------------------------------------------------------------------------------------------------

struct Rsa {
    const char *task, *who;
    Operation operation, reference;
};

constexpr Rsa rsa[] = {
    {"rsa2048_sign", "zelmop15", sign_here, sign_gmp},
    {"rsa2048_sign", "BearSSL", sign_bearssl, sign_gmp},
    {"rsa2048_sign", "GMP", sign_gmp, sign_here},
    {"rsa2048_sign", "OpenSSL", openssl<EVP_PKEY_decrypt_init, EVP_PKEY_decrypt>, sign_gmp},
    {"rsa2048_verify", "zelmop15", verify_here, verify_gmp},
    {"rsa2048_verify", "BearSSL", verify_bearssl, verify_gmp},
    {"rsa2048_verify", "GMP", verify_gmp, verify_here},
    {"rsa2048_verify", "OpenSSL", openssl<EVP_PKEY_encrypt_init, EVP_PKEY_encrypt>, verify_gmp},
};

void print_ratios(const bench::Medians &medians, const char *task, std::initializer_list<const char *> peers) {
    const double mine = medians.of(std::string(task) + "/zelmop15");
    if (mine == 0)
        return;
    std::printf("%-16s %9.2f us", task, mine / 1e3);
    for (const char *peer : peers)
        std::printf(", %.2f times as fast as %s (%.2f us)", medians.of(std::string(task) + "/" + peer) / mine, peer,
                    medians.of(std::string(task) + "/" + peer) / 1e3);
    std::printf("\n");
}

}  // namespace

int main(int argc, char **argv) {
    const auto enter = [](const char *who, auto multiply) {
        for (const bool square : {false, true})
            benchmark::RegisterBenchmark((std::string(square ? "square2048" : "multiply2048") + "/" + who).c_str(),
                                         [multiply](benchmark::State &state) { time_product(state, multiply); })
                ->Arg(square ? 1 : 0);
    };
    enter("zelmop15", ours);
    enter("textbook", textbook);
    enter("carrying", carrying);
    enter("GMP", gmp);
    for (const Rsa &row : rsa)
        benchmark::RegisterBenchmark((std::string(row.task) + "/" + row.who).c_str(), time_rsa, row.operation,
                                     row.reference);
    bench::Medians medians;
    medians.run(argc, argv);
    for (const char *task : {"multiply2048", "square2048"})
        print_ratios(medians, task, {"textbook", "carrying", "GMP"});
    for (const char *task : {"rsa2048_sign", "rsa2048_verify"})
        print_ratios(medians, task, {"BearSSL", "GMP", "OpenSSL"});
}
