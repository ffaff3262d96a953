// Octets of a test: written as hex, and held in a heap block of exactly their size, so that a read past the end shows.
#ifndef ZELMO_TESTS_ASN1_BYTES_H
#define ZELMO_TESTS_ASN1_BYTES_H

#include <algorithm>
#include <memory>

#include "asn1/asn1_x680.h"
#include "support/octets.h"

using Bytes = Octets;

/// Octets of a hex text; blanks are passed over, and braces hold a content whose length is put before it.
inline Bytes from_hex(std::string_view text) {
    Bytes bytes;
    std::vector<size_t> open;  // where the contents begin
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '{') {
            open.push_back(bytes.size());
        } else if (text[i] == '}') {
            uint8_t header[5];
            uint8_t *cursor = header;
            asn1_Length_e(&cursor, static_cast<uint32_t>(bytes.size() - open.back()));
            bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(open.back()), header, cursor);
            open.pop_back();
        } else if (text[i] != ' ') {
            bytes.push_back(hex(text.substr(i++, 2)).at(0));
        }
    }
    return bytes;
}

inline std::string to_hex(const Bytes &bytes) {
    return to_hex(bytes.data(), bytes.size());
}

/// The first octets.
inline Bytes cut(const Bytes &bytes, size_t count) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)};
}

/// A copy of exactly the given size on the heap.
class Input {
  public:
    explicit Input(const Bytes &bytes) : count_(bytes.size()), data_(new uint8_t[count_]) {
        std::copy(bytes.begin(), bytes.end(), data_.get());
    }
    explicit Input(std::string_view hex) : Input(from_hex(hex)) {}
    const uint8_t *begin() const {
        return data_.get();
    }
    const uint8_t *end() const {
        return data_.get() + count_;
    }

  private:
    size_t count_;
    std::unique_ptr<uint8_t[]> data_;
};

/// Measures, then writes into a block of that size; empty when the encoder yields 0. Both results must agree.
template <class Encode>
Bytes encode(Encode encode_e) {
    Bytes buffer(encode_e(static_cast<uint8_t **>(nullptr)));
    if (buffer.empty())
        return {};
    uint8_t *cursor = buffer.data();
    const uint32_t written = encode_e(&cursor);
    if (written != buffer.size() || cursor != buffer.data() + written)
        return from_hex("DEAD");  // never a valid encoding in these tests
    return buffer;
}

template <class Encode>
std::string encoded(Encode encode_e) {
    return to_hex(encode(encode_e));
}

#endif
