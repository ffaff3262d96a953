// Distinguished names (X.501), as the tree of lists that an encoding is read into and as one text.
//
// The text: each RDN is introduced by '/', the assertions of an RDN are separated by ','. An assertion is
// attribute(tag)=value. The attribute is a short name of asn1_x520.h, in upper or lower case, or a dotted identifier;
// the tag is the number of the string type; "(tag)" may be left out on reading and is 19 then, PrintableString. In a
// value '/' and ',' are preceded by '/'. An example: /c(19)=DE/o(19)=Example AG/cn(12)=A//B
//
// The two forms are no inverses of each other: the octets of a value are copied without conversion, so that a zero
// octet ends it in the text; a serial number ("sn") is written and not read; an empty name has no text. Whoever must
// write a name as it was read keeps its octets.
//
// Coders, release and copy follow the conventions of asn1_pkcs15.h.
#ifndef ZELMOP15_ASN1_ASN1_X501_H
#define ZELMOP15_ASN1_ASN1_X501_H

#include "asn1/asn1_x680.h"

extern "C" {

struct AttributeValueAssertion {
    asn1_ObjId *type;
    uint32_t tag;            ///< The value's tag octet, whatever it is: 19 PrintableString, 12 UTF8String ...
    asn1_ASN1String *value;  ///< As encoded.
};

using RelativeDistinguishedName = List;  ///< Of AttributeValueAssertion; a SET OF.
using RDNSequence = List;                ///< Of RelativeDistinguishedName; a SEQUENCE OF.
using Name = char;                       ///< Terminated text, owned.

/// The copy's `tag` is 0.
ASN1_DECLARE_RECORD(AttributeValueAssertion);

/// When the header is refused the decoders leave an empty list for the caller to release, as asn1_List_d does.
ASN1_DECLARE_LIST(RelativeDistinguishedName);
ASN1_DECLARE_LIST(RDNSequence);

/// 0 when type, tag and value are equal, otherwise 1.
int asn1_AttributeValueAssertion_cmp(const AttributeValueAssertion *a, const AttributeValueAssertion *b);
/// 0 when the lengths are equal and each element of the first is found in the second, otherwise 1. The order does not
/// count, for RDNs neither: a name equals its reversal.
int asn1_RelativeDistinguishedName_cmp(const RelativeDistinguishedName *a, const RelativeDistinguishedName *b);
int asn1_RDNSequence_cmp(const RDNSequence *a, const RDNSequence *b);
/// The first assertion of that type, borrowed from the list, or null; also stored through `result`, when given.
AttributeValueAssertion *asn1_RDNSequence_getAttr(const RDNSequence *sequence, const asn1_ObjId *id,
                                                  AttributeValueAssertion **result);

/// `count` + 1 zero octets, or null.
Name *asn1_Name_new(uint32_t count);
void asn1_Name_free(Name *name);
Name *asn1_Name_clone(const Name *name);
/// Converts the text and writes the result; 0 for null and for what is no name.
uint32_t asn1_Name_e(uint8_t **cursor, const Name *name);
/// An empty name is refused.
const uint8_t *asn1_Name_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, Name **name, uint16_t level);

/// New text, or null: for an empty sequence, an assertion that lacks a member, and when memory is short.
Name *asn1_RDNSequence_to_Name(const RDNSequence *sequence);
/// New sequence, or null for a text that is no name or is null, and when memory is short.
RDNSequence *asn1_Name_to_RDNSequence(const Name *name);
/// Reads one assertion; `*text` is left at the ',' or '/' or terminator behind it. Null, with `*text` unchanged, for a
/// text that is none, and when memory is short.
AttributeValueAssertion *asn1_AttributeValueAssertion_parse(const char **text);
/// The first text grown by the second, in the first one's place; a new text for a null first. Null when memory is
/// short, with the first text left valid.
char *asn1_string_cat(char *a, const char *b);
}

#endif
