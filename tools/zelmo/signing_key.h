// Private keys and certificates in files, for those who sign personalisation scripts.
#ifndef ZELMO_SIGNING_KEY_H
#define ZELMO_SIGNING_KEY_H

#include <string>

#include "failure.h"
#include "libcrypto.h"
#include "secret_lines.h"

namespace zelmo {

/// What the lines of passphrases are for.
inline constexpr SecretUse passphrase_lines = {"a passphrase", "nothing was signed"};

/// The failure of a call of libcrypto, with its reason. `what` is what could not be done.
Failure cryptoFailure(const std::string &what);

/// Reads an RSA key in PEM form. The passphrase of one that is encrypted is the next of `passphrases`, or asked for on
/// the terminal. Throws Failure.
crypto::Key readRsaKey(const std::string &file, SecretLines &passphrases);

/// Makes an RSA key of 2048 bits and its file, in PEM form, which only its owner can read. Throws Failure, also when
/// there is such a file.
crypto::Key makeRsaKey(const std::string &file);

/// Reads a certificate in PEM form. Throws Failure.
crypto::Certificate readCertificate(const std::string &file);

/// The built-in key under which the certificates of signers are signed. Throws Failure.
crypto::Key trustedKey();

}  // namespace zelmo

#endif
