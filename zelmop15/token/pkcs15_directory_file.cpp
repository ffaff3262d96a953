// A transparent directory file: a run of values, decoded into a list and encoded from one.
#include "asn1/asn1_span.h"
#include "zelmop15/pkcs15.h"

namespace {

// The run ends with the file or at a zero octet, since the rest of a file is filled up with zeros.
bool ends_at(const uint8_t *z, const uint8_t *end) {
    return asn1::remaining(z, end) == 0 || *z == 0;
}

// Decodes one value into the list; the position behind it, or null with nothing left over.
const uint8_t *decode_value(const uint8_t *z, const uint8_t *end, asn1_element_d decoder, asn1_element_free release,
                            List *list, uint16_t logFlag) {
    void *value = nullptr;
    z = decoder(z, end, 0, &value, logFlag);
    if (z != nullptr && List_append(list, value, nullptr) != nullptr)
        return z;
    release(value);
    return nullptr;
}

// Total length of all values; 0 when one cannot be encoded or the sum does not fit.
uint32_t encode_values(uint8_t **cursor, const List *list, asn1_element_e encoder) {
    uint32_t sum = 0;
    const int32_t count = List_len(list);
    for (int32_t i = 0; i < count; ++i) {
        const uint32_t length = encoder(cursor, List_get(list, i));
        if (length == 0 || !asn1::add_length(sum, length))
            return 0;
    }
    return sum;
}

}  // namespace

extern "C" {

const uint8_t *pkcs15_DirectoryFile_d(const uint8_t *start, const uint8_t *end, asn1_element_d decoder,
                                      asn1_element_free release, List **list, uint16_t logFlag) {
    if (start == nullptr || list == nullptr)
        return nullptr;
    *list = List_new(0);
    if (*list == nullptr)
        return nullptr;
    const uint8_t *z = start;
    while (z != nullptr && !ends_at(z, end))
        z = decode_value(z, end, decoder, release, *list, logFlag);
    if (z == nullptr) {
        List_free(*list, release);
        *list = nullptr;
    }
    return z;
}

uint32_t pkcs15_DirectoryFile_e(uint8_t *buffer, const List *list, asn1_element_e encoder) {
    if (list == nullptr)
        return 0;
    const uint32_t size = encode_values(nullptr, list, encoder);
    return size == 0 || buffer == nullptr ? size : encode_values(&buffer, list, encoder);
}
}
