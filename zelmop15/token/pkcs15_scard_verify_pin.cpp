// Presenting a PIN.
#include <algorithm>
#include <cstring>

#include "asn1/asn1_x680.h"
#include "runtime/scdialog_stub.h"
#include "token/pkcs15_auth_object.h"
#include "token/pkcs15_card_call.h"
#include "token/pkcs15_exception.h"
#include "token/pkcs15_resource.h"
#include "token/pkcs15_scard_verify.h"

using token::EncodedPin;
using token::pin_capacity;
using token::raise;

namespace {

constexpr uint32_t initialized = 4;

// The dialog's text, and behind it always a terminator.
using TypedPin = WipedBuffer<pin_capacity + 1>;

constexpr uint32_t text_size = 256;
using Text = char[text_size];

uintptr_t word(const void *pointer) {
    return reinterpret_cast<uintptr_t>(pointer);
}

// Has a person type the PIN.
uint32_t ask(const TokenContext &context, const PKCS15Object &object, TypedPin &typed) {
    const CommonObjectAttributes *common = object.commonObjectAttributes;
    Text pin;
    Text token;
    Text prompt;
    pkcs15_Label2szString(common != nullptr ? common->label : nullptr, pin, text_size);
    pkcs15_Label2szString(context.tokenInfo->label, token, text_size);
    brovy_LoadStringResourceFmtUtf8(&pkcs15StringTables, RESOURCE_PIN_PROMPT, prompt, text_size, pin, token);
    switch (scdlg_GetPIN(0, word(prompt), word(typed.octets), pin_capacity, 0, 0)) {
        case 0:
            return 0;
        case SCDLG_CANCELLED:
            return PKCS15_W_CANCELLED_BY_USER;
        default:
            return PKCS15_E_FAILED;
    }
}

// Selects the file in which the PIN is known; the application where there is none.
uint32_t select_pin(CardHandle card, const TokenContext *context, const PinAttributes &attributes,
                    uint32_t *cardError) {
    return attributes.path != nullptr ? token::select_path(card, context, *attributes.path, nullptr, cardError)
                                      : pkcs15_ScSelectFile(card, context, nullptr, 0, nullptr, cardError);
}

// The card is the judge of a PIN that does not fit its attributes.
void encode(const PinAttributes &attributes, const uint8_t *value, uint32_t length, EncodedPin &pin) {
    constexpr uint32_t error_level = 2;
    if (pkcs15_TransformPIN(value, length, &attributes, pin.buffer.octets, &pin.length) != nullptr) {
        pin.length = std::min(pin.length, pin_capacity);
        return;
    }
    pin.length = std::min(length, pin_capacity);
    std::copy_n(value, pin.length, pin.buffer.octets);
    pkcs15_LogMessage(error_level, "PIN has invalid format. Continuing anyway.");
}

}  // namespace

extern "C" {

uint32_t pkcs15_ScVerifyPIN(CardHandle card, TokenContext *tokenContext, const PKCS15Object *object,
                            const uint8_t *value, uint32_t length, uint32_t flags, uint8_t *retries,
                            uint32_t *cardError) {
    const PinAttributes &attributes = token::pin_attributes(*object);
    if (asn1_BitString_test(attributes.pinFlags, initialized) == 0)
        return raise(PKCS15_E_NOT_INITIALIZED);
    uint32_t code = 0;
    if ((flags & P15_VERIFY_NO_SELECT) == 0)
        code = select_pin(card, tokenContext, attributes, cardError);
    if (code != 0)
        return raise(code);
    const uint8_t reference = token::pin_reference(attributes);
    if ((flags & P15_VERIFY_QUERY) != 0) {
        code = token::card_result(scardcmd_QueryRetryCounter(card, reference, retries, 0), cardError);
        return code != 0 ? raise(code) : 0;
    }
    TypedPin typed;
    if (value == nullptr) {
        if ((flags & P15_VERIFY_NO_PROMPT) != 0)
            return raise(PKCS15_E_PIN_REQUIRED);
        if (code = ask(*tokenContext, *object, typed); code != 0)
            return raise(code);
        value = typed.octets;
        length = static_cast<uint32_t>(strnlen(reinterpret_cast<const char *>(value), pin_capacity));
    }
    EncodedPin pin;
    encode(attributes, value, length, pin);
    code =
        token::card_result(scardcmd_VerifyPIN(card, reference, pin.buffer.octets, pin.length, retries, 0), cardError);
    return code != 0 ? raise(code) : 0;
}
}
