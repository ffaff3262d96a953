// PIN attributes as the card service's PIN format. The two users differ on purpose: one stops the process where the
// other reports, one lends from the attributes what the other copies.
#include "asn1/asn1_x680.h"
#include "runtime/assertion.h"
#include "token/pkcs15_exception.h"
#include "zelmop15/pkcs15.h"

using token::raise;

namespace {

constexpr uint32_t case_sensitive = 0;
constexpr uint32_t needs_padding = 5;

constexpr uint32_t utf8 = 2;
constexpr uint32_t pin_types = 5;
// The card service's code of UTF-8 that tells upper from lower case; utf8 alone folds it.
constexpr uint32_t case_sensitive_utf8 = 82;

uint32_t format_code(const PinAttributes &attributes) {
    const bool sensitive = asn1_BitString_test(attributes.pinFlags, case_sensitive) != 0;
    return attributes.pinType == utf8 && sensitive ? case_sensitive_utf8 : attributes.pinType;
}

void fill_lengths(ScardPinFormat &format, const PinAttributes &attributes, uint32_t &maxLength) {
    format.minLength = asn1_Integer_get(attributes.minLength);
    format.storedLength = asn1_Integer_get(attributes.storedLength);
    if (attributes.maxLength == nullptr)
        return;
    maxLength = asn1_Integer_get(attributes.maxLength);
    format.maxLength = &maxLength;
}

// Finds the pad octet where one is asked for, otherwise null; false when it is asked for and not there.
bool find_pad(const PinAttributes &attributes, const uint8_t *&pad) {
    if (asn1_BitString_test(attributes.pinFlags, needs_padding) == 0)
        return true;
    const asn1_OctetString *octets = attributes.padChar;
    if (octets == nullptr || octets->len != 1)
        return false;
    pad = octets->data;
    return true;
}

}  // namespace

extern "C" {

uint8_t *pkcs15_TransformPIN(const uint8_t *pin, uint32_t pinLength, const PinAttributes *attributes, uint8_t *buffer,
                             uint32_t *length) {
    ScardPinFormat format = {};
    uint32_t maxLength = 0;
    fill_lengths(format, *attributes, maxLength);
    if (!find_pad(*attributes, format.padChar))
        return nullptr;
    ZELMO_ASSERT(attributes->pinType < pin_types, "(0)");
    format.pinType = format_code(*attributes);
    return scard_FormatPin(pin, pinLength, &format, buffer, length) == 0 ? buffer : nullptr;
}

uint32_t pkcs15_SetPinFormatAttributes(const PinAttributes *attributes, PinFormatAttributes *record) {
    record->format = {};
    fill_lengths(record->format, *attributes, record->maxLengthValue);
    const uint8_t *pad = nullptr;
    if (!find_pad(*attributes, pad))
        return raise(PKCS15_E_FAILED);
    if (pad != nullptr) {
        record->padCharValue = *pad;
        record->format.padChar = &record->padCharValue;
    }
    if (attributes->pinType >= pin_types)
        return raise(PKCS15_E_FAILED);
    record->format.pinType = format_code(*attributes);
    return 0;
}
}
