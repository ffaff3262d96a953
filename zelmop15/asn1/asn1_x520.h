// The attribute types that names are spelled with (X.520, PKCS #9).
#ifndef ZELMOP15_ASN1_ASN1_X520_H
#define ZELMOP15_ASN1_ASN1_X520_H

#include "asn1/asn1_oid.h"

extern "C" {

/// How an attribute type is called.
struct NameAttribute {
    const asn1_ObjId *(*getter)(void);  ///< Null in the row at the end.
    const char *longName;               ///< For people; no conversion reads it.
    const char *shortName;              ///< What stands in the text of a name.
};

/// A text is matched against the short names in this order, the first that it begins with counts: the order is a part
/// of the format of names.
extern const NameAttribute oidNameAttributes[];
}

#endif
