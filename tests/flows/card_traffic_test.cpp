// How many commands a host costs the card, beside what the order of its calls demands and what would do at the least.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <string>

#include "support/temp_directory.h"
#include "virtualcard/hex.h"
#include "zelmop15/pkcs15.h"

namespace {

struct Count {
    uint64_t demanded, sent, least;

    std::string text() const {
        return std::to_string(demanded) + " / " + std::to_string(sent) + " / " + std::to_string(least);
    }
};

/// A card that is held in a transaction, and what has been sent to it. The least is what a reader would send that never
/// forgets: each file is selected once, each piece and record of it read once.
class CountedCard {
  public:
    explicit CountedCard(const std::string &token) {
        const std::string image = directory_.file("token.card");
        std::filesystem::copy_file(ZELMO_SOURCE_DIR "/tests/data/tokens/" + token + ".card", image);
        EXPECT_EQ(zelmocrd_OpenCard(("virtual:" + image).c_str(), 0, &handle_), 0u);
        EXPECT_EQ(scard_BeginTransaction(handle_), 0u);
        zelmocrd_SetTrace(handle_, note, this);
    }
    ~CountedCard() {
        zelmocrd_CloseCard(handle_);
    }
    CountedCard(const CountedCard &) = delete;
    CountedCard &operator=(const CountedCard &) = delete;
    operator CardHandle() const {
        return handle_;
    }
    /// Since the last call.
    Count count() {
        zelmocrd_Counters counters = {};
        zelmocrd_GetCounters(handle_, &counters, 1);
        const size_t before = counted_;
        counted_ = different_.size();
        return {counters.commands + counters.commandsSpared, counters.commands, counted_ - before};
    }

  private:
    static void note(const uint8_t *command, uint32_t length, const uint8_t *, uint32_t, double, void *context) {
        auto &self = *static_cast<CountedCard *>(context);
        std::string text = toHex({command, command + length});
        if (command[1] == 0xA4) {
            text = toHex({command + 4, command + 5 + command[4]});  // however much is told of the file
            self.file_ = text;
            self.records_ = 0;
        } else if (command[1] == 0xB2) {
            text += std::to_string(self.records_++);
        }
        self.different_.insert(self.file_ + " " + text);
    }

    const TempDirectory directory_;
    CardHandle handle_ = 0;
    std::set<std::string> different_;
    size_t counted_ = 0;
    std::string file_;
    int records_ = 0;
};

class Host {
  public:
    explicit Host(const CountedCard &card) : card_(card) {
        uint8_t aid[] = {0xA0, 0x00, 0x00, 0x00, 0x63, 0x50, 0x4B, 0x43, 0x53, 0x2D, 0x31, 0x35};
        const asn1_OctetString filter[] = {{sizeof aid, aid}, {0, nullptr}};
        uintptr_t cursor = 0;
        DIRRecord *record = nullptr;
        if (pkcs15_ScEnumerateDirectories(card, ENUM_FIRST, filter, &cursor, &record, &cardError_) != 0)
            record = pkcs15_GetDefaultDIR();
        else
            pkcs15_ScEnumerateDirectories(card, ENUM_CLOSE, filter, &cursor, nullptr, &cardError_);
        EXPECT_EQ(pkcs15_ScAcquireTokenContext(card, record, &context_, &cardError_), 0u);
        asn1_DIRRecord_free(record);
    }
    ~Host() {
        pkcs15_ObjectReferenceFree(certificate_);
        pkcs15_ScReleaseTokenContext(context_);
    }
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    void list() {
        for (uint32_t type = PKCS15_PRIVATE_KEYS; type <= PKCS15_AUTH_OBJECTS; type++) {
            uintptr_t cursor = 0;
            ObjectReference *reference = nullptr;
            for (uint32_t mode = ENUM_FIRST; pkcs15_ScEnumerateObjects(card_, context_, type, mode, FLAG_REFRESH_CACHE,
                                                                       &cursor, &reference, &cardError_) == 0;
                 mode = ENUM_NEXT) {
                void *object = nullptr;
                EXPECT_EQ(pkcs15_ScGetDFEntry(card_, context_, reference, FLAG_USE_CACHE, &object, &cardError_), 0u);
                pkcs15_ScReleaseDFEntry(card_, context_, reference, RELEASE_DISCARD, object, &cardError_);
                if (type == PKCS15_CERTIFICATES && certificate_ == nullptr)
                    certificate_ = reference;
                else
                    pkcs15_ObjectReferenceFree(reference);
            }
        }
    }
    /// Presents the token's first PIN.
    void verify() {
        uint32_t cursor = 0;
        AuthenticationType *pin = nullptr;
        EXPECT_EQ(pkcs15_EnumerateAODF(context_, ENUM_FIRST, &cursor, &pin), 0u);
        uint8_t retries = 0;
        const auto *value = reinterpret_cast<const uint8_t *>("1234");
        EXPECT_EQ(pkcs15_ScVerify(card_, context_, pin, value, 4, P15_VERIFY_CACHE, &retries, &cardError_), 0u);
    }
    /// Reads the first certificate, which the PIN may guard.
    void read_certificate() {
        uint8_t *data = nullptr;
        uint32_t length = 0;
        EXPECT_EQ(pkcs15_ScReadCertificate(card_, context_, certificate_, FLAG_USE_CACHE, &data, &length, &cardError_),
                  0u);
        pkcs15_FreeData(data);
    }

  private:
    CardHandle card_;
    TokenContext *context_ = nullptr;
    ObjectReference *certificate_ = nullptr;
    uint32_t cardError_ = 0;
};

/// The token's line of the table.
std::string row(const std::string &token) {
    CountedCard card(token);
    Host host(card);
    std::string line = "| `" + token + "` | " + card.count().text();
    for (void (Host::*work)() : {&Host::list, &Host::verify, &Host::read_certificate}) {
        (host.*work)();
        line += " | " + card.count().text();
    }
    return line + " |";
}

std::string document() {
    std::ifstream in(ZELMO_SOURCE_DIR "/docs/card-traffic.md");
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST(CardTraffic, IsAsDocumented) {
    const std::string documented = document();
    for (const char *token : {"transparent", "records", "mixed", "buggy-tokeninfo", "no-efdir", "efdir-records",
                              "guarded", "long-certificates"}) {
        const std::string line = row(token);
        EXPECT_NE(documented.find(line), std::string::npos) << line;
    }
}

}  // namespace
