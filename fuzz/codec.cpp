#include "codec.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "asn1/asn1_x680.h"

namespace fuzz {

namespace {

struct Release {
    const Codec *codec;
    void operator()(void *value) const {
        codec->release(value);
    }
};
using Value = std::unique_ptr<void, Release>;

struct Encoding {
    std::unique_ptr<uint8_t[]> octets;
    uint32_t length = 0;
    [[nodiscard]] Octets view() const {
        return {octets.get(), length};
    }
};

Value decode(const Codec &codec, Octets data, uint16_t level) {
    void *value = nullptr;
    const uint8_t *end = data.data() + data.size();
    const uint8_t *position = codec.decode(data.data(), end, 0, &value, level);
    if (position == nullptr) {
        require(value == nullptr, codec.name, "a failed decode leaves no value");
        return {nullptr, {&codec}};
    }
    require(value != nullptr, codec.name, "a decode that succeeds yields a value");
    require(position > data.data() && position <= end, codec.name, "the position lies behind the start, within bounds");
    return {value, {&codec}};
}

/// The value's octets in a block of exactly the measured size, so that the sanitizer sees one octet too many.
Encoding encode(const Codec &codec, const void *value) {
    Encoding encoding;
    encoding.length = codec.encode(nullptr, value);
    encoding.octets.reset(new uint8_t[encoding.length]);
    if (encoding.length == 0)
        return encoding;
    uint8_t *cursor = encoding.octets.get();
    const uint32_t written = codec.encode(&cursor, value);
    require(written == encoding.length, codec.name, "writing returns what measuring returned");
    require(cursor == encoding.octets.get() + encoding.length, codec.name, "the cursor moves by the length");
    return encoding;
}

bool same(const Encoding &a, const Encoding &b) {
    return std::ranges::equal(a.view(), b.view());
}

void check_clone(const Codec &codec, const void *value, const Encoding &encoding) {
    if (codec.clone == nullptr)
        return;
    const Value copy(codec.clone(value), {&codec});
    require(copy != nullptr, codec.name, "a decoded value can be cloned");
    require(same(encode(codec, copy.get()), encoding), codec.name, "the copy encodes to the same octets");
}

void check_decoding_again(const Codec &codec, Encoding encoding) {
    const uint8_t first = encoding.octets[0];
    if (first == 0x30)
        encoding.octets[0] = codec.sequence_octet;
    const Value again = decode(codec, encoding.view(), 0);
    encoding.octets[0] = first;
    require(again != nullptr, codec.name, "what was encoded decodes");
    require(same(encode(codec, again.get()), encoding), codec.name, "what was encoded encodes to the same octets");
}

bool has_pair(Octets data, bool (*matches)(uint8_t, uint8_t)) {
    return std::adjacent_find(data.begin(), data.end(), matches) != data.end();
}

void check(const Codec &codec, Octets data, uint16_t level) {
    const Value value = decode(codec, data, level);
    if (value == nullptr)
        return;
    if (codec.writable != nullptr && !codec.writable(value.get()))
        return;
    Encoding encoding = encode(codec, value.get());
    if (encoding.length == 0) {
        require(may_be_unwritable(data), codec.name, "a decoded value encodes");
        return;
    }
    check_clone(codec, value.get(), encoding);
    if (!may_be_cut_short(data))
        check_decoding_again(codec, std::move(encoding));
}

}  // namespace

void require(bool holds, const char *type, const char *property) {
    if (holds)
        return;
    std::fprintf(stderr, "%s: not so: %s\n", type, property);
    std::abort();
}

bool may_be_cut_short(Octets data) {
    return has_pair(data, [](uint8_t count, uint8_t first) {
        return (count == 0x81 && first < 0x80) || (count >= 0x82 && count <= 0x84 && first == 0);
    });
}

bool may_be_unwritable(Octets data) {
    // An empty content directly behind the tag, or a text that begins with its terminator.
    if (may_be_cut_short(data))
        return true;
    for (size_t n = 0; n + 1 < data.size(); n++) {
        const bool time = data[n] == 0x17 || data[n] == 0x18 || data[n] == 0x80;
        if ((time || data[n] == 0x06) && data[n + 1] == 0)
            return true;
        if (time && n + 2 < data.size() && data[n + 2] == 0)
            return true;
    }
    return false;
}

int run_codecs(std::span<const Codec> codecs, const uint8_t *data, size_t size) {
    if (size < 2)
        return -1;
    const uint16_t level = (data[0] & 0x80) != 0 ? 1 : 0;
    check(codecs[(data[0] & 0x7Fu) % codecs.size()], {data + 1, size - 1}, level);
    return 0;
}

void discard_trace() {
    asn1_LogStart(std::fopen("/dev/null", "w"));
}

}  // namespace fuzz
