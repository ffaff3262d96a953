// The directory cache's inner operations.
#ifndef ZELMOP15_TOKEN_PKCS15_DIRCACHE_H
#define ZELMOP15_TOKEN_PKCS15_DIRCACHE_H

#include "zelmop15/pkcs15.h"

extern "C" {
/// Keeps a copy of a record (at most PKCS15_MAX_RECORD octets) and makes its slot known to the reference. A null cache
/// is a no-op.
void pkcs15_DirCachePut(DirectoryCache *cache, ObjectReference *reference, const uint8_t *data, uint32_t length);
/// Empties all slots of an object type. A null cache is a no-op.
void pkcs15_DirCachePurge(DirectoryCache *cache, uint32_t objectType);
}

#endif
