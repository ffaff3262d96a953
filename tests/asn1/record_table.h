// All types of the codec by name, with their operations in one shape, and values of them.
#ifndef ZELMO_TESTS_ASN1_RECORD_TABLE_H
#define ZELMO_TESTS_ASN1_RECORD_TABLE_H

#include <span>
#include <utility>

#include "asn1/bytes.h"

struct RecordType {
    const char *name;
    asn1_element_e e;
    asn1_element_d d;
    asn1_element_free free;
    void *(*clone)(const void *);  // null where the type cannot be cloned
    void *(*create)();             // null where a new value wants a size
};

/// Primitive types, then the records and CHOICEs of tokens and keys, then those of certificates and messages.
std::span<const RecordType> record_types();
const RecordType *find_record_type(std::string_view name);

/// What a decoder makes of some octets. A value and a moved position come together.
class Record {
  public:
    Record(std::string_view name, const Input &input, uint8_t impl_tag = 0, uint16_t level = 0)
        : type(find_record_type(name)) {
        const uint8_t *z = type->d(input.begin(), input.end(), impl_tag, &value, level);
        position = (z == nullptr) != (value == nullptr) ? -2 : z == nullptr ? -1 : z - input.begin();
    }
    Record(std::string_view name, std::string_view hex, uint8_t impl_tag = 0) : Record(name, Input(hex), impl_tag) {}
    Record(std::string_view name, void *owned) : type(find_record_type(name)), value(owned) {}
    Record(Record &&other) noexcept
        : type(other.type), value(std::exchange(other.value, nullptr)), position(other.position) {}
    Record(const Record &) = delete;
    Record &operator=(const Record &) = delete;
    ~Record() {
        type->free(value);
    }
    Bytes written() const {
        return encode([this](uint8_t **cursor) { return type->e(cursor, value); });
    }
    [[nodiscard]] Record copy() const {
        return {type->name, type->clone(value)};
    }
    template <class T>
    T *as() const {
        return static_cast<T *>(value);
    }

    const RecordType *type;
    void *value = nullptr;
    std::ptrdiff_t position = -1;  ///< Behind what was read; -1 when it was refused.
};

#endif
