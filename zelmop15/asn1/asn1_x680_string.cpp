// OCTET STRING, the character strings and ANY: counted bytes that nothing here interprets.
#include <cstring>

#include "asn1/asn1_span.h"
#include "asn1/asn1_x680.h"
#include "asn1/asn1_x680_segments.h"
#include "runtime/assertion.h"
#include "runtime/owned.h"

namespace {

constexpr uint8_t bit_string = 3;

uint32_t encode_bytes(uint8_t **cursor, uint8_t tag, const uint8_t *data, uint32_t count) {
    if (count > UINT32_MAX - 5)
        return 0;
    const uint32_t header = asn1_TagLength_e(cursor, tag, count);
    if (cursor != nullptr && count != 0) {
        std::memcpy(*cursor, data, count);
        *cursor += count;
    }
    return header + count;
}

}  // namespace

extern "C" {

asn1_ASN1String *asn1_ASN1String_new(uint32_t count, const uint8_t *source) {
    if (count == 0 && source != nullptr) {
        const size_t length = std::strlen(reinterpret_cast<const char *>(source));
        if (length > UINT32_MAX)
            return nullptr;
        count = static_cast<uint32_t>(length);
    }
    Owned<asn1_ASN1String, asn1_ASN1String_free> s(allocate<asn1_ASN1String>());
    if (s == nullptr || count == 0)
        return s.release();
    s->data = allocate<uint8_t>(count);
    if (s->data == nullptr)
        return nullptr;
    s->len = count;
    if (source != nullptr)
        std::memcpy(s->data, source, count);
    return s.release();
}

asn1_ASN1String *asn1_ASN1String_clone(const asn1_ASN1String *s) {
    if (s == nullptr)
        return nullptr;
    // An empty string may carry a pointer; it must not be measured as text.
    return asn1_ASN1String_new(s->len, s->len != 0 ? s->data : nullptr);
}

void asn1_ASN1String_free(asn1_ASN1String *s) {
    if (s == nullptr)
        return;
    std::free(s->data);
    std::free(s);
}

asn1_ASN1String *asn1_ASN1String_append(asn1_ASN1String *s, uint32_t count, const uint8_t *source) {
    if (count == 0)
        return s;
    uint32_t total = s->len;
    if (!asn1::add_length(total, count))
        return nullptr;
    auto *data = static_cast<uint8_t *>(std::realloc(s->data, total));
    if (data == nullptr)
        return nullptr;
    if (source != nullptr)
        std::memcpy(data + s->len, source, count);
    s->data = data;
    s->len = total;
    return s;
}

int asn1_ASN1String_cmp(const asn1_ASN1String *a, const asn1_ASN1String *b) {
    if (a->len != b->len)
        return 1;
    const int order = a->len != 0 ? std::memcmp(a->data, b->data, a->len) : 0;
    return order == 0 ? 0 : order < 0 ? -1 : 1;
}

uint32_t asn1_ASN1String_e(uint8_t **cursor, uint8_t tag, const asn1_ASN1String *s) {
    if (s == nullptr)
        return 0;
    if (tag == bit_string) {
        // The two records have one layout here: a count and bytes, the count being one of bits.
        const asn1_BitString bits = {s->len, s->data};
        return asn1_BitString_e(cursor, &bits);
    }
    return encode_bytes(cursor, tag, s->data, s->len);
}

const uint8_t *asn1_ASN1String_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint8_t tag,
                                 asn1_ASN1String **s, uint16_t level) {
    ZELMO_ASSERT(z != nullptr, "z != ((void *)0)");
    ZELMO_ASSERT(end != nullptr, "end != ((void *)0)");
    ZELMO_ASSERT(s != nullptr, "s != ((void *)0)");
    *s = nullptr;
    asn1::StringContent content;
    z = asn1::read_string(z, end, impl_tag, tag, false, content, level);
    if (z == nullptr)
        return nullptr;
    *s = asn1_ASN1String_new(0, nullptr);
    if (*s == nullptr)
        return nullptr;
    (*s)->len = content.count;
    (*s)->data = content.data.release();
    return z;
}

// One member of the string family: the operations above with the member's tag.
#define ASN1_DEFINE_BYTES(T)                                   \
    asn1_##T *asn1_##T##_new(uint32_t count) {                 \
        return asn1_ASN1String_new(count, nullptr);            \
    }                                                          \
    void asn1_##T##_free(asn1_##T *s) {                        \
        asn1_ASN1String_free(s);                               \
    }                                                          \
    asn1_##T *asn1_##T##_clone(const asn1_##T *s) {            \
        return asn1_ASN1String_clone(s);                       \
    }                                                          \
    int asn1_##T##_cmp(const asn1_##T *a, const asn1_##T *b) { \
        return asn1_ASN1String_cmp(a, b);                      \
    }

#define ASN1_DEFINE_STRING(T, tag)                                                                    \
    ASN1_DEFINE_BYTES(T)                                                                              \
    uint32_t asn1_##T##_e(uint8_t **cursor, const asn1_##T *s) {                                      \
        return asn1_ASN1String_e(cursor, tag, s);                                                     \
    }                                                                                                 \
    const uint8_t *asn1_##T##_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_##T **s, \
                                uint16_t level) {                                                     \
        return asn1_ASN1String_d(z, end, impl_tag, tag, s, level);                                    \
    }

ASN1_DEFINE_STRING(OctetString, 4)
ASN1_DEFINE_STRING(UTF8String, 12)
ASN1_DEFINE_STRING(NumericString, 18)
ASN1_DEFINE_STRING(PrintableString, 19)
ASN1_DEFINE_STRING(TeletexString, 20)
ASN1_DEFINE_STRING(VideotextString, 21)
ASN1_DEFINE_STRING(IA5String, 22)
ASN1_DEFINE_STRING(GraphicString, 25)
ASN1_DEFINE_STRING(VisibleString, 26)
ASN1_DEFINE_STRING(GeneralString, 27)
ASN1_DEFINE_STRING(UniversalString, 28)

ASN1_DEFINE_BYTES(Any)

#undef ASN1_DEFINE_STRING
#undef ASN1_DEFINE_BYTES

uint32_t asn1_Any_e(uint8_t **cursor, const asn1_Any *any) {
    if (any == nullptr)
        return 0;
    if (cursor != nullptr && any->len != 0) {
        std::memcpy(*cursor, any->data, any->len);
        *cursor += any->len;
    }
    return any->len;
}

const uint8_t *asn1_Any_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_Any **any, uint16_t level) {
    ZELMO_ASSERT(impl_tag == 0, "impl_tag == 0");
    if (z == nullptr || any == nullptr)
        return nullptr;
    *any = nullptr;
    if (asn1::remaining(z, end) < 1)
        return nullptr;
    uint32_t length = 0;
    const uint8_t *const content = asn1_Length_d(z + 1, end, &length, nullptr, level);
    if (content == nullptr)
        return nullptr;
    // The header counts with its minimal length: a longer one cuts the copy's tail, while the position stays true.
    uint32_t stored = asn1_TagLength_e(nullptr, 0, length);
    if (!asn1::add_length(stored, length))
        return nullptr;
    *any = asn1_ASN1String_new(stored, z);
    if (*any == nullptr)
        return nullptr;
    asn1_LogMessage(level, "[ANY]\n");
    asn1_LogByteArray(level, (*any)->data, (*any)->len);
    return content + length;
}

const asn1_Any *asn1_Any_NULL(void) {
    static uint8_t bytes[] = {0x05, 0x00};
    static const asn1_Any null = {sizeof bytes, bytes};
    return &null;
}
}
