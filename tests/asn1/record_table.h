// All record and CHOICE types by name, with their coders in one shape.
#ifndef ZELMO_TESTS_ASN1_RECORD_TABLE_H
#define ZELMO_TESTS_ASN1_RECORD_TABLE_H

#include <span>
#include <string_view>

#include "asn1/asn1_x680.h"

struct RecordType {
    const char *name;
    void *(*create)();
    asn1_element_e e;
    asn1_element_d d;
    asn1_element_free free;
    void *(*clone)(const void *);  // null where the type cannot be cloned
};

std::span<const RecordType> record_types();
const RecordType *find_record_type(std::string_view name);

#endif
