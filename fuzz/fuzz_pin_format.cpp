// PINs of any content in formats of any kind.
#include <algorithm>
#include <optional>
#include <vector>

#include "codec.h"
#include "zelmocrd/zelmocrd.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t invalid_parameter = 0x80100004;
constexpr uint32_t insufficient_buffer = 0x80100008;
constexpr uint32_t folded = 2;
constexpr size_t pin_max = 65535;

// What is put in, in a buffer of just that size.
uint32_t format(const Bytes &pin, const ScardPinFormat &how, Bytes &out) {
    auto length = static_cast<uint32_t>(out.size());
    const uint32_t result = scard_FormatPin(pin.data(), static_cast<uint32_t>(pin.size()), &how, out.data(), &length);
    fuzz::require(result == 0 || result == invalid_parameter || result == insufficient_buffer, "result", "it is known");
    fuzz::require(result != 0 || length <= out.size(), "length", "it stays inside the capacity");
    fuzz::require(result != insufficient_buffer || length > out.size(), "length", "it is more than the capacity");
    fuzz::require(result != invalid_parameter || length == 0, "length", "a refusal delivers nothing");
    out.resize(length);
    return result;
}

// Its length when there is room without end; nothing for a refusal.
std::optional<Bytes> formatted(const Bytes &pin, const ScardPinFormat &how) {
    Bytes out;
    const uint32_t result = format(pin, how, out);
    if (result == invalid_parameter)
        return std::nullopt;
    fuzz::require(result == insufficient_buffer, "result", "nothing takes no room");
    fuzz::require(format(pin, how, out) == 0, "result", "the length that was asked for is enough");
    return out;
}

}  // namespace

// Type, least, most, stored length, pad, which of them there are; the rest is the PIN.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr size_t header = 6;
    constexpr uint32_t types[] = {0, 1, folded, 3, 4, 82, 5};
    if (size < header)
        return 0;
    const uint32_t most = data[2];
    const bool padded = (data[5] & 1u) != 0;
    const bool stored = (data[5] & 2u) != 0;
    const bool bounded = (data[5] & 4u) != 0;
    const ScardPinFormat how = {types[data[0] % std::size(types)], data[1], stored ? data[3] : 0u,
                                bounded ? &most : nullptr, padded ? data + 4 : nullptr};
    const Bytes pin(data + header, data + size);
    const std::optional<Bytes> value = formatted(pin, how);
    if (!value)
        return 0;
    fuzz::require(how.storedLength == 0 || value->size() <= how.storedLength, "value", "it can be stored");
    fuzz::require(!padded || value->size() >= how.storedLength, "value", "it is filled up");
    fuzz::require(pin.size() >= 1 && (!bounded || how.pinType == 2 || how.pinType == 82 || pin.size() <= most), "value",
                  "its characters are within the bounds");
    if (how.pinType == folded) {
        const ScardPinFormat plain = {folded, 0, 0, nullptr, nullptr};
        const std::optional<Bytes> once = formatted(pin, plain);
        fuzz::require(once && (once->size() > pin_max || formatted(*once, plain) == once), "value",
                      "folding twice changes nothing");
    }
    return 0;
}
