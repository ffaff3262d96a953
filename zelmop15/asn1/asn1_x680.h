// The ASN.1 codec: tags, lengths, lists, primitive and time types, and the trace (ITU-T X.680, X.690).
//
// Conventions that hold for every type T are those of asn1_pkcs15.h. `tag` is a type's own tag octet, `impl_tag` the
// octet that a context puts in its place (0 for none), `end` the first octet that may not be read, `level` the depth of
// the trace (0 for silence). Encoders take a null `cursor` to measure. A result of 0 or null is a failure without a
// reason: nothing else is reported.
#ifndef ZELMOP15_ASN1_X680_H
#define ZELMOP15_ASN1_X680_H

#include <cstdint>
#include <cstdio>

#include "zelmop15/asn1_pkcs15.h"
#include "zelmop15/list.h"
#include "zelmop15/pkcs15_types.h"

extern "C" {

using asn1_NumericString = asn1_ASN1String;
using asn1_TeletexString = asn1_ASN1String;
using asn1_VideotextString = asn1_ASN1String;
using asn1_IA5String = asn1_ASN1String;
using asn1_GraphicString = asn1_ASN1String;
using asn1_VisibleString = asn1_ASN1String;
using asn1_GeneralString = asn1_ASN1String;
using asn1_UniversalString = asn1_ASN1String;

/// UTCTime or GeneralizedTime (CHOICE); the text is terminated.
struct asn1_Time {
    uint32_t tag;  ///< 23 UTCTime, 24 GeneralizedTime.
    char *text;    ///< Owned.
};

// ---- tags and lengths ----------------------------------------------------------------------------------------------

/// Writes a tag octet; always 1.
uint32_t asn1_Tag_e(uint8_t **cursor, uint8_t tag);
/// Writes a length in its shortest definite form; the number of length octets, 1 to 5.
uint32_t asn1_Length_e(uint8_t **cursor, uint32_t length);
/// Writes tag and length; the number of header octets.
uint32_t asn1_TagLength_e(uint8_t **cursor, uint8_t tag, uint32_t length);
/// Reads a tag octet. Without `pConstructed` a constructed octet is refused where a primitive one is expected, while
/// the reverse is let through; with it both forms pass and the input's form is reported.
const uint8_t *asn1_Tag_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint8_t tag, uint32_t *pConstructed,
                          uint16_t level);
/// Reads length octets, minimal or not, up to four. Without `pIndefinite` the indefinite form is refused. A length
/// that reaches beyond `end` is stored and refused.
const uint8_t *asn1_Length_d(const uint8_t *z, const uint8_t *end, uint32_t *pLength, uint32_t *pIndefinite,
                             uint16_t level);
/// asn1_Tag_d, then asn1_Length_d.
const uint8_t *asn1_TagLength_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint8_t tag,
                                uint32_t *pConstructed, uint32_t *pLength, uint32_t *pIndefinite, uint16_t level);
/// Writes end-of-contents; always 2.
uint32_t asn1_eoc_e(uint8_t **cursor);
/// Position behind two zero octets, or null.
const uint8_t *asn1_eoc_d(const uint8_t *z, const uint8_t *end);

// ---- wrappers and lists --------------------------------------------------------------------------------------------

/// Writes the element and puts `tag` in the place of its first octet, whose constructed bit stays.
uint32_t asn1_implicit_e(uint8_t **cursor, uint8_t tag, const void *pElement, asn1_element_e element_e);
/// Writes the element inside a constructed wrapper with this tag.
uint32_t asn1_explicit_e(uint8_t **cursor, uint8_t tag, const void *pElement, asn1_element_e element_e);
/// Reads the element inside a wrapper; the result is the element's, so surplus in the wrapper is not skipped.
const uint8_t *asn1_explicit_d(const uint8_t *z, const uint8_t *end, uint8_t tag, asn1_element_d element_d,
                               void **ppElement, uint16_t level);
/// Writes the list's elements in list order (a SET OF too) inside a header. An empty list is a header of length 0.
uint32_t asn1_List_e(uint8_t **cursor, uint8_t tag, const List *list, asn1_element_e element_e);
/// Reads elements up to the header's end; for an indefinite length up to `end` - 2, where end-of-contents must stand.
/// `*ppList` holds the empty list when the header was refused, and null after any later failure.
const uint8_t *asn1_List_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint8_t tag,
                           asn1_element_d element_d, asn1_element_free element_free, List **ppList, uint16_t level);
uint32_t asn1_SeqOf_e(uint8_t **cursor, const List *list, asn1_element_e element_e);
uint32_t asn1_SetOf_e(uint8_t **cursor, const List *list, asn1_element_e element_e);
const uint8_t *asn1_SeqOf_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_element_d element_d,
                            asn1_element_free element_free, List **ppList, uint16_t level);
const uint8_t *asn1_SetOf_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_element_d element_d,
                            asn1_element_free element_free, List **ppList, uint16_t level);
/// asn1_List_e with `inner` in an explicit wrapper with `outer`; 0 for a null list.
uint32_t asn1_expl_List_e(uint8_t **cursor, uint8_t outer, uint8_t inner, const List *list, asn1_element_e element_e);
const uint8_t *asn1_expl_List_d(const uint8_t *z, const uint8_t *end, uint8_t outer, uint8_t inner,
                                asn1_element_d element_d, asn1_element_free element_free, List **ppList,
                                uint16_t level);
uint32_t asn1_expl_SeqOf_e(uint8_t **cursor, uint8_t outer, const List *list, asn1_element_e element_e);
uint32_t asn1_expl_SetOf_e(uint8_t **cursor, uint8_t outer, const List *list, asn1_element_e element_e);
const uint8_t *asn1_expl_SeqOf_d(const uint8_t *z, const uint8_t *end, uint8_t outer, asn1_element_d element_d,
                                 asn1_element_free element_free, List **ppList, uint16_t level);
const uint8_t *asn1_expl_SetOf_d(const uint8_t *z, const uint8_t *end, uint8_t outer, asn1_element_d element_d,
                                 asn1_element_free element_free, List **ppList, uint16_t level);

// ---- strings -------------------------------------------------------------------------------------------------------

/// New string of `count` octets, copied from `source` when given, zero otherwise. A count of 0 with a source takes the
/// source's terminated length.
asn1_ASN1String *asn1_ASN1String_new(uint32_t count, const uint8_t *source);
asn1_ASN1String *asn1_ASN1String_clone(const asn1_ASN1String *s);
void asn1_ASN1String_free(asn1_ASN1String *s);
/// Grows by `count` octets, copied from `source` when given. Null, with s unchanged, when memory is short.
asn1_ASN1String *asn1_ASN1String_append(asn1_ASN1String *s, uint32_t count, const uint8_t *source);
/// 0 when equal, 1 when the lengths differ, otherwise -1 or 1 by the first octet that differs.
int asn1_ASN1String_cmp(const asn1_ASN1String *a, const asn1_ASN1String *b);
/// Any tag but 3: header and octets. Tag 3: the named-bit form, where trailing zero bits are dropped.
uint32_t asn1_ASN1String_e(uint8_t **cursor, uint8_t tag, const asn1_ASN1String *s);
/// Primitive or constructed, definite or indefinite; segments carry the universal tag and may nest without limit.
const uint8_t *asn1_ASN1String_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint8_t tag,
                                 asn1_ASN1String **s, uint16_t level);

/// Declares one member of the string family, which forwards to asn1_ASN1String_* with its tag.
#define ASN1_DECLARE_STRING(T)                                  \
    asn1_##T *asn1_##T##_new(uint32_t count);                   \
    void asn1_##T##_free(asn1_##T *s);                          \
    asn1_##T *asn1_##T##_clone(const asn1_##T *s);              \
    int asn1_##T##_cmp(const asn1_##T *a, const asn1_##T *b);   \
    uint32_t asn1_##T##_e(uint8_t **cursor, const asn1_##T *s); \
    const uint8_t *asn1_##T##_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_##T **s, uint16_t level)

ASN1_DECLARE_STRING(OctetString);
ASN1_DECLARE_STRING(UTF8String);
ASN1_DECLARE_STRING(NumericString);
ASN1_DECLARE_STRING(PrintableString);
ASN1_DECLARE_STRING(TeletexString);
ASN1_DECLARE_STRING(VideotextString);
ASN1_DECLARE_STRING(IA5String);
ASN1_DECLARE_STRING(GraphicString);
ASN1_DECLARE_STRING(VisibleString);
ASN1_DECLARE_STRING(GeneralString);
ASN1_DECLARE_STRING(UniversalString);
/// ANY: a whole element, taken and written as it stands. An element whose length is not minimal is stored cut short
/// by the surplus length octets; the decoder's result is the true position behind it all the same.
ASN1_DECLARE_STRING(Any);
#undef ASN1_DECLARE_STRING
/// Constant ANY that holds 05 00; never freed.
const asn1_Any *asn1_Any_NULL(void);

// ---- bit strings ---------------------------------------------------------------------------------------------------

/// New bit string of `bits` zero bits, or null.
asn1_BitString *asn1_BitString_new(uint32_t bits);
void asn1_BitString_free(asn1_BitString *bs);
asn1_BitString *asn1_BitString_clone(const asn1_BitString *bs);
/// 1 when that bit is set; 0 when it is not, or `bs` is null, or the number is not below `bits`.
uint32_t asn1_BitString_test(const asn1_BitString *bs, uint32_t bit);
/// Sets (growing as needed) or clears (never growing or shrinking) a bit. Returns bs, or null when it cannot grow.
asn1_BitString *asn1_BitString_set(asn1_BitString *bs, uint32_t bit, uint32_t value);
/// Grows by `count` whole bytes behind the last byte in use, copied from `source` when given.
asn1_BitString *asn1_BitString_append(asn1_BitString *bs, uint32_t count, const uint8_t *source);
/// As asn1_ASN1String_cmp, by `bits` and then by the (bits + 7) / 8 bytes.
int asn1_BitString_cmp(const asn1_BitString *a, const asn1_BitString *b);
/// Named-bit form: trailing zero bits are dropped.
uint32_t asn1_BitString_e(uint8_t **cursor, const asn1_BitString *bs);
/// Keeps all bits, for signatures.
uint32_t asn1_BitString_BER_e(uint8_t **cursor, const asn1_BitString *bs);
const uint8_t *asn1_BitString_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_BitString **bs,
                                uint16_t level);

// ---- integers ------------------------------------------------------------------------------------------------------

/// New integer of `count` zero octets, or null.
asn1_Integer *asn1_Integer_new(uint32_t count);
void asn1_Integer_free(asn1_Integer *i);
asn1_Integer *asn1_Integer_clone(const asn1_Integer *i);
uint32_t asn1_Integer_e(uint8_t **cursor, const asn1_Integer *i);
const uint8_t *asn1_Integer_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_Integer **i, uint16_t level);
/// Value as an unsigned number; 0xFFFFFFFF when it does not fit. The sign is ignored.
uint32_t asn1_Integer_get(const asn1_Integer *i);
/// New integer of minimal length (0 octets for the value 0), or null.
asn1_Integer *asn1_Integer_set(uint32_t value);
/// 1 when sign or length differ, otherwise 0, -1 or 1 by octets.
int asn1_Integer_cmp(const asn1_Integer *a, const asn1_Integer *b);
/// Constant shared integers; never freed or changed.
const asn1_Integer *asn1_Integer_0(void);
const asn1_Integer *asn1_Integer_1(void);
const asn1_Integer *asn1_Integer_2(void);
const asn1_Integer *asn1_Integer_3(void);

// ---- object identifiers --------------------------------------------------------------------------------------------

/// New identifier of `count` zero arcs, or null.
asn1_ObjId *asn1_ObjId_new(uint32_t count);
void asn1_ObjId_free(asn1_ObjId *id);
asn1_ObjId *asn1_ObjId_clone(const asn1_ObjId *id);
uint32_t asn1_ObjId_e(uint8_t **cursor, const asn1_ObjId *id);
const uint8_t *asn1_ObjId_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_ObjId **id, uint16_t level);
/// 0 when count and all arcs are equal, otherwise 1.
int asn1_ObjId_cmp(const asn1_ObjId *a, const asn1_ObjId *b);
/// Reads dotted text up to the first character that is neither digit nor dot, where `*text` is left. Arcs are read in
/// the base of their own prefix (a leading 0 is octal). Null for a text that does not start with a digit, or where an
/// arc lacks its number.
asn1_ObjId *asn1_ObjId_parse(const char **text);
/// Writes the dotted text with its terminator into `buffer`, when given; `*length` is the capacity on entry and the
/// needed size on success. 0, or -1 when it does not fit or memory is short.
int asn1_ObjId_sprint(const asn1_ObjId *id, char *buffer, uint32_t *length);
/// Prints the dotted text; what the last print returned.
int asn1_ObjId_fprint(const asn1_ObjId *id, FILE *fp);

// ---- one-octet types -----------------------------------------------------------------------------------------------

/// Writes the low octet of the value as it stands; always 3.
uint32_t asn1_Boolean_e(uint8_t **cursor, uint32_t value);
uint32_t asn1_Enumerated_e(uint8_t **cursor, uint32_t value);
/// At `end`, or with a null position, nothing is read and the result is `z` itself.
const uint8_t *asn1_Boolean_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint32_t *value, uint16_t level);
const uint8_t *asn1_Enumerated_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint32_t *value,
                                 uint16_t level);
/// Always 2.
uint32_t asn1_Null_e(uint8_t **cursor);
/// Position behind the header, whatever its length.
const uint8_t *asn1_Null_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, void **ignored, uint16_t level);

// ---- times ---------------------------------------------------------------------------------------------------------

char *asn1_UTCTime_new(void);          ///< 18 zero octets, or null.
char *asn1_GeneralizedTime_new(void);  ///< 27 zero octets, or null.
void asn1_UTCTime_free(char *text);
void asn1_GeneralizedTime_free(char *text);
char *asn1_UTCTime_clone(const char *text);          ///< Exact size; null for null.
char *asn1_GeneralizedTime_clone(const char *text);  ///< Exact size; null for null.
uint32_t asn1_UTCTime_e(uint8_t **cursor, const char *text);
uint32_t asn1_GeneralizedTime_e(uint8_t **cursor, const char *text);
const uint8_t *asn1_UTCTime_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, char **text, uint16_t level);
const uint8_t *asn1_GeneralizedTime_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, char **text,
                                      uint16_t level);
asn1_Time *asn1_Time_new(void);
void asn1_Time_free(asn1_Time *time);
asn1_Time *asn1_Time_clone(const asn1_Time *time);
uint32_t asn1_Time_e(uint8_t **cursor, const asn1_Time *time);
const uint8_t *asn1_Time_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_Time **time, uint16_t level);
/// Seconds since 1970 by a calendar that counts every fourth year as leap; 0, or -1 for a text that is no time.
int asn1_Time2Seconds(uint32_t *seconds, const asn1_Time *time);
int asn1_UTCTime2Seconds(uint32_t *seconds, const char *text);
int asn1_GeneralizedTime2Seconds(uint32_t *seconds, const char *text);
/// Writes the text of a moment into `buffer` (of the size that _new gives), or into a new one for null; null on
/// failure.
char *asn1_Seconds2UTCTime(char *buffer, uint32_t seconds);
char *asn1_Seconds2GeneralizedTime(char *buffer, uint32_t seconds);
/// Overwrites the time in its own form; a new GeneralizedTime for null.
asn1_Time *asn1_Seconds2Time(asn1_Time *time, uint32_t seconds);
/// The same with the present moment.
char *asn1_UTCTime_get(char *buffer);
char *asn1_GeneralizedTime_get(char *buffer);
asn1_Time *asn1_Time_get(asn1_Time *time);
/// 0 equal, 1 the first is later, 2 the first is earlier, -1 failure.
int asn1_Time_cmp(const asn1_Time *a, const asn1_Time *b);
int asn1_UTCTime_cmp(const char *a, const char *b);
int asn1_GeneralizedTime_cmp(const char *a, const char *b);

// ---- trace ---------------------------------------------------------------------------------------------------------

/// Stream of the trace, the caller's; null when no trace is wanted.
extern FILE *asn1log;
/// Sets the stream of the trace; null stops it.
void asn1_LogStart(FILE *stream);
/// Writes one entry: a head with process, thread and time, the indentation of `level`, then the message.
void asn1_LogMessage(uint16_t level, const char *format, ...) __attribute__((format(printf, 2, 3)));
/// Writes the identifier in dotted form on one line.
void asn1_LogObjId(uint16_t level, const asn1_ObjId *id);
/// Writes a hexadecimal listing, 16 octets a line.
void asn1_LogByteArray(uint16_t level, const uint8_t *bytes, uint32_t count);
/// Writes one line of the listing; `line` counts from 0.
void asn1_LogByteArrayLine(uint16_t level, uint32_t line, const uint8_t *bytes, uint32_t count);
}

/// Declares the five operations of a record that stays inside the library.
#define ASN1_DECLARE_RECORD(T)                               \
    T *asn1_##T##_new(void);                                 \
    void asn1_##T##_free(T *value);                          \
    T *asn1_##T##_clone(const T *value);                     \
    uint32_t asn1_##T##_e(uint8_t **cursor, const T *value); \
    const uint8_t *asn1_##T##_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, T **value, uint16_t level)

/// Declares the operations of a type that is a List.
#define ASN1_DECLARE_LIST(T)                                \
    void asn1_##T##_free(T *list);                          \
    T *asn1_##T##_clone(const T *list);                     \
    uint32_t asn1_##T##_e(uint8_t **cursor, const T *list); \
    const uint8_t *asn1_##T##_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, T **list, uint16_t level)

#endif
