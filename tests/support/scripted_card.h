// A card service for tests, in the place of the real one: it notes every call with its arguments and answers as the
// test wants.
#ifndef ZELMO_TESTS_SUPPORT_SCRIPTED_CARD_H
#define ZELMO_TESTS_SUPPORT_SCRIPTED_CARD_H

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "support/octets.h"
#include "zelmocrd/zelmocrd.h"

/// The handle that every call is expected to pass.
inline constexpr CardHandle test_card = 0x51C0FFEE;

/// The codes that tests answer with.
inline constexpr uint32_t sw_file_not_found = 0xE0116A82;
inline constexpr uint32_t sw_record_not_found = 0xE0116A83;

/// A call as it was made.
struct CardCall {
    std::string operation;
    std::vector<Octets> octets;     ///< Octet strings, in the order of the arguments.
    std::vector<uint32_t> numbers;  ///< Numbers, likewise; of a length pointer the capacity.
    bool first_is_null = false;     ///< The first octet string was a null pointer.
    std::string text;               ///< Name and all arguments behind the handle, as a test expects them.
};

/// What a call gives back. Data beyond the capacity is cut off.
struct CardAnswer {
    uint32_t code = 0;
    Octets data = {};
    uint32_t value = 0;  ///< File type, tries left, life cycle.
};

/// The card service that all 29 operations go to while it lives, or until a later one covers it.
class CardDouble {
  public:
    CardDouble();
    virtual ~CardDouble();
    CardDouble(const CardDouble &) = delete;
    CardDouble &operator=(const CardDouble &) = delete;

    /// All calls so far as texts; clears them.
    std::vector<std::string> take_calls();
    /// The nth call from now (from 1) fails with `code`, and with `all_after` every later one too.
    void fail(unsigned n, uint32_t code, bool all_after = false);
    /// Calls answer as usual again. True when one was made to fail.
    bool stop_failing();

    CardAnswer ask(CardCall call);
    std::map<uint8_t, ExtendedAlgorithmInfo> bounds;  ///< For scard_GetExtendedAlgorithmInfo().
    bool forgetful = false;                           ///< Octet strings are not noted, so that no copy of them remains.

  private:
    virtual CardAnswer answer(const CardCall &call) = 0;

    CardDouble *covered_;
    std::vector<std::string> calls_;
    unsigned countdown_ = 0;
    uint32_t failure_ = 0;
    bool all_after_ = false;
    bool failed_ = false;
};

/// Answers from a script; a call beyond its end fails the test.
class ScriptedCard : public CardDouble {
  public:
    std::deque<CardAnswer> script;

  private:
    CardAnswer answer(const CardCall &call) override;
};

/// File types as a selection tells them.
enum : uint32_t { transparent = 1, variable_records = 4, tlv_records = 5 };

/// A file in memory.
struct FakeFile {
    uint32_t type = transparent;
    Octets content = {};
    std::vector<Octets> records = {};
    size_t max_records = 255;
};

/// Answers from files in memory, by their path from the root in hexadecimal.
class FileCard : public CardDouble {
  public:
    std::map<std::string, FakeFile> files;
    std::map<std::string, std::string> applications;  ///< Path by AID.
    std::map<uint8_t, std::string> short_ids;         ///< Path by short file identifier.

  private:
    CardAnswer answer(const CardCall &call) override;
    CardAnswer select(const std::string &path);
    CardAnswer read_binary(const CardCall &call);
    CardAnswer read_record(const CardCall &call);
    CardAnswer update_record(const CardCall &call);
    CardAnswer append_record(const CardCall &call);

    FakeFile *selected_ = nullptr;
    size_t next_record_ = 0;
};

#endif
