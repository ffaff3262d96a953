// Tokens put together octet by octet, on a card in memory, and the log that the token layer writes meanwhile.
#ifndef ZELMO_TESTS_TOKEN_SAMPLE_TOKEN_H
#define ZELMO_TESTS_TOKEN_SAMPLE_TOKEN_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/owned.h"
#include "support/captured_stream.h"
#include "support/scripted_card.h"
#include "zelmop15/pkcs15.h"

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

/// What a raw status holds before a call, to see whether it was written.
inline constexpr uint32_t untouched = 0x0BADF00D;
/// Mode and flags of the usual walk.
inline constexpr uint32_t refresh = FLAG_REFRESH_CACHE;

/// The token layer's log while it lives.
class LogCapture {
  public:
    explicit LogCapture(uint32_t level = 6);
    ~LogCapture();
    /// The lines so far as "Level message", without the line number of an "Exception"; clears them.
    std::vector<std::string> take();

  private:
    CapturedStream stream_;
    size_t taken_ = 0;
};

/// The line that a failure leaves.
std::string exception_line(const char *level, const char *code, const char *unit = "pkcs15_scard");

// ---- objects, encoded by hand
// ----------------------------------------------------------------------------------------

Octets text(const char *characters);
/// A Path.
Octets path_value(const char *path);
Octets pin_object(uint8_t authId);
Octets auth_key_object(uint8_t authId, uint8_t keyId);
Octets secret_key_object(uint8_t id);
/// `label` makes the object longer.
Octets private_key_object(uint8_t id, const std::string &label = "");
Octets certificate_object(uint8_t id);
Octets data_object();
/// A private key of another algorithm, which is only carried as octets.
Octets carried_key(uint8_t id);
/// An element that no object type reads.
Octets broken_object();
/// An entry of the object directory.
Octets odf_entry(uint8_t objectType, const char *path);
/// The content of a TokenInfo file; `recordInfo` declares record files.
Octets token_info(bool recordInfo);
/// An application template whose AID ends with this octet.
Octets dir_record(uint8_t lastOctet, const char *path = "3F005015");

// ---- tokens
// ----------------------------------------------------------------------------------------------------------

/// The absolute path of a file of the built-in application.
std::string in_token(const char *fileId);

/// A card with a token at 3F005015: TokenInfo, ODF, and directory files that tests add.
class TokenCard : public FileCard {
  public:
    explicit TokenCard(bool recordInfo);
    /// Adds a directory file and its entry in the object directory.
    FakeFile &add_directory(uint8_t objectType, const char *fileId, FakeFile file);
    FakeFile &file(const char *fileId) {
        return files[in_token(fileId)];
    }
};

using Context = Owned<TokenContext, pkcs15_ScReleaseTokenContext>;
using Ref = Owned<ObjectReference, pkcs15_ObjectReferenceFree>;
using Dir = Owned<DIRRecord, asn1_DIRRecord_free>;

/// Acquires the built-in application's token.
uint32_t acquire(Context &context, uint32_t *cardError);
/// The same where nothing may fail; forgets the calls.
Context acquire(CardDouble &card);
/// References to all objects of a type; fails the test when the walk does not end as it should.
std::vector<Ref> walk(TokenContext *context, uint32_t objectType, uint32_t flags);
/// The ids of all objects of a type, in the order of the walk.
std::vector<uint32_t> ids(TokenContext *context, uint32_t objectType, uint32_t flags = refresh);

#endif
