// BIT STRING: counted bits, the first one in the top bit of the first byte.
#include <cstring>

#include "asn1/asn1_span.h"
#include "asn1/asn1_x680.h"
#include "asn1/asn1_x680_segments.h"
#include "runtime/assertion.h"
#include "runtime/owned.h"

namespace {

uint32_t octets_of(uint32_t bits) {
    return bits / 8 + (bits % 8 != 0 ? 1 : 0);
}

uint8_t mask_of(uint32_t bit) {
    return static_cast<uint8_t>(0x80u >> (bit % 8));
}

// Grows the buffer to `octets`, the new ones zeroed.
bool grow(asn1_BitString *bs, uint32_t octets) {
    auto *data = static_cast<uint8_t *>(std::realloc(bs->data, octets));
    if (data == nullptr)
        return false;
    const uint32_t old = octets_of(bs->bits);
    std::memset(data + old, 0, octets - old);
    bs->data = data;
    return true;
}

uint32_t encode_bits(uint8_t **cursor, uint8_t unused, const uint8_t *data, uint32_t octets) {
    const uint32_t header = asn1_TagLength_e(cursor, 0x03, 1 + octets);
    if (cursor != nullptr) {
        *(*cursor)++ = unused;
        if (octets != 0)
            std::memcpy(*cursor, data, octets);
        *cursor += octets;
    }
    return header + 1 + octets;
}

}  // namespace

extern "C" {

asn1_BitString *asn1_BitString_new(uint32_t bits) {
    Owned<asn1_BitString, asn1_BitString_free> bs(allocate<asn1_BitString>());
    if (bs == nullptr || bits == 0)
        return bs.release();
    bs->data = allocate<uint8_t>(octets_of(bits));
    if (bs->data == nullptr)
        return nullptr;
    bs->bits = bits;
    return bs.release();
}

void asn1_BitString_free(asn1_BitString *bs) {
    if (bs == nullptr)
        return;
    std::free(bs->data);
    std::free(bs);
}

asn1_BitString *asn1_BitString_clone(const asn1_BitString *bs) {
    if (bs == nullptr)
        return nullptr;
    asn1_BitString *clone = asn1_BitString_new(bs->bits);
    if (clone != nullptr && bs->bits != 0)
        std::memcpy(clone->data, bs->data, octets_of(bs->bits));
    return clone;
}

uint32_t asn1_BitString_test(const asn1_BitString *bs, uint32_t bit) {
    if (bs == nullptr || bit >= bs->bits)
        return 0;
    return (bs->data[bit / 8] & mask_of(bit)) != 0 ? 1 : 0;
}

asn1_BitString *asn1_BitString_set(asn1_BitString *bs, uint32_t bit, uint32_t value) {
    const uint32_t octet = bit / 8;
    const bool inside = octet < octets_of(bs->bits);
    if (value == 0) {
        if (inside)
            bs->data[octet] = static_cast<uint8_t>(bs->data[octet] & ~mask_of(bit));
        return bs;
    }
    if (bit == UINT32_MAX || (!inside && !grow(bs, octet + 1)))
        return nullptr;  // The last number would need a count of bits that does not fit.
    if (bs->bits <= bit)
        bs->bits = bit + 1;
    bs->data[octet] = static_cast<uint8_t>(bs->data[octet] | mask_of(bit));
    return bs;
}

asn1_BitString *asn1_BitString_append(asn1_BitString *bs, uint32_t count, const uint8_t *source) {
    if (count == 0)
        return bs;
    const uint32_t old = octets_of(bs->bits);
    uint32_t octets = old;
    if (!asn1::add_length(octets, count) || octets > UINT32_MAX / 8 || !grow(bs, octets))
        return nullptr;
    if (source != nullptr)
        std::memcpy(bs->data + old, source, count);
    bs->bits = 8 * octets;
    return bs;
}

int asn1_BitString_cmp(const asn1_BitString *a, const asn1_BitString *b) {
    if (a->bits != b->bits)
        return 1;
    const int order = a->bits != 0 ? std::memcmp(a->data, b->data, octets_of(a->bits)) : 0;
    return order == 0 ? 0 : order < 0 ? -1 : 1;
}

uint32_t asn1_BitString_e(uint8_t **cursor, const asn1_BitString *bs) {
    if (bs == nullptr)
        return 0;
    uint32_t octets = bs->data != nullptr ? octets_of(bs->bits) : 0;
    while (octets != 0 && bs->data[octets - 1] == 0)
        --octets;
    const uint8_t unused = octets == 0 ? 0 : static_cast<uint8_t>(__builtin_ctz(bs->data[octets - 1]));
    return encode_bits(cursor, unused, bs->data, octets);
}

uint32_t asn1_BitString_BER_e(uint8_t **cursor, const asn1_BitString *bs) {
    if (bs == nullptr)
        return 0;
    const uint32_t bits = bs->data != nullptr ? bs->bits : 0;
    const uint32_t octets = octets_of(bits);
    const auto unused = static_cast<uint8_t>((8 - bits % 8) % 8);
    return encode_bits(cursor, unused, bs->data, octets);
}

const uint8_t *asn1_BitString_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_BitString **bs,
                                uint16_t level) {
    ZELMO_ASSERT(z != nullptr, "z != ((void *)0)");
    ZELMO_ASSERT(end != nullptr, "end != ((void *)0)");
    ZELMO_ASSERT(bs != nullptr, "s != ((void *)0)");
    *bs = nullptr;
    asn1::StringContent content;
    z = asn1::read_string(z, end, impl_tag, 0x03, true, content, level);
    if (z == nullptr || content.count > UINT32_MAX / 8)
        return nullptr;
    *bs = asn1_BitString_new(0);
    if (*bs == nullptr)
        return nullptr;
    (*bs)->bits = 8 * content.count - content.unused_bits;
    (*bs)->data = content.data.release();
    return z;
}
}
