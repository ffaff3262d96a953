// What the tests of keys and signatures share: keys, OpenSSL on the other side, and random octets that a test chooses.
#ifndef ZELMO_TESTS_CSP_KEY_SUPPORT_H
#define ZELMO_TESTS_CSP_KEY_SUPPORT_H

#include <memory>
#include <openssl/evp.h>

#include "csp/csp_support.h"

namespace zelmo_test {

// ---- keys ----------------------------------------------------------------------------------------------------------

using PKey = std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY *)>;

struct RsaTestKey {
    uint32_t bits;
    Octets private_der, public_der;
    Octets n, e, d, p, q, dmp1, dmq1, iqmp;  ///< Without leading zeros.
};
/// The keys of tests/data/rsa.txt.
const std::vector<RsaTestKey> &rsa_keys();
const RsaTestKey &rsa_key(uint32_t bits);
/// A key whose exponents are 1, so that every signature is its own block; its modulus is 2^bits - 1.
RsaTestKey identity_key(uint32_t bits);

/// An INTEGER that holds a number's octets.
Octets der_integer(const Octets &magnitude);

struct DsaTestKey {
    Octets p, q, g, x, y;
    Octets parameters_der() const;
};
/// The key of tests/data/dsa.txt.
const DsaTestKey &dsa_key();

// ---- OpenSSL -------------------------------------------------------------------------------------------------------

PKey openssl_private(const Octets &der);
PKey openssl_dsa(const DsaTestKey &key);
/// Whether OpenSSL holds an RSA key (DER of RSAPrivateKey) for consistent, its primes included.
bool openssl_accepts(const Octets &der);
/// An RSA signature of the bare text, a DSA signature of the text as digest.
Octets openssl_sign(EVP_PKEY *key, const Octets &text);
bool openssl_verifies(EVP_PKEY *key, const Octets &text, const Octets &signature);
/// RSA with block type 2.
Octets openssl_encrypt(EVP_PKEY *key, const Octets &plain);
Octets openssl_decrypt(EVP_PKEY *key, const Octets &cipher);
/// By OpenSSL, MD2 by libtomcrypt.
Octets digest_of(const std::string &md, const Octets &text);

// ---- random octets -------------------------------------------------------------------------------------------------

/// While it lives, the generator gives these octets, one after the other, and fails when there are no more.
class ChosenRandom {
  public:
    explicit ChosenRandom(Octets octets);
    ChosenRandom(const ChosenRandom &) = delete;
    ChosenRandom &operator=(const ChosenRandom &) = delete;
    ~ChosenRandom();
    size_t left() const;
};

/// A context with a seeded generator.
class Context {
  public:
    Context();
    Context(const Context &) = delete;
    Context &operator=(const Context &) = delete;
    ~Context();
    operator CspContext *() {  // NOLINT(google-explicit-constructor)
        return &context_;
    }

  private:
    CspContext context_ = {};
};

}  // namespace zelmo_test

#endif
