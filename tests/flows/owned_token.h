// A card that is made a token by the sample profile's script, as a signer hands it out and an owner uses it.
#ifndef ZELMO_TESTS_FLOWS_OWNED_TOKEN_H
#define ZELMO_TESTS_FLOWS_OWNED_TOKEN_H

#include <gtest/gtest.h>
#include <string>

#include "support/octets.h"
#include "support/temp_directory.h"
#include "zelmop15/pkcs15.h"

/// What an owner gives a token; an empty value is not given.
struct Owner {
    std::string pin;  ///< Of reference 0x73.
    std::string second_pin;
    Octets key;
    std::string serial;
    std::string label;
};

/// An owner of everything.
extern const Owner ann;

/// A signed pair for cards of this model, made of the sample profile, in a folder of its own.
class ScriptPair {
  public:
    /// For a card in phase 52 the script leaves the phase as it is.
    ScriptPair(uint32_t model, bool operational);
    /// pkcs15_ScInitToken() on a card, with these files.
    uint32_t run(CardHandle card, const Owner &owner, uint32_t *cardError = nullptr) const;
    /// Changes a bit of the script.
    void tamper() const;

  private:
    TempDirectory directory_;
    std::string script_file_;
};

/// Opens the token on a card and expects it to be the sample, in these hands.
void expect_owned(CardHandle card, const Owner &owner);

#endif
