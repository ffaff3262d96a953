// The one root of trust for personalisation scripts, chosen when the library is configured.
#ifndef ZELMOP15_TOKEN_PKCS15_INITTOKEN_ROOT_H
#define ZELMOP15_TOKEN_PKCS15_INITTOKEN_ROOT_H

#include "runtime/bytestring.h"

extern "C" {

/// DER of an RSAPublicKey, under which the certificate of a script's signer must be signed.
extern const uint8_t trustedPuKValue[];
/// The same as a value; its octets are constant.
extern const Bytestring trustedPuK;
}

#endif
