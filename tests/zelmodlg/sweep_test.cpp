// Each call with the 1st, 2nd, 3rd ... allocation failing, alone and with all after it: nothing crashes, leaks or is
// taken for a success, and the next call works.
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <new>
#include <string>

#include "support/alloc_fault.h"
#include "support/temp_directory.h"
#include "zelmodlg/zelmodlg.h"

// Through malloc(), which fails on demand.
void *operator new(size_t size) {
    void *block = malloc(size);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}
void operator delete(void *block) noexcept {
    free(block);
}
void operator delete(void *block, size_t) noexcept {
    free(block);
}

namespace {

uintptr_t word(const void *pointer) {
    return reinterpret_cast<uintptr_t>(pointer);
}

/// A pinentry that answers every question with 1234.
class Sweep : public testing::Test {
  protected:
    void SetUp() override {
        const std::string program = folder_.file("pinentry");
        std::ofstream(program) << "#!/bin/sh\necho OK\nwhile read -r line; do\n"
                                  "[ \"$line\" != GETPIN ] || echo D 1234\necho OK\ndone\n";
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
        setenv("ZELMODLG_PINENTRY", program.c_str(), 1);
    }
    static int descriptors() {
        int count = 0;
        for (int descriptor = 0; descriptor < 256; ++descriptor)
            count += fcntl(descriptor, F_GETFD) >= 0 ? 1 : 0;
        return count;
    }

    /// @param call  gives the entry's result, and checks what a success has to bring
    template <class Call>
    static void sweep(uint32_t success, uint32_t failure, Call call) {
        const int before = descriptors();
        for (const bool allAfter : {false, true}) {
            bool fired = true;
            for (unsigned n = 1; fired; ++n) {
                ASSERT_LT(n, 1000u) << "allocations without end";
                alloc_fault_arm(n, allAfter);
                const uint32_t result = call();
                fired = alloc_fault_disarm();
                if (!fired || result != failure) {
                    EXPECT_EQ(result, success) << "allocation " << n << ", all after: " << allAfter;
                }
                EXPECT_EQ(descriptors(), before) << "allocation " << n << ", all after: " << allAfter;
            }
        }
        EXPECT_EQ(call(), success);
    }

  private:
    const TempDirectory folder_;
};

TEST_F(Sweep, GetPIN) {
    sweep(ZELMODLG_OK, ZELMODLG_FAILED, [] {
        char pin[65] = {};
        const uint32_t result = scdlg_GetPIN(0, word("Please enter your PIN for Card."), word(pin), 64, 0, 0);
        EXPECT_STREQ(pin, result == ZELMODLG_OK ? "1234" : "");
        return result;
    });
}

TEST_F(Sweep, ChangePIN) {
    sweep(ZELMODLG_OK, ZELMODLG_FAILED, [] {
        char present[65] = {}, fresh[65] = {};
        const uint32_t result = scdlg_ChangePIN(0, word("Change"), word(present), 64, word(fresh), 64, 4, 0, 0);
        EXPECT_STREQ(present, result == ZELMODLG_OK ? "1234" : "");
        EXPECT_STREQ(fresh, result == ZELMODLG_OK ? "1234" : "");
        return result;
    });
}

TEST_F(Sweep, MessageBox) {
    sweep(ZELMODLG_BOX_OK, ZELMODLG_BOX_FAILED,
          [] { return scdlg_MessageBox(0, word("A message of some length"), word("And a caption to it")); });
}

TEST_F(Sweep, InsertCard) {
    sweep(ZELMODLG_OK, ZELMODLG_FAILED,
          [] { return scdlg_InsertCard(0, word("Please insert your card."), word("Reader with a name"), 0, 0); });
}

TEST(Arguments, Refused) {
    char pin[5] = {};
    uint32_t selected = 7;
    const char *const names[] = {"One"};
    EXPECT_EQ(scdlg_GetPIN(0, 0, 0, 64, 0, 0), ZELMODLG_FAILED);
    EXPECT_EQ(scdlg_GetPIN(0, 0, word(pin), 0, 0, 0), ZELMODLG_FAILED);
    EXPECT_EQ(scdlg_ChangePIN(0, 0, 0, 0, 0, 4, 0, 0, 0), ZELMODLG_FAILED);
    EXPECT_EQ(scdlg_ChangePIN(0, 0, 0, 0, word(pin), 0, 0, 0, 0), ZELMODLG_FAILED);
    EXPECT_EQ(scdlg_ChangePIN(0, 0, word(pin), 0, word(pin), 4, 0, 0, 0), ZELMODLG_FAILED);
    EXPECT_EQ(scdlg_ChangePIN(0, 0, 0, 0, word(pin), 4, 5, 0, 0), ZELMODLG_FAILED);
    EXPECT_EQ(scdlg_SelectSlot(0, 0, 0, 1, word(&selected)), ZELMODLG_FAILED);
    EXPECT_EQ(scdlg_SelectSlot(0, 0, word(names), 0, word(&selected)), ZELMODLG_FAILED);
    EXPECT_EQ(scdlg_SelectSlot(0, 0, word(names), 100, word(&selected)), ZELMODLG_FAILED);
    EXPECT_EQ(scdlg_SelectSlot(0, 0, word(names), 1, 0), ZELMODLG_FAILED);
    EXPECT_EQ(selected, 7u);
}

}  // namespace
