// A host that shares a card with others. Two data objects are labelled with one number; it reads them, or counts on,
// each time in a transaction of its own.
//
// usage: counter_host READER SECONDS read|count    prints how often it has counted; fails when the two differ
//        counter_host READER SECONDS stay          says so in a transaction, and stays in it
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "zelmop15/pkcs15.h"

namespace {

[[noreturn]] void fail(const char *what, uint32_t code, uint32_t raw) {
    std::fprintf(stderr, "%s: %08X, card %08X\n", what, code, raw);
    std::exit(1);
}

/// One turn: finds both objects, and writes the next number to them.
class Turn {
  public:
    explicit Turn(CardHandle card) : card_(card) {
        if (const uint32_t raw = scard_BeginTransaction(card); raw != 0)
            fail("transaction", 0, raw);
        DIRRecord *record = pkcs15_GetDefaultDIR();
        check(pkcs15_ScAcquireTokenContext(card, record, &context_, &raw_), "token");
        asn1_DIRRecord_free(record);
    }
    ~Turn() {
        pkcs15_ScReleaseTokenContext(context_);
        scard_EndTransaction(card_, 0);
    }
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;

    void run(bool counts) {
        std::string seen;
        uintptr_t cursor = 0;
        int objects = 0;
        for (uint32_t mode = ENUM_FIRST;; mode = ENUM_NEXT, objects++) {
            ObjectReference *reference = nullptr;
            const uint32_t code = pkcs15_ScEnumerateObjects(card_, context_, PKCS15_DATA_OBJECTS, mode,
                                                            FLAG_REFRESH_CACHE, &cursor, &reference, &raw_);
            if (code == PKCS15_S_END_OF_ENUMERATION)
                break;
            check(code, "walk");
            const std::string label = visit(reference, counts);
            pkcs15_ObjectReferenceFree(reference);
            if (objects != 0 && label != seen)
                fail(("torn: " + seen + " and " + label).c_str(), 0, 0);
            seen = label;
        }
        if (objects != 2)
            fail("not two objects", 0, raw_);
    }

  private:
    void check(uint32_t code, const char *what) const {
        if (code != 0)
            fail(what, code, raw_);
    }
    /// Returns the label that was there.
    std::string visit(ObjectReference *reference, bool counts) {
        void *object = nullptr;
        check(pkcs15_ScGetDFEntry(card_, context_, reference, FLAG_USE_CACHE, &object, &raw_), "read");
        asn1_ASN1String *label = pkcs15_GetCommonObjectAttributes(object)->label;
        const std::string before(reinterpret_cast<const char *>(label->data), label->len);
        if (counts) {
            char after[16];
            std::snprintf(after, sizeof after, "%0*d", static_cast<int>(label->len), std::atoi(before.c_str()) + 1);
            std::memcpy(label->data, after, label->len);
        }
        check(pkcs15_ScReleaseDFEntry(card_, context_, reference, counts ? RELEASE_COMMIT : RELEASE_DISCARD, object,
                                      &raw_),
              "write");
        return before;
    }

    const CardHandle card_;
    TokenContext *context_ = nullptr;
    uint32_t raw_ = 0;
};

}  // namespace

int main(int argc, char **argv) {
    if (argc != 4)
        return 2;
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(std::atoi(argv[2]));
    const bool counts = std::strcmp(argv[3], "count") == 0;
    if (std::strcmp(argv[3], "stay") == 0) {
        CardHandle card = 0;
        if (zelmocrd_OpenCard(argv[1], 0, &card) != 0 || scard_BeginTransaction(card) != 0 || std::puts("taken") < 0 ||
            std::fflush(stdout) != 0)
            return 1;
        std::this_thread::sleep_until(end);
    }
    int turns = 0;
    while (Clock::now() < end) {
        CardHandle card = 0;
        if (const uint32_t raw = zelmocrd_OpenCard(argv[1], 0, &card); raw != 0)
            fail("open", 0, raw);
        for (int i = 0; i < 3 && Clock::now() < end; i++, turns++)
            Turn(card).run(counts);
        zelmocrd_CloseCard(card);
    }
    std::printf("%d\n", counts ? turns : 0);
    return 0;
}
