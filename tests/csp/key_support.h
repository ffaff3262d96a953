// What the tests of keys and signatures share: arguments and results, OpenSSL on the other side, random octets that a
// test chooses, and the trace as text.
#ifndef ZELMO_TESTS_CSP_KEY_SUPPORT_H
#define ZELMO_TESTS_CSP_KEY_SUPPORT_H

#include <deque>
#include <memory>
#include <openssl/evp.h>
#include <string>
#include <vector>

#include "csp/csp.h"
#include "support/octets.h"

namespace key_test {

inline Octets text_octets(std::string_view text) {
    return {text.begin(), text.end()};
}

/// An argument in a block of just its size.
class Value {
  public:
    Value(const Octets &octets)  // NOLINT(google-explicit-constructor): that is what it is for
        : value_(Bytestring_new(static_cast<uint32_t>(octets.size()), octets.empty() ? nullptr : octets.data())) {}
    Value(std::string_view text) : Value(text_octets(text)) {}  // NOLINT(google-explicit-constructor)
    operator const Bytestring *() const {                       // NOLINT(google-explicit-constructor)
        return value_.get();
    }

  private:
    OwnedBytestring value_;
};

/// The place of a result; holds rubbish until it is set.
class Result {
  public:
    Result() = default;
    Result(const Result &) = delete;
    Result &operator=(const Result &) = delete;
    ~Result() {
        if (is_set())
            Bytestring_free(value_);
    }
    Bytestring **place() {
        return &value_;
    }
    bool is_null() const {
        return value_ == nullptr;
    }
    bool is_set() const {
        return value_ != nullptr && value_ != rubbish();
    }
    Octets octets() const {
        return is_set() && value_->len != 0 ? Octets(value_->data, value_->data + value_->len) : Octets();
    }

  private:
    static Bytestring *rubbish() {
        static Bytestring somewhere = {};
        return &somewhere;
    }
    Bytestring *value_ = rubbish();
};

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
/// `md` may be null: an RSA signature of the bare text, a DSA signature of the text as digest.
Octets openssl_sign(EVP_PKEY *key, const char *md, const Octets &text);
bool openssl_verifies(EVP_PKEY *key, const char *md, const Octets &text, const Octets &signature);
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

// ---- trace ---------------------------------------------------------------------------------------------------------

/// Collects what is traced while it lives: "32 text" and "32 =HEX" by level.
class Trace {
  public:
    Trace();
    Trace(const Trace &) = delete;
    Trace &operator=(const Trace &) = delete;
    ~Trace();
    /// The lines so far; clears them.
    static std::vector<std::string> take();
};

}  // namespace key_test

#endif
