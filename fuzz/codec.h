// What every decoder fuzz target checks, for any type of the codec.
#ifndef ZELMOP15_FUZZ_CODEC_H
#define ZELMOP15_FUZZ_CODEC_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "zelmop15/asn1_pkcs15.h"

namespace fuzz {

using Octets = std::span<const uint8_t>;

/// The operations of one type, and how its two directions differ by design.
struct Codec {
    const char *name;
    asn1_element_e encode;
    asn1_element_d decode;
    asn1_element_free release;
    void *(*clone)(const void *);         ///< Null for a type without one.
    bool (*writable)(const void *value);  ///< Null when every decoded value can be encoded.
    uint8_t sequence_octet = 0x30;        ///< The octet that the decoder wants where the encoder writes 30.
};

template <class T>
using EncoderOf = uint32_t (*)(uint8_t **, const T *);
template <class T>
using DecoderOf = const uint8_t *(*)(const uint8_t *, const uint8_t *, uint8_t, T **, uint16_t);

/// Untyped forms of a type's operations. `Clone` is null for a type without one.
template <class T, EncoderOf<T> Encode, DecoderOf<T> Decode, auto Free, T *(*Clone)(const T *) = nullptr>
constexpr Codec codec(const char *name) {
    Codec result{.name = name,
                 .encode = [](uint8_t **cursor, const void *value) -> uint32_t {
                     return Encode(cursor, static_cast<const T *>(value));
                 },
                 .decode = [](const uint8_t *z, const uint8_t *end, uint8_t impl_tag, void **value,
                              uint16_t level) -> const uint8_t * {
                     T *typed = static_cast<T *>(*value);
                     const uint8_t *position = Decode(z, end, impl_tag, &typed, level);
                     *value = typed;
                     return position;
                 },
                 .release = [](void *value) { Free(static_cast<T *>(value)); },
                 .clone = nullptr,
                 .writable = nullptr};
    if constexpr (Clone != nullptr)
        result.clone = [](const void *value) -> void * { return Clone(static_cast<const T *>(value)); };
    return result;
}

/// Ends the process, as a finding, unless `holds`.
void require(bool holds, const char *type, const char *property);

/// Whether the octets may hold a length that is not minimal. ANY is stored cut short then, by design, so that what is
/// encoded from it need not be readable.
bool may_be_cut_short(Octets data);
/// Whether the octets may hold an element that decodes to something that no encoder writes: an object identifier or a
/// time without content.
bool may_be_unwritable(Octets data);

/// A fuzz input: the first octet chooses the type and, by its top bit, whether the trace runs; the rest is decoded.
/// Checks, besides what the sanitizers see:
///  - the position is behind the start and not behind the end; a failure leaves no value;
///  - measuring and writing agree to the octet;
///  - a decoded value encodes, and what was encoded decodes and encodes to the same octets;
///  - a copy encodes to the same octets.
int run_codecs(std::span<const Codec> codecs, const uint8_t *data, size_t size);

/// Starts the trace into nothing, so that its code runs as well.
void discard_trace();

}  // namespace fuzz

/// Row of a record type.
#define FUZZ_RECORD(T) fuzz::codec<T, asn1_##T##_e, asn1_##T##_d, asn1_##T##_free>(#T),
/// Row of a record type with a clone.
#define FUZZ_CLONED(T) fuzz::codec<T, asn1_##T##_e, asn1_##T##_d, asn1_##T##_free, asn1_##T##_clone>(#T),

#endif
