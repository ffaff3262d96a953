// Elements of a token context.
#ifndef ZELMOP15_TOKEN_PKCS15_SCARD_TOKEN_H
#define ZELMOP15_TOKEN_PKCS15_SCARD_TOKEN_H

#include "zelmop15/pkcs15.h"

namespace token {

/// The alternatives of AuthenticationType that the token layer acts on.
enum : uint8_t { P15_TAG_AUTHKEY = 1, P15_TAG_PIN = 16 };

}  // namespace token

extern "C" {
/// Releases an element of TokenContext::authObjects; null is a no-op. Only an authentication key owns a key object.
void pkcs15_P15AuthenticationTypeInfo_free(P15AuthenticationTypeInfo *info);
}

#endif
