// The signature of a personalisation script.
#ifndef ZELMO_SCRIPT_SIGNATURE_H
#define ZELMO_SCRIPT_SIGNATURE_H

#include <string>
#include <vector>

#include "der.h"
#include "libcrypto.h"
#include "runtime/bytestring.h"

namespace zelmo {

/// Reads a whole file as the token library does. Throws Failure; `advice` is what to try when it cannot be read.
OwnedBytestring readWhole(const std::string &file, const std::string &advice);

/// The content of a signature file: PKCS #7 signed data (RFC 2315) around the SHA-1 digest of the script and the
/// version of the API, with the certificate. Throws Failure.
std::vector<uint8_t> signScript(const Bytestring &script, EVP_PKEY &key, X509 &certificate);

/// The library's own test. Throws Failure with Exit::signatureRefused; `name` stands for the signature there.
void requireGenuine(const Bytestring &script, const Bytestring &signature, const std::string &name);

/// Who has made a signature that is genuine: the subject of the first certificate, fit for a terminal.
std::string signerText(const Bytestring &signature);

/// The script's SHA-1 digest in hexadecimal.
std::string digestText(const Bytestring &script);

}  // namespace zelmo

#endif
