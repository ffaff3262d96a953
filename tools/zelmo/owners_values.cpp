#include "owners_values.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

#include "pin_source.h"
#include "script_check.h"
#include "text.h"
#include "token/pkcs15_inittoken.h"

namespace zelmo {

namespace {

constexpr size_t serial_digits = 16;

bool isHex(std::string_view text) {
    return text.find_first_not_of("0123456789ABCDEFabcdef") == std::string_view::npos;
}

/// Hexadecimal digits become the octets that they stand for.
bool decode(const Secret &line, Secret &octets) {
    const auto *digit = reinterpret_cast<const char *>(line.data());
    if (line.length() % 2 != 0 || !isHex({digit, line.length()}))
        return false;
    for (uint32_t i = 0; i < line.length(); i += 2) {
        uint8_t octet = 0;
        std::from_chars(digit + i, digit + i + 2, octet, 16);
        octets.append(octet);
    }
    return true;
}

void readKey(SecretLines &lines, Secret &key) {
    Secret line;
    lines.require(line, "the administration key");
    const bool decoded = decode(line, key);
    constexpr uint32_t lengths[] = {16, 24, 32};
    if (!decoded || std::find(std::begin(lengths), std::end(lengths), key.length()) == std::end(lengths))
        throw Failure(Exit::failure,
                      "the administration key must be 16, 24 or 32 octets, as hexadecimal digits; nothing "
                      "was sent to the card");
}

Label labelOf(std::string &text) {
    return {static_cast<uint32_t>(text.size()), reinterpret_cast<uint8_t *>(text.data())};
}

}  // namespace

OwnersValues::OwnersValues(const Options &options) : wantsPuk_(!options.noPuk) {
    SecretLines pins(options.pinFd, options.pinFile, pin_lines);
    isPerson_ = !pins.given();
    if (!isPerson_) {
        pins.read(pin_, "the PIN");
        if (wantsPuk_ && pins.read(puk_, "the PUK") != SecretLines::Line::text)
            throw Failure(Exit::usage,
                          "there is no PUK: give it in the second line, or say --no-puk to have the token's "
                          "PUK blocked for good; nothing was sent to the card");
    }
    SecretLines keys(options.adminKeyFd, options.adminKeyFile, {"a key", "nothing was sent to the card"});
    if (keys.given())
        readKey(keys, adminKey_);
}

void OwnersValues::ask(const std::string &label) {
    if (!isPerson_)
        return;
    std::string token = label, pin = "PIN", puk = "PUK";
    const Label tokenLabel = labelOf(token), pinLabel = labelOf(pin), pukLabel = labelOf(puk);
    askFresh(pin_, &pinLabel, &tokenLabel);
    if (wantsPuk_)
        askFresh(puk_, &pukLabel, &tokenLabel);
}

void OwnersValues::requireFit(const Bytestring &script) const {
    requirePinFits(script, token::second_pin, pin_, "PIN");
    requirePinFits(script, token::authorising_pin, puk_, "PUK");
    requireKeyFits(script, token::admin_key, adminKey_);
}

std::optional<std::array<uint8_t, 32>> paddedLabel(const std::string &label) {
    std::array<uint8_t, 32> padded{};
    if (label.empty())
        return std::nullopt;
    if (label.size() > padded.size() || label != printable(label))
        throw Failure(Exit::usage,
                      fmt::format("--label {}: must be UTF-8 of at most {} octets, without control characters",
                                  printable(label), padded.size()));
    padded.fill(' ');
    std::copy(label.begin(), label.end(), padded.begin());
    return padded;
}

void requireSerialNumber(const std::string &digits) {
    if (!digits.empty() && (digits.size() != serial_digits || !isHex(digits)))
        throw Failure(Exit::usage,
                      fmt::format("--serial {}: must be {} hexadecimal digits", printable(digits), serial_digits));
}

}  // namespace zelmo
