// The object identifiers that the system knows by name.
//
// Each getter gives a constant in static storage, which is not to be changed or freed. They are compared with
// asn1_ObjId_cmp.
#ifndef ZELMOP15_ASN1_ASN1_OID_H
#define ZELMOP15_ASN1_ASN1_OID_H

#include "zelmop15/pkcs15_types.h"

extern "C" {

#define ASN1_OID(name, ...) const asn1_ObjId *asn1_Get_##name(void);
#include "asn1/asn1_oid.def"
#undef ASN1_OID

/// The system's own attribute type of names.
const asn1_ObjId *asn1_Get_quorvanGlobalIdentifier(void);
}

/// Body of a getter: the constant with these arcs.
#define ASN1_STATIC_OBJID(...)                                                                                      \
    static constexpr uint32_t arcs[] = {__VA_ARGS__};                                                               \
    /* The record's arcs are writable for those who make one; nobody writes to a constant. */                       \
    static const asn1_ObjId id = {static_cast<uint32_t>(sizeof arcs / sizeof *arcs), const_cast<uint32_t *>(arcs)}; \
    return &id

#endif
