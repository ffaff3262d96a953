// PINs in the forms in which cards store them.
#include <algorithm>
#include <optional>
#include <unicase.h>
#include <unistr.h>

#include "zelmocrd/boundary.h"
#include "zelmocrd/wiped.h"

namespace zelmocrd {

namespace {

using Octets = std::span<const uint8_t>;

enum PinType : uint32_t { bcd = 0, asciiNumeric = 1, utf8Folded = 2, halfNibbleBcd = 3, iso9564 = 4, utf8 = 82 };

// More than any command carries.
constexpr size_t pinMax = 65535;
// No character's upper-case form takes more than three times its octets.
constexpr size_t growth = 3;
constexpr size_t isoBlock = 8;
constexpr uint8_t fillNibble = 0x0F;

constexpr size_t encodedMax(size_t pinLength) {
    return std::max(growth * pinLength, isoBlock);
}

bool isText(uint32_t pinType) {
    return pinType == utf8Folded || pinType == utf8;
}

void requireDigits(Octets pin) {
    require(std::all_of(pin.begin(), pin.end(), [](uint8_t octet) { return octet >= '0' && octet <= '9'; }));
}

// Two digits an octet; `last` goes behind an odd number of them.
void appendPairs(Bytes &out, Octets digits, uint8_t last) {
    for (size_t i = 0; i < digits.size(); i += 2) {
        const unsigned low = i + 1 < digits.size() ? digits[i + 1] : last;
        out.push_back(static_cast<uint8_t>((digits[i] & 0x0Fu) << 4u | (low & 0x0Fu)));
    }
}

void appendBlock(Bytes &out, Octets digits) {
    constexpr uint8_t format2 = 0x20;
    require(digits.size() >= 4 && digits.size() <= 12);
    out.push_back(static_cast<uint8_t>(format2 | digits.size()));
    appendPairs(out, digits, fillNibble);
    out.resize(isoBlock, 0xFF);
}

// The room is enough, so that the library puts the text there instead of into memory of its own.
void appendUpperCase(Bytes &out, Octets text) {
    out.resize(growth * text.size());
    size_t length = out.size();
    if (u8_toupper(text.data(), text.size(), nullptr, nullptr, out.data(), &length) != out.data())
        throw ServiceError(code::unknownError);
    out.resize(length);
}

void encode(Bytes &out, Octets pin, const ScardPinFormat &format) {
    switch (format.pinType) {
        case bcd:
            return appendPairs(out, pin, format.padChar != nullptr ? *format.padChar : fillNibble);
        case asciiNumeric:
        case utf8:
            out.assign(pin.begin(), pin.end());
            return;
        case utf8Folded:
            return appendUpperCase(out, pin);
        case halfNibbleBcd:
            std::transform(pin.begin(), pin.end(), std::back_inserter(out),
                           [](uint8_t digit) { return static_cast<uint8_t>(0xF0 | (digit & 0x0F)); });
            return;
        case iso9564:
            return appendBlock(out, pin);
        default:
            require(false);
    }
}

// Well-formed, and as many characters as the format wants.
void requireExpressible(Octets pin, const ScardPinFormat &format) {
    require(!pin.empty() && pin.size() <= pinMax);
    size_t characters = pin.size();
    if (isText(format.pinType)) {
        require(u8_check(pin.data(), pin.size()) == nullptr);
        characters = u8_mbsnlen(pin.data(), pin.size());
    } else {
        requireDigits(pin);
    }
    require(characters >= format.minLength);
    require(format.maxLength == nullptr || characters <= *format.maxLength);
}

uint32_t formatPin(Octets pin, const ScardPinFormat &format, Output &out) {
    requireExpressible(pin, format);
    Wiped encoded(encodedMax(pin.size()));
    encode(encoded.octets(), pin, format);
    const Octets value = encoded.span();
    require(format.storedLength == 0 || value.size() <= format.storedLength);
    out.demand(format.padChar != nullptr ? std::max<size_t>(value.size(), format.storedLength) : value.size());
    out.append(value);
    while (format.padChar != nullptr && out.size() < format.storedLength)
        out.append({format.padChar, 1});
    return code::ok;
}

}  // namespace

}  // namespace zelmocrd

using namespace zelmocrd;

uint32_t scard_FormatPin(const uint8_t *pin, uint32_t pinLength, const ScardPinFormat *format, uint8_t *buffer,
                         uint32_t *length) {
    return guarded([&] {
        Output out(buffer, length);
        require(format != nullptr);
        return formatPin(input(pin, pinLength), *format, out);
    });
}
