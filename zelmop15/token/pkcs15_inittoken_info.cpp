// Rewriting the TokenInfo file with another label and serial number.
#include <cctype>
#include <cstring>

#include "asn1/asn1_x680.h"
#include "token/pkcs15_card_call.h"
#include "token/pkcs15_exception.h"

using token::raise;

namespace {

constexpr uint32_t label_length = 32;
constexpr uint32_t file_id_length = 2;
constexpr uint32_t serial_digits = 16;
constexpr uint8_t serial_prefix = 0x16;

// Takes a label that is filled up with blanks; one of blanks alone is empty.
uint32_t set_label(TokenInfo &info, const uint8_t *label) {
    uint32_t length = label_length;
    while (length > 0 && label[length - 1] == ' ')
        --length;
    asn1_UTF8String_free(info.label);
    info.label = asn1_UTF8String_new(length);
    if (info.label == nullptr)
        return PKCS15_E_NO_MEMORY;
    std::copy_n(label, length, info.label->data);
    return 0;
}

// No character is refused: one that is no hexadecimal digit gives some value all the same.
uint8_t digit_value(uint8_t character) {
    const int upper = std::toupper(character);
    return static_cast<uint8_t>(upper > 0x40 ? upper - 0x37 : upper - 0x30);
}

uint8_t octet_of(const uint8_t *digits) {
    return static_cast<uint8_t>((digit_value(digits[0]) << 4) + (digit_value(digits[1]) & 0x0F));
}

uint32_t set_serial_number(TokenInfo &info, const uint8_t *serialNumber, uint32_t length, uint8_t flags) {
    const bool digits = (flags & P15_SERIAL_NUMBER_HEX) != 0;
    if (digits && length != serial_digits)
        return PKCS15_E_INVALID_PARAMETER;
    asn1_OctetString_free(info.serialNumber);
    info.serialNumber = asn1_OctetString_new(digits ? 1 + serial_digits / 2 : length);
    if (info.serialNumber == nullptr)
        return PKCS15_E_NO_MEMORY;
    uint8_t *octet = info.serialNumber->data;
    if (!digits) {
        std::copy_n(serialNumber, length, octet);
        return 0;
    }
    *octet++ = serial_prefix;
    for (uint32_t i = 0; i < serial_digits; i += 2)
        *octet++ = octet_of(serialNumber + i);
    return 0;
}

// Writes the file from its start; what a longer one has left behind it stays.
uint32_t write_token_info(CardHandle card, const TokenContext &context, uint32_t *cardError) {
    const uint32_t length = asn1_TokenInfo_e(nullptr, context.tokenInfo);
    const asn1_OctetString &path = *context.dirRecord->ddo->tokenInfoPath->path;
    if (length == 0 || path.len < file_id_length)
        return PKCS15_E_FAILED;
    const OwnedBlock<uint8_t> encoded(allocate<uint8_t>(length));
    if (encoded == nullptr)
        return PKCS15_E_NO_MEMORY;
    uint8_t *cursor = encoded.get();
    if (asn1_TokenInfo_e(&cursor, context.tokenInfo) == 0)
        return PKCS15_E_FAILED;
    const uint32_t parent = path.len - file_id_length;
    FileInfo unused{};
    const uint32_t code = pkcs15_ScSelectFile(card, &context, path.data, parent, &unused, cardError);
    if (code != 0)
        return code;
    return token::card_result(scard_UpdateEF(card, path.data + parent, 0, encoded.get(), length), cardError);
}

}  // namespace

extern "C" uint32_t pkcs15_ScSetTokenInfo(CardHandle card, TokenContext *tokenContext, const uint8_t *label,
                                          const uint8_t *serialNumber, uint32_t serialNumberLength, uint8_t flags,
                                          uint32_t *cardError) {
    TokenInfo &info = *tokenContext->tokenInfo;
    uint32_t code = label != nullptr ? set_label(info, label) : 0;
    if (code == 0 && serialNumber != nullptr)
        code = set_serial_number(info, serialNumber, serialNumberLength, flags);
    if (code == 0)
        code = write_token_info(card, *tokenContext, cardError);
    return code != 0 ? raise(code) : 0;
}
