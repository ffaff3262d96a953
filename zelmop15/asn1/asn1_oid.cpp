#include "asn1/asn1_oid.h"

#define ASN1_OID(name, ...)                   \
    const asn1_ObjId *asn1_Get_##name(void) { \
        ASN1_STATIC_OBJID(__VA_ARGS__);       \
    }

extern "C" {
#include "asn1/asn1_oid.def"
}
