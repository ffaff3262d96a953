#include <array>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <unistd.h>

#include "commands.h"
#include "directory.h"
#include "output.h"
#include "owners_values.h"
#include "pin_change.h"
#include "pins.h"
#include "prompts.h"
#include "script_check.h"
#include "script_signature.h"
#include "session.h"
#include "text.h"
#include "token/pkcs15_inittoken.h"

namespace zelmo {

namespace {

CardInfo cardInfo(const Card &card) {
    CardInfo info{};
    if (const uint32_t raw = scard_GetCardInfo(card.handle(), &info); raw != 0)
        throw cardFailure("cannot tell what card this is", raw);
    if (!token::may_personalise(info.lifeCycle))
        throw Failure(Exit::failure,
                      fmt::format("the card is in phase {} of its life, in which no token is made of it; use "
                                  "another card",
                                  info.lifeCycle));
    return info;
}

// ---- the script -----------------------------------------------------------------------------------------------------

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string fileName(const char *format, const std::string &prefix, uint32_t model) {
    std::array<char, token::max_file_name> name{};
    const int length = std::snprintf(name.data(), name.size(), format, prefix.c_str(), model);
    if (length < 0 || static_cast<size_t>(length) >= name.size())
        throw Failure(Exit::usage,
                      fmt::format("--prefix: makes a file name of {} octets; {} is the most", length, name.size() - 1));
    return name.data();
}
#pragma GCC diagnostic pop

/// What to try when a file is missing; its name is what people get wrong.
std::string namingAdvice(const std::string &prefix, const std::string &script, const std::string &signature,
                         uint32_t model) {
    std::error_code ignored;
    if (!prefix.empty() && prefix.back() != '/' && std::filesystem::is_directory(prefix, ignored))
        return fmt::format("a folder ends in a slash, as in --prefix {}/", printable(prefix));
    return fmt::format(
        "a card of model {:X} takes the script '{}' with the signature '{}': make them, or name their folder "
        "with --prefix FOLDER/",
        model, printable(script), printable(signature));
}

/// Reads the script, which is genuine and can be run.
OwnedBytestring readScript(const std::string &prefix, uint32_t model) {
    const std::string script = fileName(token::script_name_format, prefix, model);
    const std::string signature = fileName(token::signature_name_format, prefix, model);
    const std::string advice = namingAdvice(prefix, script, signature, model);
    OwnedBytestring content = readWhole(script, advice);
    requireGenuine(*content, *readWhole(signature, advice), "the signature " + printable(signature));
    requireRunnable(*content, printable(script));
    return content;
}

// ---- what is lost ---------------------------------------------------------------------------------------------------

std::string tokenText(const TokenContext &token) {
    const TokenInfo &info = *pkcs15_ScGetTokenInfo(&token);
    const asn1_UTF8String *text = info.label;
    const std::string label = text != nullptr ? printable({reinterpret_cast<const char *>(text->data), text->len}) : "";
    const std::string serial =
        info.serialNumber != nullptr ? hex({info.serialNumber->data, info.serialNumber->len}) : "none";
    return fmt::format("the token '{}', serial number {}", label, serial);
}

/// What the card holds; empty for a card that is blank.
std::string contentText(const Card &card, uint32_t phase) {
    try {
        const Choice choice = chooseApplication(card, {});
        return tokenText(*openToken(card, *choice.application));
    } catch (const Failure &failure) {
        if (failure.exit() == Exit::noCard)
            throw;
        if (failure.exit() != Exit::notFound)
            return "a token that cannot be read";
        return phase == token::personalised ? "files, but no token" : "";
    }
}

bool saysYes(const std::string &question) {
    fmt::print(stderr, "{}", question);
    std::string answer;
    return std::getline(std::cin, answer) && answer == "yes";
}

void confirmLoss(const Card &card, uint32_t phase, bool confirmed) {
    const std::string content = confirmed ? "" : contentText(card, phase);
    if (content.empty())
        return;
    const char *loss = phase == token::operational ? "have the script run over it" : "have all of it erased";
    if (isatty(STDIN_FILENO) == 0)
        throw Failure(Exit::usage, fmt::format("the card holds {}; say --yes to {}", content, loss));
    if (!saysYes(fmt::format("The card holds {}. Type 'yes' to {}: ", content, loss)))
        throw Failure(Exit::failure, "nothing was changed; without a 'yes' the card stays as it is");
}

// ---- the run --------------------------------------------------------------------------------------------------------

const uint8_t *octetsOf(const Secret &value) {
    return value.length() != 0 ? value.data() : nullptr;
}

void makeToken(const Card &card, const Options &options, const OwnersValues &values) {
    const auto label = paddedLabel(options.label);
    uint32_t raw = 0;
    const uint32_t code = pkcs15_ScInitToken(
        card.handle(), options.prefix.c_str(), octetsOf(values.puk()), values.puk().length(), octetsOf(values.pin()),
        values.pin().length(), octetsOf(values.adminKey()), values.adminKey().length(),
        options.serial.empty() ? nullptr : options.serial.c_str(), label ? label->data() : nullptr, &raw);
    if (code != 0)
        throw Failure(
            exitFor(code, raw),
            fmt::format("the token could not be made, and the card may be half made: {}; mend the cause and run "
                        "'zelmo init' again, --trace shows where it stopped",
                        reasonText(code, raw)));
}

/// The library gives values to the card as they are. One that the token has in another form, such as filled up, could
/// never be entered.
void requireEnterable(const TokenContext &context, const OwnersValues &values) {
    for (const Pin &pin : readPins(context)) {
        const uint32_t reference = cardReference(pin);
        const Secret *value = reference == token::second_pin        ? &values.pin()
                              : reference == token::authorising_pin ? &values.puk()
                                                                    : nullptr;
        Secret form;
        if (value != nullptr && value->length() != 0 && (!toCardForm(*value, pin, form) || !(form == *value)))
            throw Failure(Exit::failure,
                          fmt::format("{} cannot be entered as it is: the token keeps it in another form; run "
                                      "'zelmo init' again with the value as the card is to keep it",
                                      pin.text()));
    }
}

}  // namespace

Exit runInit(const Options &options) {
    setLanguage(options.language);
    paddedLabel(options.label);
    requireSerialNumber(options.serial);
    OwnersValues values(options);
    const Card card(options.reader, options.trace);
    const CardInfo info = cardInfo(card);
    const OwnedBytestring script = readScript(options.prefix, info.model);
    confirmLoss(card, info.lifeCycle, options.yes);
    values.ask(options.label.empty() ? "the new token" : options.label);
    values.requireFit(*script);
    makeToken(card, options, values);
    const Transaction transaction(card);
    const Choice choice = chooseApplication(card, {});
    const Token token = openToken(card, *choice.application);
    fmt::print(stderr, "Made {}.{}\n", tokenText(*token), options.noPuk ? " Its PUK is blocked for good." : "");
    requireEnterable(*token, values);
    return Exit::ok;
}

}  // namespace zelmo
