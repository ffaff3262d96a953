// Certificates for those who sign personalisation scripts.
#ifndef ZELMO_SIGNER_CERTIFICATE_H
#define ZELMO_SIGNER_CERTIFICATE_H

#include <string>

#include "libcrypto.h"

namespace zelmo {

/// Refuses a common name that no certificate can have: throws Failure.
void requireName(const std::string &name);

/// Issues the certificate of a signer's key: X.509 version 3, sha1WithRSAEncryption, valid from now on for `days`.
/// `name` becomes the subject's common name. Throws Failure.
crypto::Certificate issueSigner(EVP_PKEY &rootKey, EVP_PKEY &key, const std::string &name, int days);

/// The certificate in PEM form.
std::string pemOf(X509 &certificate);

}  // namespace zelmo

#endif
