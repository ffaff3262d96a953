// The key and the public operations.
#include "csp/rsa.h"

#include "csp/csp_asn1.h"
#include "csp/csp_key.h"
#include "csp/rsa_block.h"

namespace {

/// The numbers, in the order of the DER.
constexpr aauint *RsaKey::*numbers[] = {&RsaKey::n, &RsaKey::e,    &RsaKey::d,    &RsaKey::p,
                                        &RsaKey::q, &RsaKey::dmp1, &RsaKey::dmq1, &RsaKey::iqmp};
constexpr uint32_t number_count = sizeof numbers / sizeof *numbers;

/// Random octets other than 0, each of which is drawn again until it is another.
bool write_random(CspContext *ctx, uint8_t *padding, uint32_t count) {
    Bytestring all = {count, padding};
    if (CSP_RNG_get_bytes(ctx, &all) != 0)
        return false;
    for (uint32_t i = 0; i < count; ++i) {
        Bytestring one = {1, padding + i};
        while (padding[i] == 0)
            if (CSP_RNG_get_bytes(ctx, &one) != 0)
                return false;
    }
    return true;
}

}  // namespace

bool csp::public_power(const RsaKey *key, const aauint *base, aauint *result) {
    return aa_mexp(base, key->e, result, key->n) == 0;
}

extern "C" {

RsaKey *RsaKey_new(void) {
    return allocate<RsaKey>();
}

void RsaKey_free(RsaKey *key) {
    if (key == nullptr)
        return;
    for (const auto number : numbers)
        aa_free(key->*number);
    std::free(key);
}

uint32_t RsaKey_get_size(const RsaKey *key) {
    return csp::octet_count(key->n);
}

RsaKey *asn1_private_key_to_rsa(const Bytestring *der) {
    OwnedRsaKey key(RsaKey_new());
    aauint *read[1 + number_count];
    if (key == nullptr || asn1_to_aa(der, read, 1 + number_count) != 0)
        return nullptr;
    const OwnedNumber version(read[0]);
    // One that does not fit leaves 0: nobody tests the version.
    aa_aauint2long(version.get(), &key->version);
    for (uint32_t i = 0; i < number_count; ++i)
        key.get()->*numbers[i] = read[1 + i];
    return key.release();
}

int32_t RSA_public_decrypt(const RsaKey *key, const Bytestring *cipher, Bytestring *plain) {
    ZELMO_ASSERT_GIVEN(key);
    ZELMO_ASSERT_GIVEN(cipher);
    ZELMO_ASSERT_GIVEN(plain);
    return csp::raise_and_strip(key, csp::public_power, csp::private_block, cipher, plain);
}

int32_t RSA_raw_public(CspContext * /*ctx*/, const RsaKey *key, const Bytestring *plain, Bytestring *cipher) {
    ZELMO_ASSERT_GIVEN(key);
    ZELMO_ASSERT_GIVEN(plain);
    ZELMO_ASSERT_GIVEN(cipher);
    return csp::raise_raw(key, csp::public_power, plain, cipher);
}

int32_t RSA_public_encrypt(CspContext *ctx, const RsaKey *key, const Bytestring *plain, Bytestring *cipher) {
    ZELMO_ASSERT_GIVEN(key);
    ZELMO_ASSERT_GIVEN(plain);
    ZELMO_ASSERT_GIVEN(cipher);
    return csp::pad_and_raise(ctx, key, csp::public_power, csp::public_block, write_random, plain, cipher);
}
}
