// The token "guarded" on a virtual card of its own, opened through the card service: host, token library, card service
// and card in one process.
#ifndef ZELMO_TESTS_FLOWS_GUARDED_TOKEN_H
#define ZELMO_TESTS_FLOWS_GUARDED_TOKEN_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "support/temp_directory.h"
#include "zelmop15/pkcs15.h"

using Octets = std::vector<uint8_t>;

// authIds of the token's objects.
enum : uint8_t { user_pin = 1, signature_pin, bcd_pin, puk, new_pin, terminal_key, old_terminal_key };

class GuardedToken {
  public:
    GuardedToken();
    ~GuardedToken();
    GuardedToken(const GuardedToken &) = delete;
    GuardedToken &operator=(const GuardedToken &) = delete;

    CardHandle card() const {
        return card_;
    }
    TokenContext *context() const {
        return context_.get();
    }
    AuthenticationType *object(uint8_t authId);

    uint32_t verify(uint8_t authId, const std::string &value, uint32_t flags = 0);
    /// Without a value, in silence.
    uint32_t verify(uint8_t authId, uint32_t flags = 0);
    uint32_t query(uint8_t authId);
    uint32_t unverify(uint8_t authId);
    uint32_t change(uint8_t authId, const std::string &before, const std::string &after, uint32_t flags = 0);
    /// Reads the certificate with this iD.
    uint32_t read_certificate(uint8_t id, Octets &value);

    /// Closes and opens the card and the token again.
    void reopen();
    /// The value that the image file holds for a PIN of this reference.
    std::string stored(uint8_t reference) const;
    /// Instructions of the commands so far, in hexadecimal with blanks between; forgets them.
    std::string take_commands();

    uint8_t retries = 0xAA;  ///< Of the last call.
    uint32_t cardError = 0;  ///< Likewise.

  private:
    void open();
    void close();

    struct Release {
        void operator()(TokenContext *context) const {
            pkcs15_ScReleaseTokenContext(context);
        }
    };
    TempDirectory directory_;
    std::string file_;
    CardHandle card_ = 0;
    std::unique_ptr<TokenContext, Release> context_;
    std::string commands_;
};

/// A file of the test PKI.
Octets pki_file(const std::string &name);

#endif
