#include "signer_certificate.h"

#include <ctime>
#include <fmt/format.h>
#include <openssl/pem.h>

#include "certificate.h"
#include "signing_key.h"
#include "text.h"

namespace zelmo {

namespace {

constexpr const char *failed = "cannot issue the certificate";
constexpr const char *root_name = "Personalisation script root";

void require(bool done) {
    if (!done)
        throw cryptoFailure(failed);
}

bool setCommonName(X509_NAME *name, const std::string &text) {
    return X509_NAME_add_entry_by_NID(name, NID_commonName, MBSTRING_UTF8,
                                      reinterpret_cast<const uint8_t *>(text.data()), static_cast<int>(text.size()), -1,
                                      0) == 1;
}

/// 127 random bits: positive, and never given twice.
void setSerialNumber(X509 &certificate) {
    constexpr int bits = 127;
    const crypto::Number number(BN_new());
    require(number != nullptr && BN_rand(number.get(), bits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1);
    require(BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(&certificate)) != nullptr);
}

void addExtension(X509 &certificate, int type, const char *value) {
    X509V3_CTX context = {};
    X509V3_set_ctx(&context, nullptr, &certificate, nullptr, nullptr, 0);
    const crypto::Extension extension(X509V3_EXT_conf_nid(nullptr, &context, type, value));
    require(extension != nullptr && X509_add_ext(&certificate, extension.get(), -1) == 1);
}

}  // namespace

void requireName(const std::string &name) {
    const crypto::Name trial(X509_NAME_new());
    require(trial != nullptr);
    if (setCommonName(trial.get(), name))
        return;
    ERR_clear_error();
    throw Failure(Exit::usage, fmt::format("--name '{}': must be 1 to 64 characters of UTF-8", printable(name)));
}

crypto::Certificate issueSigner(EVP_PKEY &rootKey, EVP_PKEY &key, const std::string &name, int days) {
    crypto::Certificate certificate(X509_new());
    require(certificate != nullptr && X509_set_version(certificate.get(), X509_VERSION_3) == 1);
    setSerialNumber(*certificate);
    require(setCommonName(X509_get_issuer_name(certificate.get()), root_name));
    require(setCommonName(X509_get_subject_name(certificate.get()), name));
    std::time_t now = std::time(nullptr);
    require(X509_time_adj_ex(X509_getm_notBefore(certificate.get()), 0, 0, &now) != nullptr);
    require(X509_time_adj_ex(X509_getm_notAfter(certificate.get()), days, 0, &now) != nullptr);
    require(X509_set_pubkey(certificate.get(), &key) == 1);
    addExtension(*certificate, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(*certificate, NID_key_usage, "critical,digitalSignature");
    addExtension(*certificate, NID_subject_key_identifier, "hash");
    require(X509_sign(certificate.get(), &rootKey, EVP_sha1()) > 0);
    return certificate;
}

std::string pemOf(X509 &certificate) {
    uint8_t *octets = nullptr;
    const int length = i2d_X509(&certificate, &octets);
    require(length > 0);
    std::string pem = pemOf(Octets(octets, static_cast<size_t>(length)));
    OPENSSL_free(octets);
    return pem;
}

}  // namespace zelmo
