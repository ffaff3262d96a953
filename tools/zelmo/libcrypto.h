// Values of libcrypto that are released by themselves.
#ifndef ZELMO_LIBCRYPTO_H
#define ZELMO_LIBCRYPTO_H

#include <memory>
#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace zelmo::crypto {

template <auto Free>
struct Release {
    template <class T>
    void operator()(T *value) const {
        Free(value);
    }
};

using Certificate = std::unique_ptr<X509, Release<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Release<X509_EXTENSION_free>>;
using Key = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using Message = std::unique_ptr<CMS_ContentInfo, Release<CMS_ContentInfo_free>>;
using Name = std::unique_ptr<X509_NAME, Release<X509_NAME_free>>;
using Number = std::unique_ptr<BIGNUM, Release<BN_free>>;
using ObjectId = std::unique_ptr<ASN1_OBJECT, Release<ASN1_OBJECT_free>>;
using Stream = std::unique_ptr<BIO, Release<BIO_free_all>>;
using Time = std::unique_ptr<ASN1_GENERALIZEDTIME, Release<ASN1_GENERALIZEDTIME_free>>;

}  // namespace zelmo::crypto

#endif
