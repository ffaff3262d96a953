#include "token/signed_script.h"

#include <fstream>
#include <memory>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/sha.h>
#include <stdexcept>

namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

EVP_PKEY *key(SigningKey which) {
    static constexpr const char *files[] = {"packaging/dev-root/dev-root.key.pem", "tests/data/pki/user1.key.pem",
                                            "tests/data/pki/user2.key.pem"};
    static std::vector<Key> keys;
    for (const char *file : files) {
        if (keys.size() == std::size(files))
            break;
        const std::unique_ptr<FILE, decltype(&std::fclose)> in(
            std::fopen((std::string(ZELMO_SOURCE_DIR "/") + file).c_str(), "r"), std::fclose);
        keys.emplace_back(PEM_read_PrivateKey(in.get(), nullptr, nullptr, nullptr), EVP_PKEY_free);
    }
    return keys[static_cast<size_t>(which)].get();
}

Octets sign(SigningKey which, const Octets &text) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    Octets signature(256);
    size_t length = signature.size();
    if (EVP_DigestSignInit(context.get(), nullptr, EVP_sha1(), nullptr, key(which)) != 1 ||
        EVP_DigestSign(context.get(), signature.data(), &length, text.data(), text.size()) != 1)
        throw std::runtime_error("OpenSSL does not sign");
    return signature;
}

Octets joined(const std::vector<Octets> &parts) {
    Octets all;
    for (const Octets &part : parts)
        all = all + part;
    return all;
}

Octets octets_of(const std::string &text) {
    return {text.begin(), text.end()};
}

const Octets sha1_with_rsa = hex("300D06092A864886F70D0101050500");
const Octets sha1 = hex("300906052B0E03021A0500");
const Octets rsa = hex("300D06092A864886F70D0101010500");

Octets name(const char *text) {
    return der(0x30, {der(0x31, {der(0x30, {hex("0603550403"), der(0x0C, {octets_of(text)})})})});
}

Octets bit_string(const Octets &octets) {
    return der(0x03, {Octets{0} + octets});
}

}  // namespace

Octets public_key(SigningKey which) {
    unsigned char *octets = nullptr;
    const int length = i2d_PublicKey(key(which), &octets);
    const Octets result(octets, octets + length);
    OPENSSL_free(octets);
    return result;
}

Octets make_certificate(const Octets &publicKey, SigningKey issuer, const Octets &nameParts, const Octets &extensions) {
    const Octets time = der(0x17, {octets_of("260101000000Z")});
    const Octets issuerName = nameParts.empty() ? name("Root") : der(0x30, {nameParts});
    const Octets tbs = der(0x30, {hex("A003020102"), hex("020101"), sha1_with_rsa, issuerName, der(0x30, {time, time}),
                                  name("Signer"), der(0x30, {rsa, bit_string(publicKey)}), extensions});
    return der(0x30, {tbs, sha1_with_rsa, bit_string(sign(issuer, tbs))});
}

Octets sha1_of(const Octets &text) {
    Octets digest(20);
    SHA1(text.data(), text.size(), digest.data());
    return digest;
}

Octets attribute(const char *oid, const Octets &values) {
    return der(0x30, {hex(oid), der(0x31, {values})});
}

Octets digest_attribute(const Octets &digest) {
    return attribute(message_digest_oid, der(0x04, {digest}));
}

Octets version_attribute(const std::string &text) {
    return attribute(signing_description_oid, der(0x16, {octets_of(text)}));
}

Octets SignedScript::signature() const {
    const Octets content = joined(attributes);
    Octets info = hex("020101") + der(0x30, {name("Root"), hex("020101")}) + sha1;
    if (with_attributes)
        info = info + der(0xA0, {content});
    info = info + rsa + der(0x04, {sign(signed_by, der(0x31, {content}))}) + unsigned_attributes;
    Octets message = hex("020101") + der(0x31, {sha1, digest_algorithms}) +
                     der(0x30, {hex("06092A864886F70D010701"), inner_content});
    if (with_certificates)
        message = message + der(0xA0, {certificate ? *certificate
                                                   : make_certificate(public_key(SigningKey::signer), certified_by),
                                       more_certificates});
    message = message + crls + der(0x31, {with_signer ? der(0x30, {info}) : Octets(), more_signers});
    return der(0x30, {hex(content_type), der(0xA0, {der(0x30, {message})})}) + surplus;
}
