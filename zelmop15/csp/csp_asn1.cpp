#include "csp/csp_asn1.h"

#include <algorithm>

#include "asn1/asn1_x680.h"
#include "csp/csp.h"
#include "runtime/assertion.h"

namespace {

constexpr uint8_t integer = 0x02;
constexpr uint8_t sequence = 0x30;

/// Reads one INTEGER into a new number, with the octets of its content as they stand: a set top bit is no sign.
const uint8_t *read_number(const uint8_t *z, const uint8_t *end, aauint **number) {
    uint32_t length = 0;
    z = asn1_TagLength_d(z, end, 0, integer, nullptr, &length, nullptr, 0);
    if (z == nullptr || length > csp_max_bits / 8)
        return nullptr;
    *number = aa_new(8 * length);
    if (*number == nullptr)
        return nullptr;
    aa_uchar2aauint(*number, 8 * length, z);
    return z + length;
}

bool read_numbers(const Bytestring *der, aauint **array, uint32_t count) {
    // An empty value has no octets to point to.
    if (der->len == 0)
        return false;
    const uint8_t *z = der->data;
    const uint8_t *end = z + der->len;
    if (count > 1) {
        uint32_t length = 0;
        z = asn1_TagLength_d(z, end, 0, sequence, nullptr, &length, nullptr, 0);
        end = z != nullptr ? z + length : nullptr;
    }
    for (uint32_t i = 0; z != nullptr && i < count; ++i)
        z = read_number(z, end, &array[i]);
    return z != nullptr;
}

/// Octets of an INTEGER's content: room for a clear sign bit, and one octet for zero.
uint32_t content_length(const aauint *number) {
    return static_cast<uint32_t>(aa_lb(number) + 9) / 8;
}

}  // namespace

extern "C" {

int32_t asn1_to_aa(const Bytestring *der, aauint **array, uint32_t count) {
    ZELMO_ASSERT(der != nullptr, "asn1_key != ((void *)0)");
    ZELMO_ASSERT(array != nullptr, "aa != ((void *)0)");
    ZELMO_ASSERT(count != 0, "n != 0");
    std::fill_n(array, count, nullptr);
    if (read_numbers(der, array, count))
        return 0;
    std::for_each_n(array, count, aa_free);
    std::fill_n(array, count, nullptr);
    return -1;
}

Bytestring *aa_to_asn1(const aauint *const *array, uint32_t count) {
    ZELMO_ASSERT(array != nullptr, "aa != ((void *)0)");
    ZELMO_ASSERT(count != 0, "n != 0");
    uint32_t content = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t length = content_length(array[i]);
        content += asn1_TagLength_e(nullptr, integer, length) + length;
    }
    const uint32_t header = count > 1 ? asn1_TagLength_e(nullptr, sequence, content) : 0;
    Bytestring *const der = Bytestring_new(header + content, nullptr);
    if (der == nullptr)
        return nullptr;
    uint8_t *cursor = der->data;
    if (count > 1)
        asn1_TagLength_e(&cursor, sequence, content);
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t length = content_length(array[i]);
        asn1_TagLength_e(&cursor, integer, length);
        aa_aauint2uchar(8 * length, cursor, array[i]);
        cursor += length;
    }
    return der;
}
}
