// DSA domain parameters and signatures (FIPS 186, RFC 3279). The functions follow the conventions of asn1_pkcs15.h;
// every member is mandatory when it is written and when it is read.
#ifndef ZELMOP15_ASN1_ASN1_DSA_H
#define ZELMOP15_ASN1_ASN1_DSA_H

#include "asn1/asn1_x680.h"

extern "C" {

struct DssParms {
    asn1_Integer *p;
    asn1_Integer *q;
    asn1_Integer *g;
};

struct DssSigValue {
    asn1_Integer *r;
    asn1_Integer *s;
};

ASN1_DECLARE_RECORD(DssParms);
ASN1_DECLARE_RECORD(DssSigValue);
}

#endif
