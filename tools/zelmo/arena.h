// Keeps records while they are put together and encoded.
#ifndef ZELMO_ARENA_H
#define ZELMO_ARENA_H

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "zelmop15/pkcs15.h"

namespace zelmo {

/// Owns everything that its calls return, until it goes itself. Records made here are encoded, never released with the
/// library's own calls.
class Arena {
  public:
    template <class T>
    T *make(T value) {
        return keep(std::make_shared<T>(std::move(value)));
    }
    asn1_OctetString *octets(std::span<const uint8_t> value) {
        auto *kept = make(std::vector<uint8_t>(value.begin(), value.end()));
        return make(asn1_OctetString{static_cast<uint32_t>(kept->size()), kept->data()});
    }
    asn1_OctetString *octets(std::initializer_list<uint8_t> value) {
        return octets(std::span(value.begin(), value.size()));
    }
    asn1_UTF8String *text(std::string_view value) {
        return octets(std::span(reinterpret_cast<const uint8_t *>(value.data()), value.size()));
    }
    char *time(std::string_view value) {
        auto *kept = make(std::vector<char>(value.begin(), value.end()));
        kept->push_back(0);
        return kept->data();
    }
    asn1_Integer *integer(uint32_t value) {
        std::vector<uint8_t> content;
        for (int shift = 24; shift >= 0; shift -= 8) {
            const auto octet = static_cast<uint8_t>(value >> shift);
            if (octet != 0 || !content.empty() || shift == 0)
                content.push_back(octet);
        }
        auto *kept = make(std::move(content));
        return make(asn1_Integer{static_cast<uint32_t>(kept->size()), kept->data(), 0});
    }
    /// A bit string with these bits set.
    asn1_BitString *bits(std::initializer_list<uint32_t> set) {
        return bits(std::span(set.begin(), set.size()));
    }
    asn1_BitString *bits(std::span<const uint32_t> set) {
        auto *kept = make(std::vector<uint8_t>());
        uint32_t count = 0;
        for (const uint32_t bit : set) {
            count = std::max(count, bit + 1);
            kept->resize(std::max<size_t>(kept->size(), bit / 8 + 1));
            (*kept)[bit / 8] = static_cast<uint8_t>((*kept)[bit / 8] | 0x80u >> bit % 8);
        }
        return make(asn1_BitString{count, kept->data()});
    }
    asn1_ObjId *objectId(std::initializer_list<uint32_t> arcs) {
        auto *kept = make(std::vector<uint32_t>(arcs));
        return make(asn1_ObjId{static_cast<uint32_t>(kept->size()), kept->data()});
    }
    Path *path(std::initializer_list<uint8_t> ids) {
        return make(Path{octets(ids), nullptr, nullptr});
    }
    template <class T>
    List *list(std::initializer_list<T *> elements) {
        std::shared_ptr<List> made(List_new(static_cast<int32_t>(elements.size())),
                                   [](List *l) { List_free(l, nullptr); });
        for (T *element : elements) {
            if (made == nullptr || List_append(made.get(), element, nullptr) == nullptr)
                throw std::bad_alloc();
        }
        return keep(std::move(made));
    }

  private:
    template <class T>
    T *keep(std::shared_ptr<T> block) {
        kept_.push_back(block);
        return block.get();
    }

    std::vector<std::shared_ptr<void>> kept_;
};

/// The encoding of a record by its encoder. Throws std::logic_error when it cannot be encoded.
template <class T>
std::vector<uint8_t> encoded(uint32_t (*encode)(uint8_t **, const T *), const T &value) {
    std::vector<uint8_t> result(encode(nullptr, &value));
    uint8_t *cursor = result.data();
    if (result.empty() || encode(&cursor, &value) != result.size())
        throw std::logic_error("a record of the new card cannot be encoded");
    return result;
}

}  // namespace zelmo

#endif
