// Turning a card into a token by a signed script.
#include "token/pkcs15_inittoken.h"

#include <cstring>

#include "runtime/bytestring.h"
#include "runtime/fileio.h"
#include "runtime/stdio_safe.h"
#include "runtime/wiped.h"
#include "token/pkcs15_card_call.h"
#include "token/pkcs15_exception.h"
#include "token/pkcs15_inittoken_signature.h"

using token::admin_key;
using token::authorising_pin;
using token::raise;
using token::second_pin;

namespace {

constexpr uint32_t error_level = 2;

/// What the script leaves as the authorising PIN.
constexpr uint8_t known_pin[] = {'4', '7', '1', '8', '2', '5', '6', '0', '9', '3'};
constexpr uint32_t working_pin_length = 16;
/// The answer for a PIN that has no tries left.
constexpr uint32_t pin_blocked = 0xE0116983;

constexpr uint32_t serial_digits = 16;

/// The values that the owner gives the token; any may be absent.
struct Value {
    const uint8_t *octets;
    uint32_t length;
};
struct OwnersValues {
    Value pin, second_pin, key;
    const uint8_t *serial_number;
    const uint8_t *label;
};

/// One run on one card.
class Personalisation {
  public:
    Personalisation(CardHandle card, uint32_t *cardError)
        : card_(card), cardError_(cardError), model_(scard_GetCardModel(card)) {}
    Personalisation(const Personalisation &) = delete;
    Personalisation &operator=(const Personalisation &) = delete;

    /// Reads the script and its signature, whose names tell the card's model.
    uint32_t read_files(const char *prefix);
    uint32_t verify() const {
        return token::verify_script(*script_, *signature_);
    }
    /// Erases the card as its life cycle phase demands.
    uint32_t erase(uint32_t phase) const;
    /// Runs the script in one transaction.
    uint32_t run_script() const;
    /// Opens the new token, and puts the owner's values in the place of what the script left.
    uint32_t set_values(const OwnersValues &values);
    /// What is done at the end of every run that has begun; nobody looks at how it went.
    void finish();

  private:
    uint32_t read_file(const char *prefix, const char *format, const char *message, OwnedBytestring &file) const;
    uint32_t open_token();
    uint32_t replace_known_pin();
    uint32_t set_second_pin_and_key(const OwnersValues &values) const;
    uint32_t give_up_working_pin(const Value &pin);
    [[nodiscard]] uint32_t result(uint32_t raw) const {
        return token::card_result(raw, cardError_);
    }

    CardHandle card_;
    uint32_t *cardError_;
    uint32_t model_;
    OwnedBytestring script_, signature_;
    Owned<DIRRecord, asn1_DIRRecord_free> application_;
    Owned<TokenContext, pkcs15_ScReleaseTokenContext> token_;
    WipedBuffer<working_pin_length> working_pin_;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
uint32_t Personalisation::read_file(const char *prefix, const char *format, const char *message,
                                    OwnedBytestring &file) const {
    char name[token::max_file_name];
    sprintf_safeA(name, sizeof name, format, prefix != nullptr ? prefix : "", model_);
    Bytestring *read = nullptr;
    if (file_read_bs(name, &read) != 0) {
        pkcs15_LogMessage(error_level, message, name);
        return PKCS15_E_FAILED;
    }
    file.reset(read);
    return 0;
}
#pragma GCC diagnostic pop

uint32_t Personalisation::read_files(const char *prefix) {
    const uint32_t code = read_file(prefix, token::script_name_format, "Error reading script file %s.", script_);
    return code != 0 ? code
                     : read_file(prefix, token::signature_name_format, "Error reading signature file %s.", signature_);
}

uint32_t Personalisation::erase(uint32_t phase) const {
    uint32_t code = phase == token::delivered ? result(scard_LifeCycleAdministration(card_)) : 0;
    if (code == 0 && phase != token::operational)
        code = result(scardcmd_EraseFiles(card_, 0));
    return code;
}

uint32_t Personalisation::run_script() const {
    constexpr cpd_Handler reset_handler = cpd_ResetTransactedCard;
    uint32_t code = result(scard_ResetCard(card_));
    if (code == 0)
        code = result(scard_BeginTransaction(card_));
    if (code == 0)
        code = result(cpd_Execute(card_, script_->data, script_->len, 1, &token::reset_instruction, &reset_handler, 0));
    return code;
}

uint32_t Personalisation::open_token() {
    application_.reset(pkcs15_GetDefaultDIR());
    if (application_ == nullptr)
        return PKCS15_E_NO_MEMORY;
    TokenContext *context = nullptr;
    const uint32_t code = pkcs15_ScAcquireTokenContext(card_, application_.get(), &context, cardError_);
    // A failure may have written the place of a context that is gone.
    if (code == 0)
        token_.reset(context);
    return code;
}

uint32_t Personalisation::replace_known_pin() {
    const uint8_t *const working = working_pin_.octets;
    uint32_t code = result(scardcmd_SelectFile(card_, 0, nullptr, 0, nullptr));
    if (code == 0)
        code = result(scardcmd_ChangeReferenceData(card_, 0, authorising_pin, known_pin, sizeof known_pin, working,
                                                   working_pin_length, 0));
    if (code == 0)
        code = result(scardcmd_VerifyPIN(card_, authorising_pin, working, working_pin_length, nullptr, 0));
    return code;
}

uint32_t Personalisation::set_second_pin_and_key(const OwnersValues &values) const {
    const auto &[pin, second, key, serial, label] = values;
    uint32_t code = 0;
    if (second.octets != nullptr)
        code = result(scardcmd_ResetRetryCounter(card_, 0, second_pin, working_pin_.octets, working_pin_length,
                                                 second.octets, second.length, 0));
    if (code == 0 && key.octets != nullptr)
        code = result(scardcmd_ChangeKeyData(card_, 0, admin_key, key.octets, key.length, 0));
    return code;
}

// Without a value of the owner's the PIN is blocked for good, on a value that nobody has ever known. The number of
// tries is not limited, as the card alone knows how many it takes.
uint32_t Personalisation::give_up_working_pin(const Value &pin) {
    uint8_t *const working = working_pin_.octets;
    if (pin.octets != nullptr)
        return result(scardcmd_ChangeReferenceData(card_, 0, authorising_pin, working, working_pin_length, pin.octets,
                                                   pin.length, 0));
    working[0] = static_cast<uint8_t>(~working[0]);
    while (scardcmd_VerifyPIN(card_, authorising_pin, working, working_pin_length, nullptr, 0) != pin_blocked) {
    }
    return 0;
}

uint32_t Personalisation::set_values(const OwnersValues &values) {
    uint32_t code = result(scard_GetRandom(card_, working_pin_.octets, working_pin_length));
    if (code == 0)
        code = open_token();
    if (code == 0)
        code = replace_known_pin();
    if (code == 0)
        code = set_second_pin_and_key(values);
    if (code == 0)
        code = pkcs15_ScSetTokenInfo(card_, token_.get(), values.label, values.serial_number, serial_digits,
                                     P15_SERIAL_NUMBER_HEX, cardError_);
    return code == 0 ? give_up_working_pin(values.pin) : code;
}

void Personalisation::finish() {
    token_.reset();
    application_.reset();
    script_.reset();
    signature_.reset();
    scard_EndTransaction(card_, 0);
    scard_ResetCard(card_);
}

/// From the erasing on there is no way back: a failure leaves the card half made.
uint32_t personalise(Personalisation &run, uint32_t phase, const OwnersValues &values) {
    uint32_t code = run.erase(phase);
    if (code == 0)
        code = run.run_script();
    if (code == 0)
        code = run.set_values(values);
    return code != 0 ? raise(code) : 0;
}

}  // namespace

extern "C" uint32_t pkcs15_ScInitToken(CardHandle card, const char *prefix, const uint8_t *pin, uint32_t pinLength,
                                       const uint8_t *secondPin, uint32_t secondPinLength, const uint8_t *key,
                                       uint32_t keyLength, const char *serialNumber, const uint8_t *label,
                                       uint32_t *cardError) {
    CardInfo info{};
    uint32_t code = token::card_result(scard_GetCardInfo(card, &info), cardError);
    if (code != 0)
        return code;
    const OwnersValues values = {{pin, pinLength},
                                 {secondPin, secondPinLength},
                                 {key, keyLength},
                                 reinterpret_cast<const uint8_t *>(serialNumber),
                                 label};
    Personalisation run(card, cardError);
    code = run.read_files(prefix);
    if (code == 0)
        code = run.verify();
    if (code == 0 && !token::may_personalise(info.lifeCycle)) {
        // The card has not been touched, so it is left without a reset.
        pkcs15_LogMessage(error_level, "Card is in invalid lifecycle phase %d.", static_cast<int>(info.lifeCycle));
        return PKCS15_E_FAILED;
    }
    if (code == 0)
        code = personalise(run, info.lifeCycle, values);
    run.finish();
    return code;
}
