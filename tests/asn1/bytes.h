// Octets of a test: written as hex, and held in a heap block of exactly their size, so that a read past the end shows.
#ifndef ZELMO_TESTS_ASN1_BYTES_H
#define ZELMO_TESTS_ASN1_BYTES_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "asn1/asn1_x680.h"

using Bytes = std::vector<uint8_t>;

/// Octets of a hex text; blanks are passed over, and braces hold a content whose length is put before it.
inline Bytes from_hex(std::string_view text) {
    const auto digit = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
    Bytes bytes;
    std::vector<size_t> open;  // where the contents begin
    int high = -1;
    for (const char c : text) {
        if (c == ' ')
            continue;
        if (c == '{') {
            open.push_back(bytes.size());
        } else if (c == '}') {
            const size_t start = open.back();
            open.pop_back();
            uint8_t header[5];
            uint8_t *cursor = header;
            asn1_Length_e(&cursor, static_cast<uint32_t>(bytes.size() - start));
            bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(start), header, cursor);
        } else if (high < 0) {
            high = digit(c);
        } else {
            bytes.push_back(static_cast<uint8_t>(high << 4 | digit(c)));
            high = -1;
        }
    }
    return bytes;
}

inline std::string to_hex(const uint8_t *data, size_t count) {
    std::string text;
    char buffer[4];
    for (size_t i = 0; i < count; ++i) {
        std::snprintf(buffer, sizeof buffer, "%02X", data[i]);
        text += buffer;
    }
    return text;
}

inline std::string to_hex(const Bytes &bytes) {
    return to_hex(bytes.data(), bytes.size());
}

/// A copy of exactly the given size on the heap.
class Input {
  public:
    explicit Input(const Bytes &bytes)
        : count_(bytes.size()), data_(static_cast<uint8_t *>(std::malloc(count_ + (count_ == 0)))) {
        if (count_ != 0)
            std::memcpy(data_, bytes.data(), count_);
    }
    explicit Input(std::string_view hex) : Input(from_hex(hex)) {}
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;
    ~Input() {
        std::free(data_);
    }
    const uint8_t *begin() const {
        return data_;
    }
    const uint8_t *end() const {
        return data_ + count_;
    }

  private:
    size_t count_;
    uint8_t *data_;
};

/// Measures, then writes into a block of that size; empty when the encoder yields 0. Both results must agree.
template <class Encode>
Bytes encode(Encode encode_e) {
    const uint32_t length = encode_e(static_cast<uint8_t **>(nullptr));
    if (length == 0)
        return {};
    Bytes buffer(length);
    uint8_t *cursor = buffer.data();
    const uint32_t written = encode_e(&cursor);
    if (written != length || cursor != buffer.data() + length)
        return from_hex("DEAD");  // never a valid encoding in these tests
    return buffer;
}

#endif
