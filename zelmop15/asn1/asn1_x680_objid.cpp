// OBJECT IDENTIFIER, one number per arc.
#include <cctype>
#include <cerrno>
#include <cstring>

#include "asn1/asn1_span.h"
#include "asn1/asn1_x680.h"
#include "runtime/assertion.h"
#include "runtime/owned.h"
#include "runtime/stdio_safe.h"

namespace {

using OwnedObjId = Owned<asn1_ObjId, asn1_ObjId_free>;

constexpr uint32_t max_octets = 5;  // of a sub-identifier of 32 bits
constexpr size_t arc_text = 13;     // room for one printed arc with its dot

uint32_t encode_arc(uint8_t **cursor, uint32_t value) {
    uint32_t octets = 1;
    while (octets < max_octets && value >> (7 * octets) != 0)
        ++octets;
    for (uint32_t i = octets; cursor != nullptr && i-- > 0;)
        *(*cursor)++ = static_cast<uint8_t>((value >> (7 * i) & 0x7F) | (i != 0 ? 0x80 : 0));
    return octets;
}

uint32_t encode_arcs(uint8_t **cursor, const asn1_ObjId *id) {
    uint32_t octets = encode_arc(cursor, id->arcs[0] * 40 + id->arcs[1]);
    for (uint32_t i = 2; i < id->count; ++i)
        octets += encode_arc(cursor, id->arcs[i]);
    return octets;
}

// Reads one sub-identifier; null when it runs past `end` or does not fit in 32 bits.
const uint8_t *decode_arc(const uint8_t *z, const uint8_t *end, uint32_t &value) {
    const size_t available = asn1::remaining(z, end);
    const uint8_t *const first = z;
    value = 0;
    for (size_t i = 0; i < available && i < max_octets; ++i) {
        if (i == max_octets - 1 && (*first & 0x70) != 0)
            return nullptr;
        const uint8_t octet = *z++;
        value = value << 7 | (octet & 0x7Fu);
        if ((octet & 0x80) == 0)
            return z;
    }
    return nullptr;
}

uint32_t count_arcs(const uint8_t *z, uint32_t length) {
    uint32_t count = 1;
    for (uint32_t i = 0; i < length; ++i)
        count += z[i] < 0x80 ? 1 : 0;
    return count;
}

bool decode_arcs(const uint8_t *z, const uint8_t *end, asn1_ObjId *id) {
    for (uint32_t i = 1; asn1::remaining(z, end) > 0; ++i) {
        uint32_t value = 0;
        z = decode_arc(z, end, value);
        if (z == nullptr)
            return false;
        if (i == 1) {
            id->arcs[0] = value / 40;
            value -= id->arcs[0] * 40;
        }
        id->arcs[i] = value;
    }
    return true;
}

bool is_digit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

// Reads one number in the base of its own prefix.
bool parse_arc(const char *&text, uint32_t &value) {
    if (!is_digit(*text))
        return false;
    char *end = nullptr;
    errno = 0;
    const unsigned long number = std::strtoul(text, &end, 0);
    if (errno != 0 || number > UINT32_MAX)
        return false;
    value = static_cast<uint32_t>(number);
    text = end;
    return true;
}

}  // namespace

extern "C" {

asn1_ObjId *asn1_ObjId_new(uint32_t count) {
    OwnedObjId id(allocate<asn1_ObjId>());
    if (id == nullptr || count == 0)
        return id.release();
    id->arcs = allocate<uint32_t>(count);
    if (id->arcs == nullptr)
        return nullptr;
    id->count = count;
    return id.release();
}

void asn1_ObjId_free(asn1_ObjId *id) {
    if (id == nullptr)
        return;
    std::free(id->arcs);
    std::free(id);
}

asn1_ObjId *asn1_ObjId_clone(const asn1_ObjId *id) {
    if (id == nullptr)
        return nullptr;
    asn1_ObjId *clone = asn1_ObjId_new(id->count);
    if (clone != nullptr && id->count != 0)
        std::memcpy(clone->arcs, id->arcs, id->count * sizeof *id->arcs);
    return clone;
}

uint32_t asn1_ObjId_e(uint8_t **cursor, const asn1_ObjId *id) {
    if (id == nullptr || id->count < 2 || id->count > UINT32_MAX / max_octets)
        return 0;
    const uint32_t content = encode_arcs(nullptr, id);
    const uint32_t header = asn1_TagLength_e(cursor, 0x06, content);
    if (cursor != nullptr)
        encode_arcs(cursor, id);
    return header + content;
}

const uint8_t *asn1_ObjId_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_ObjId **id, uint16_t level) {
    if (z == nullptr || id == nullptr)
        return nullptr;
    *id = nullptr;
    uint32_t length = 0;
    z = asn1_TagLength_d(z, end, impl_tag, 0x06, nullptr, &length, nullptr, level);
    if (z == nullptr || length == UINT32_MAX)
        return nullptr;
    OwnedObjId value(asn1_ObjId_new(count_arcs(z, length)));
    if (value == nullptr || !decode_arcs(z, z + length, value.get()))
        return nullptr;
    *id = value.release();
    asn1_LogObjId(level, *id);
    return z + length;
}

int asn1_ObjId_cmp(const asn1_ObjId *a, const asn1_ObjId *b) {
    if (a->count != b->count)
        return 1;
    return a->count == 0 || std::memcmp(a->arcs, b->arcs, a->count * sizeof *a->arcs) == 0 ? 0 : 1;
}

asn1_ObjId *asn1_ObjId_parse(const char **text) {
    const char *position = *text;
    if (position == nullptr || !is_digit(*position))
        return nullptr;
    uint32_t count = 1;
    for (const char *p = position; is_digit(*p) || *p == '.'; ++p)
        count += *p == '.' ? 1 : 0;
    OwnedObjId id(asn1_ObjId_new(count));
    if (id == nullptr)
        return nullptr;
    for (uint32_t i = 0; i < count; ++i) {
        if (i != 0 && *position++ != '.')
            return nullptr;
        if (!parse_arc(position, id->arcs[i]))
            return nullptr;
    }
    *text = position;
    return id.release();
}

int asn1_ObjId_sprint(const asn1_ObjId *id, char *buffer, uint32_t *length) {
    ZELMO_ASSERT(id != nullptr, "oid != ((void *)0)");
    ZELMO_ASSERT(length != nullptr, "length != ((void *)0)");
    const size_t capacity = id->count * arc_text + 1;
    OwnedBlock<char> work(allocate<char>(capacity));
    if (work == nullptr || capacity > UINT32_MAX)
        return -1;
    size_t used = 0;
    for (uint32_t i = 0; i < id->count; ++i)
        used += static_cast<size_t>(
            sprintf_safeA(work.get() + used, capacity - used, "%i.", static_cast<int>(id->arcs[i])));
    if (used != 0)
        work.get()[--used] = '\0';
    const auto needed = static_cast<uint32_t>(used + 1);
    if (buffer != nullptr) {
        if (needed > *length)
            return -1;
        std::memcpy(buffer, work.get(), needed);
    }
    *length = needed;
    return 0;
}

int asn1_ObjId_fprint(const asn1_ObjId *id, FILE *fp) {
    ZELMO_ASSERT(id != nullptr, "oid != ((void *)0)");
    ZELMO_ASSERT(fp != nullptr, "fp != ((void *)0)");
    int result = 0;
    for (uint32_t i = 0; i < id->count; ++i)
        result = std::fprintf(fp, i == 0 ? "%i" : ".%i", static_cast<int>(id->arcs[i]));
    return result;
}
}
