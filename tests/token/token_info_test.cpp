// Rewriting the TokenInfo file: traffic, results and what stays in the context, case by case.
#include "asn1/asn1_x680.h"
#include "support/alloc_fault.h"
#include "token/sample_token.h"

namespace {

const std::string blanks(32, ' ');

std::string padded(const std::string &label) {
    return (label + blanks).substr(0, 32);
}

const uint8_t *octets_or_null(const char *characters) {
    return reinterpret_cast<const uint8_t *>(characters);
}

std::string label_of(const TokenContext &context) {
    const Label *label = context.tokenInfo->label;
    return label != nullptr ? std::string(label->data, label->data + label->len) : "(none)";
}

std::string serial_of(const TokenContext &context) {
    const asn1_OctetString *serial = context.tokenInfo->serialNumber;
    return serial != nullptr ? to_hex(serial->data, serial->len) : "(none)";
}

Octets encoding(const TokenContext &context) {
    Octets octets(asn1_TokenInfo_e(nullptr, context.tokenInfo));
    uint8_t *cursor = octets.data();
    asn1_TokenInfo_e(&cursor, context.tokenInfo);
    return octets;
}

// A token that is open, on a card whose answers a test gives.
class TokenInfoTest : public testing::Test {
  protected:
    TokenInfoTest() : token_(false), context_(acquire(token_)) {}

    uint32_t set(const char *label, const char *serial, uint32_t length, uint8_t flags) {
        return pkcs15_ScSetTokenInfo(test_card, context_.get(), octets_or_null(label), octets_or_null(serial), length,
                                     flags, &cardError_);
    }
    // The two calls that write the file as the context has it.
    std::vector<std::string> writing() {
        const Octets octets = encoding(*context_);
        return {"scard_SelectFile A000000063504B43532D3135 3F005015 place",
                "scard_UpdateEF 5032 0 " + to_hex(octets.data(), octets.size())};
    }

    TokenCard token_;
    Context context_;
    ScriptedCard card_;
    LogCapture log_;
    uint32_t cardError_ = untouched;
};

TEST_F(TokenInfoTest, WritesWhatIsGiven) {
    const std::string full = "A label of just thirty-two octets";
    const struct {
        const char *name;
        std::string label;
        const char *serial;
        uint32_t length;
        uint8_t flags;
        std::string new_label, new_serial;
    } cases[] = {
        {"label and text", padded("abc"), "0123456789abcdef", 16, 32, "abc", "160123456789ABCDEF"},
        {"upper case", padded("a b"), "0123456789ABCDEF", 16, 0xFF, "a b", "160123456789ABCDEF"},
        {"all 32 octets", full.substr(0, 32), "\x01\x02\x03", 3, 0, full.substr(0, 32), "010203"},
        {"no label at all", blanks, "\x01", 1, 0, "", "01"},
        {"not a digit", padded("x"), "g0/0zz::00000000", 16, 32, "x", "1600F033AA00000000"},
        {"an empty serial number", padded("y"), "", 0, 0, "y", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        card_.script = {{}, {}};
        EXPECT_EQ(set(c.label.c_str(), c.serial, c.length, c.flags), 0u);
        EXPECT_EQ(label_of(*context_), c.new_label);
        EXPECT_EQ(serial_of(*context_), c.new_serial);
        EXPECT_THAT(card_.take_calls(), ElementsAreArray(writing()));
        EXPECT_EQ(cardError_, 0u);
    }
    EXPECT_THAT(log_.take(), IsEmpty());
    // Nothing given: the file is written all the same.
    const Octets before = encoding(*context_);
    card_.script = {{}, {}};
    EXPECT_EQ(set(nullptr, nullptr, 5, 32), 0u);
    EXPECT_EQ(encoding(*context_), before);
    EXPECT_THAT(card_.take_calls(), ElementsAreArray(writing()));
}

TEST_F(TokenInfoTest, FailuresLeaveOneLine) {
    const std::string old_serial = serial_of(*context_);
    const struct {
        const char *name;
        std::deque<CardAnswer> script;
        uint32_t length;
        uint32_t code, cardError;
        const char *logged;
        size_t calls;
        bool new_serial;
    } cases[] = {
        {"a text of 15", {}, 15, PKCS15_E_INVALID_PARAMETER, untouched, "0xE0200003", 0, false},
        {"no such directory", {{sw_file_not_found}}, 16, PKCS15_E_DEVICE_ERROR, sw_file_not_found, nullptr, 1, true},
        {"not to be written", {{}, {0xE0116982}}, 16, PKCS15_E_SECURITY_STATUS, 0xE0116982, "0xE0200026", 2, true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        cardError_ = untouched;
        card_.script = c.script;
        EXPECT_EQ(set(padded(c.name).substr(0, 32).c_str(), "0123456789abcdef", c.length, 32), c.code);
        EXPECT_EQ(cardError_, c.cardError);
        EXPECT_EQ(label_of(*context_), c.name) << "the context is ahead of the card";
        EXPECT_EQ(serial_of(*context_), c.new_serial ? "160123456789ABCDEF" : old_serial);
        EXPECT_EQ(card_.take_calls().size(), c.calls);
        const auto lines = log_.take();
        ASSERT_FALSE(lines.empty());
        if (c.logged != nullptr) {
            EXPECT_EQ(lines.back(), exception_line("Error", c.logged, "pkcs15_inittoken"));
        }
    }
}

TEST_F(TokenInfoTest, WhatCannotBeEncodedIsNotWritten) {
    asn1_OctetString_free(context_->tokenInfo->serialNumber);
    context_->tokenInfo->serialNumber = nullptr;
    EXPECT_EQ(set(nullptr, nullptr, 0, 0), PKCS15_E_FAILED);
    EXPECT_THAT(card_.take_calls(), IsEmpty());
}

// The file's directory, as the application's path and the file's own say.
TEST_F(TokenInfoTest, SelectsTheDirectoryOfTheFile) {
    const std::string aid = "A000000063504B43532D3135";
    const struct {
        const char *application, *file;
        std::string selection;  ///< None: the path is no path of a file.
    } cases[] = {
        {"3F005015", "5032", "null 3F005015"},
        {"3F005015", "DF015032", "null 3F005015DF01"},
        {"3F005015", "3F00DF015032", aid + " 3F00DF01"},
        {"", "5032", aid + " "},
        {"3F005015", "50", ""},
        {"3F005015", "", ""},
    };
    const auto put = [](asn1_OctetString *&place, const char *path) {
        const Octets octets = hex(path);
        asn1_OctetString_free(place);
        place = asn1_ASN1String_new(static_cast<uint32_t>(octets.size()), octets.data());
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.application) + " " + c.file);
        put(context_->dirRecord->path, c.application);
        if (*c.application == '\0') {
            asn1_OctetString_free(context_->dirRecord->path);
            context_->dirRecord->path = nullptr;
        }
        put(context_->dirRecord->ddo->tokenInfoPath->path, c.file);
        card_.script = {{}, {}};
        EXPECT_EQ(set(nullptr, nullptr, 0, 0), c.selection.empty() ? PKCS15_E_FAILED : 0);
        const auto calls = card_.take_calls();
        if (c.selection.empty()) {
            EXPECT_THAT(calls, IsEmpty());
        } else {
            EXPECT_EQ(calls.front(), "scard_SelectFile " + c.selection + " place");
            EXPECT_EQ(calls.back(), writing().back());
        }
    }
}

TEST_F(TokenInfoTest, ShortMemory) {
    for (unsigned n = 1;; ++n) {
        card_.script = {{}, {}};
        alloc_fault_arm(n, false);
        const uint32_t code = set(blanks.c_str(), "0123456789abcdef", 16, 32);
        if (!alloc_fault_disarm()) {
            EXPECT_EQ(code, 0u);
            break;
        }
        EXPECT_EQ(code, PKCS15_E_NO_MEMORY) << n;
        ASSERT_LT(n, 20u);
    }
}

}  // namespace
