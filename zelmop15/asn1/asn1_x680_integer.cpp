// INTEGER, held as an unsigned magnitude of any size.
#include <cstring>

#include "asn1/asn1_span.h"
#include "asn1/asn1_x680.h"
#include "runtime/owned.h"

namespace {

using OwnedInteger = Owned<asn1_Integer, asn1_Integer_free>;

uint8_t small_values[] = {0, 1, 2, 3};
const asn1_Integer small_integers[] = {
    {1, &small_values[0], 0}, {1, &small_values[1], 0}, {1, &small_values[2], 0}, {1, &small_values[3], 0}};

}  // namespace

extern "C" {

asn1_Integer *asn1_Integer_new(uint32_t count) {
    OwnedInteger i(allocate<asn1_Integer>());
    if (i == nullptr || count == 0)
        return i.release();
    i->data = allocate<uint8_t>(count);
    if (i->data == nullptr)
        return nullptr;
    i->len = count;
    return i.release();
}

void asn1_Integer_free(asn1_Integer *i) {
    if (i == nullptr)
        return;
    std::free(i->data);
    std::free(i);
}

asn1_Integer *asn1_Integer_clone(const asn1_Integer *i) {
    if (i == nullptr)
        return nullptr;
    asn1_Integer *clone = asn1_Integer_new(i->data != nullptr ? i->len : 0);
    if (clone == nullptr)
        return nullptr;
    if (clone->len != 0)
        std::memcpy(clone->data, i->data, clone->len);
    clone->negative = i->negative;
    return clone;
}

uint32_t asn1_Integer_e(uint8_t **cursor, const asn1_Integer *i) {
    static constexpr uint8_t zero = 0;
    if (i == nullptr)
        return 0;
    const uint8_t *data = i->data;
    uint32_t len = data != nullptr ? i->len : 0;
    while (len != 0 && *data == 0) {
        ++data;
        --len;
    }
    if (len == 0) {
        data = &zero;
        len = 1;
    }
    const bool pad = i->negative == 0 && (*data & 0x80) != 0;
    if (len > UINT32_MAX - 6)
        return 0;
    const uint32_t content = len + (pad ? 1 : 0);
    const uint32_t header = asn1_TagLength_e(cursor, 0x02, content);
    if (cursor != nullptr) {
        if (pad)
            *(*cursor)++ = 0;
        std::memcpy(*cursor, data, len);
        *cursor += len;
    }
    return header + content;
}

const uint8_t *asn1_Integer_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_Integer **i,
                              uint16_t level) {
    if (z == nullptr || i == nullptr || asn1::remaining(z, end) < 1)
        return nullptr;
    uint32_t length = 0;
    z = asn1_TagLength_d(z, end, impl_tag, 0x02, nullptr, &length, nullptr, level);
    if (z == nullptr || length == 0)
        return nullptr;
    const bool negative = (*z & 0x80) != 0;
    const uint32_t skip = *z == 0 ? 1 : 0;
    asn1_Integer *value = asn1_Integer_new(length - skip);
    if (value == nullptr)
        return nullptr;
    if (value->len != 0)
        std::memcpy(value->data, z + skip, value->len);
    value->negative = negative ? 1 : 0;
    *i = value;
    if (value->len > 4)
        asn1_LogByteArray(level, value->data, value->len);
    else
        asn1_LogMessage(level, " %i\n", static_cast<int>(asn1_Integer_get(value)));
    return z + length;
}

uint32_t asn1_Integer_get(const asn1_Integer *i) {
    uint32_t value = 0;
    for (uint32_t n = 0; i->data != nullptr && n < i->len; ++n) {
        if (value > 0xFFFFFF)
            return UINT32_MAX;
        value = value << 8 | i->data[n];
    }
    return value;
}

asn1_Integer *asn1_Integer_set(uint32_t value) {
    uint32_t octets = 0;
    while (octets < 4 && value >> (8 * octets) != 0)
        ++octets;
    asn1_Integer *i = asn1_Integer_new(octets);
    for (uint32_t n = 0; i != nullptr && n < octets; ++n)
        i->data[n] = static_cast<uint8_t>(value >> (8 * (octets - 1 - n)));
    return i;
}

int asn1_Integer_cmp(const asn1_Integer *a, const asn1_Integer *b) {
    if (a->negative != b->negative || a->len != b->len)
        return 1;
    const int order = a->len != 0 ? std::memcmp(a->data, b->data, a->len) : 0;
    return order == 0 ? 0 : order < 0 ? -1 : 1;
}

const asn1_Integer *asn1_Integer_0(void) {
    return &small_integers[0];
}

const asn1_Integer *asn1_Integer_1(void) {
    return &small_integers[1];
}

const asn1_Integer *asn1_Integer_2(void) {
    return &small_integers[2];
}

const asn1_Integer *asn1_Integer_3(void) {
    return &small_integers[3];
}
}
