// Whether a personalisation script is genuine.
#ifndef ZELMOP15_TOKEN_PKCS15_INITTOKEN_SIGNATURE_H
#define ZELMOP15_TOKEN_PKCS15_INITTOKEN_SIGNATURE_H

#include "runtime/bytestring.h"

namespace token {

/// Tests the signature file of a script: 0 when the script is the one that was signed for this version of the API, by
/// somebody whose certificate the built-in key has signed. Otherwise PKCS15_E_FAILED or PKCS15_E_NO_MEMORY, with what
/// was found wrong in the log.
uint32_t verify_script(const Bytestring &script, const Bytestring &signature);

}  // namespace token

#endif
