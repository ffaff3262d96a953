#include "runtime/bytestring.h"

#include <cstring>

#include "runtime/assertion.h"

extern "C" {

Bytestring *Bytestring_new(uint32_t count, const uint8_t *source) {
    OwnedBytestring bs(allocate<Bytestring>());
    if (bs == nullptr)
        return nullptr;
    if (count == 0 && source != nullptr) {
        const size_t text = std::strlen(reinterpret_cast<const char *>(source)) + 1;
        if (text > UINT32_MAX)
            return nullptr;
        count = static_cast<uint32_t>(text);
    }
    if (count == 0)
        return bs.release();
    bs->data = allocate<uint8_t>(count);
    if (bs->data == nullptr)
        return nullptr;
    bs->len = count;
    if (source != nullptr)
        std::memcpy(bs->data, source, count);
    return bs.release();
}

Bytestring *Bytestring_clone(const Bytestring *bs) {
    ZELMO_ASSERT_GIVEN(bs);
    // An empty value has no octets to take a text from.
    return Bytestring_new(bs->len, bs->len != 0 ? bs->data : nullptr);
}

void Bytestring_free(Bytestring *bs) {
    if (bs == nullptr)
        return;
    std::free(bs->data);
    std::free(bs);
}

void Bytestring_erase(Bytestring *bs) {
    if (bs != nullptr && bs->data != nullptr)
        explicit_bzero(bs->data, bs->len);
    Bytestring_free(bs);
}

int32_t Bytestring_cmp(const Bytestring *bs1, const Bytestring *bs2) {
    ZELMO_ASSERT_GIVEN(bs1);
    ZELMO_ASSERT_GIVEN(bs2);
    if (bs1->len != bs2->len)
        return 1;
    const int order = bs1->len != 0 ? std::memcmp(bs1->data, bs2->data, bs1->len) : 0;
    return order == 0 ? 0 : order < 0 ? -1 : 1;
}

Bytestring *Bytestring_append(Bytestring *bs, uint32_t count, const uint8_t *source) {
    ZELMO_ASSERT_GIVEN(bs);
    if (count == 0)
        return bs;
    if (count > UINT32_MAX - bs->len)
        return nullptr;
    // A source inside the value moves along with it.
    const auto start = reinterpret_cast<uintptr_t>(bs->data);
    const auto place = reinterpret_cast<uintptr_t>(source);
    const bool inside = bs->data != nullptr && place >= start && place - start < bs->len;
    auto *const data = static_cast<uint8_t *>(std::realloc(bs->data, size_t{bs->len} + count));
    if (data == nullptr)
        return nullptr;
    bs->data = data;
    if (source != nullptr)
        std::memmove(data + bs->len, inside ? data + (place - start) : source, count);
    bs->len += count;
    return bs;
}

Bytestring *Bytestring_concat(Bytestring *bs1, const Bytestring *bs2) {
    ZELMO_ASSERT_GIVEN(bs2);
    return bs1 == nullptr ? Bytestring_clone(bs2) : Bytestring_append(bs1, bs2->len, bs2->data);
}

Bytestring *Bytestring_shift(Bytestring *bs, uint32_t count) {
    ZELMO_ASSERT_GIVEN(bs);
    if (count > bs->len)
        count = bs->len;
    if (count == 0)
        return bs;
    bs->len -= count;
    if (bs->len == 0) {
        std::free(bs->data);
        bs->data = nullptr;
        return bs;
    }
    std::memmove(bs->data, bs->data + count, bs->len);
    auto *const data = static_cast<uint8_t *>(std::realloc(bs->data, bs->len));
    if (data == nullptr)
        return nullptr;
    bs->data = data;
    return bs;
}
}
