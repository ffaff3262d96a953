#include "certificate.h"

#include <climits>
#include <new>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include "libcrypto.h"

namespace zelmo {

namespace {

std::vector<uint8_t> encodedName(const X509_NAME *name) {
    const uint8_t *octets = nullptr;
    size_t length = 0;
    if (X509_NAME_get0_der(name, &octets, &length) != 1)
        return {};
    return {octets, octets + length};
}

std::string timeText(const ASN1_TIME *time) {
    const crypto::Time general(ASN1_TIME_to_generalizedtime(time, nullptr));
    if (!general)
        return {};
    return {reinterpret_cast<const char *>(ASN1_STRING_get0_data(general.get())),
            static_cast<size_t>(ASN1_STRING_length(general.get()))};
}

}  // namespace

std::optional<CertificateFields> certificateFields(Octets value) {
    const uint8_t *end = value.data();
    if (value.size() > LONG_MAX)
        return std::nullopt;
    const crypto::Certificate certificate(d2i_X509(nullptr, &end, static_cast<long>(value.size())));
    if (!certificate)
        return std::nullopt;
    const ASN1_INTEGER *serial = X509_get0_serialNumber(certificate.get());
    const uint8_t *digits = ASN1_STRING_get0_data(serial);
    return CertificateFields{encodedName(X509_get_subject_name(certificate.get())),
                             encodedName(X509_get_issuer_name(certificate.get())),
                             {digits, digits + ASN1_STRING_length(serial)},
                             timeText(X509_get0_notBefore(certificate.get())),
                             timeText(X509_get0_notAfter(certificate.get()))};
}

std::string pemOf(Octets value) {
    const crypto::Stream stream(BIO_new(BIO_s_mem()));
    char *text = nullptr;
    if (value.size() > LONG_MAX || !stream ||
        PEM_write_bio(stream.get(), PEM_STRING_X509, "", value.data(), static_cast<long>(value.size())) <= 0)
        throw std::bad_alloc();
    const long length = BIO_get_mem_data(stream.get(), &text);
    return {text, static_cast<size_t>(length)};
}

}  // namespace zelmo
