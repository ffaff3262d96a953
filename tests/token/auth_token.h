// A token with PINs and authentication keys, opened, whose card then answers from a script.
#ifndef ZELMO_TESTS_TOKEN_AUTH_TOKEN_H
#define ZELMO_TESTS_TOKEN_AUTH_TOKEN_H

#include <optional>

#include "support/dialog_double.h"
#include "token/sample_token.h"

/// A PIN object to be encoded.
struct PinFields {
    uint8_t authId;
    std::optional<uint8_t> reference = {};
    const char *path = nullptr;
    uint8_t flags = 0x08;  ///< First octet of pinFlags: initialized.
    uint8_t type = 1;
    std::optional<uint8_t> maxLength = 8;
    const char *pad = nullptr;  ///< Octets of padChar.
    const char *label = "PIN";
};
Octets pin_object(const PinFields &wanted);
/// A secret key with this keyReference in the file at `path`; null leaves either out, a path for a URL.
Octets secret_key_object(uint8_t id, std::optional<uint8_t> reference, const char *path);

// authIds of the token's objects.
enum : uint8_t {
    plain_pin = 1,       ///< Reference 01, path 4100.
    local_pin = 2,       ///< Reference 82, path 4200.
    pathless_pin = 3,    ///< Reference 03, no path.
    new_pin = 4,         ///< Not initialized.
    numberless_pin = 5,  ///< No reference.
    key = 6,             ///< Reference 88, path 4B06.
    global_key = 7,      ///< Reference 09, path 4B07.
    pathless_key = 8,    ///< Reference 0A, value not in a file.
    numberless_key = 9,  ///< No keyReference.
    no_object = 0x7F
};

/// How these calls look on the scripted card.
inline const char *const select_plain_pin = "scard_SelectFile null 3F0050154100 null";
inline const char *const select_application = "scard_SelectFile A000000063504B43532D3135 null null";

/// The token of this suite.
class AuthToken {
  public:
    AuthToken();
    TokenContext *get() {
        return context_.get();
    }
    /// Borrowed from the context.
    AuthenticationType *object(uint8_t authId);
    PinAttributes &pin(uint8_t authId);
    /// A private certificate behind plain_pin: five octets in the file 4301.
    ObjectReference *certificate() {
        return certificates_.at(0).get();
    }
    /// Remembers "1234", or another value, for an object.
    void remember(uint8_t authId, const std::string &value = "1234");
    /// What is remembered, as "authId=value", in the order of the cache.
    std::vector<std::string> remembered();
    /// Makes the card answer these, in this order, and forgets calls, log lines and dialogs.
    void script(std::deque<CardAnswer> answers);

    ScriptedCard &card() {
        return *card_;
    }
    LogCapture &log() {
        return log_;
    }
    DialogDouble &dialog() {
        return *dialog_;
    }

  private:
    TokenCard files_;
    Context context_;
    std::vector<Ref> certificates_;
    std::optional<ScriptedCard> card_;
    LogCapture log_;
    DialogDouble *dialog_;
};

/// The octets of a value as they are passed on.
inline const uint8_t *octets_of(const char *value) {
    return reinterpret_cast<const uint8_t *>(value);
}

/// The lines of a failure that climbs through this many functions.
std::vector<std::string> exceptions(uint32_t code, unsigned levels, const char *level = "Error");

#endif
