// The bridge to the dialog library, run with the library missing, without its entries, and complete.
#include <dirent.h>
#include <fstream>
#include <gtest/gtest.h>
#include <string>

#include "runtime/scdialog_stub.h"
#include "support/dialog_double.h"

namespace {

constexpr uintptr_t wide = uintptr_t{0xABCDEF01} << 32;  // must not be cut to 32 bits

struct Entry {
    const char *name;
    unsigned words;
    uint32_t (*call)();
    uint32_t missing;
};

const Entry entries[] = {
    {"scdlg_PinPadMessage", 4, [] { return scdlg_PinPadMessage(wide, wide + 1, wide + 2, wide + 3); }, 120},
    {"scdlg_SelectSlot", 5, [] { return scdlg_SelectSlot(wide, wide + 1, wide + 2, wide + 3, wide + 4); }, 120},
    {"scdlg_ChangePIN", 9,
     [] {
         return scdlg_ChangePIN(wide, wide + 1, wide + 2, wide + 3, wide + 4, wide + 5, wide + 6, wide + 7, wide + 8);
     },
     120},
    {"scdlg_MessageBox", 3, [] { return scdlg_MessageBox(wide, wide + 1, wide + 2); }, 3},
    {"scdlg_InsertCard", 5, [] { return scdlg_InsertCard(wide, wide + 1, wide + 2, wide + 3, wide + 4); }, 120},
};

uint32_t get_pin(const char *prompt, char *buffer) {
    return scdlg_GetPIN(0, reinterpret_cast<uintptr_t>(prompt), reinterpret_cast<uintptr_t>(buffer), 8, 0, 0);
}

size_t open_descriptors() {
    size_t count = 0;
    DIR *directory = opendir("/proc/self/fd");
    while (readdir(directory) != nullptr)
        ++count;
    closedir(directory);
    return count;
}

size_t mappings() {
    std::ifstream maps("/proc/self/maps");
    size_t count = 0;
    for (std::string line; std::getline(maps, line);)
        count += line.find("libzelmodlg") != std::string::npos;
    return count;
}

void expect_missing() {
    for (const Entry &entry : entries)
        EXPECT_EQ(entry.call(), entry.missing) << entry.name;
    char buffer[9] = {};
    EXPECT_EQ(get_pin("?", buffer), 120u);
}

TEST(Dialog, MissingLibrary) {
    expect_missing();
    EXPECT_EQ(mappings(), 0u);
}

TEST(Dialog, MissingEntries) {
    expect_missing();
    EXPECT_GT(mappings(), 0u);
}

TEST(Dialog, HandsWordsOnAndTakesTheResult) {
    DialogDouble *dialog = find_dialog_double();
    ASSERT_NE(dialog, nullptr);
    for (const Entry &entry : entries) {
        dialog->result = 0xE0000000u + entry.words;
        EXPECT_EQ(entry.call(), dialog->result) << entry.name;
        EXPECT_STREQ(dialog->entry, entry.name);
        EXPECT_EQ(dialog->words, entry.words);
        for (unsigned i = 0; i < entry.words; ++i)
            EXPECT_EQ(dialog->word[i], wide + i) << entry.name;
    }
    dialog->result = 0;
    std::snprintf(dialog->pin, sizeof dialog->pin, "123456789");
    char buffer[9] = {};
    EXPECT_EQ(get_pin("Your PIN, please", buffer), 0u);
    EXPECT_STREQ(dialog->prompt, "Your PIN, please");
    EXPECT_STREQ(buffer, "12345678");
}

TEST(Dialog, CallsLeaveNothingBehind) {
    char buffer[9] = {};
    get_pin("?", buffer);
    const size_t descriptors = open_descriptors();
    const size_t mapped = mappings();
    for (int i = 0; i < 200; ++i)
        get_pin("?", buffer);
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_EQ(mappings(), mapped);
}

}  // namespace
