// The one object identifier that is the system's own to assign.
#include "asn1/asn1_oid.h"

// It stands below 2.25, where anybody may use the number of a UUID without registering it (X.667). The number has to
// fit in an arc of 32 bits, and spells "ZELM". Every generated UUID is far above that, since its version stands in bits
// 76 to 79, so that nobody else comes to this number in good order. A deployment with a registered arc of its own
// changes this line.
extern "C" const asn1_ObjId *asn1_Get_quorvanGlobalIdentifier(void) {
    ASN1_STATIC_OBJID(2, 25, 0x5A454C4D, 15, 1);
}
