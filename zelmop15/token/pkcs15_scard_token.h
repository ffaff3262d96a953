// Elements of a token context.
#ifndef ZELMOP15_TOKEN_PKCS15_SCARD_TOKEN_H
#define ZELMOP15_TOKEN_PKCS15_SCARD_TOKEN_H

#include "zelmop15/pkcs15.h"

extern "C" {
/// Releases an element of TokenContext::authObjects; null is a no-op. Only an authentication key owns a key object.
void pkcs15_P15AuthenticationTypeInfo_free(P15AuthenticationTypeInfo *info);
}

#endif
