// Attributes (PKCS #9) as messages carry them. The functions follow the conventions of asn1_pkcs15.h.
#ifndef ZELMOP15_ASN1_ASN1_PKCS9_H
#define ZELMOP15_ASN1_ASN1_PKCS9_H

#include "asn1/asn1_x680.h"

extern "C" {

struct Attribute {
    asn1_ObjId *type;
    List *values;  ///< Of asn1_Any; a SET OF in list order.
};

ASN1_DECLARE_RECORD(Attribute);

/// The first attribute of that type in a list of Attribute, borrowed from the list; null when there is none, or no
/// list.
Attribute *asn1_Attributes_getAttribute(const List *attributes, const asn1_ObjId *id);
}

#endif
