// Texts in the current language, and which language that is.
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

#include "runtime/brovy_resource.h"
#include "support/alloc_fault.h"
#include "token/pkcs15_resource.h"

namespace {

// The token layer's tables while it lives; the language is put back afterwards.
struct Language {
    explicit Language(uint32_t language) {
        brovy_SetResourceLocale(&pkcs15StringTables, language);
    }
    ~Language() {
        pkcs15StringTables.current = &localizedStringTableRESOURCE_LOCALE_US;
    }
};

TEST(Resource, LangSelectsTheLanguage) {
    const std::pair<const char *, uint32_t> cases[] = {
        {nullptr, 9},  {"", 9},        {"C", 9},        {"de_DE.UTF-8", 7}, {"de_", 7},    {"de", 9},
        {"DE_de", 9},  {"deutsch", 7}, {"deutsche", 7}, {"en_GB", 9},       {"fr_CA", 12}, {"french", 12},
        {"it_IT", 16}, {"pt_BR", 22},  {"portug", 9},   {"portuguese", 22}, {"sk", 27},    {"sk_SK.UTF-8", 27},
        {"skolt", 27}, {"es_ES", 9},   {"spanish", 10}, {"bg_BG.UTF-8", 9}, {" de_DE", 9},
    };
    for (const auto &[lang, language] : cases) {
        if (lang != nullptr)
            setenv("LANG", lang, 1);
        else
            unsetenv("LANG");
        EXPECT_EQ(brovy_GetUserDefaultUILanguage(), language) << (lang != nullptr ? lang : "unset");
    }
}

TEST(Resource, PromptInEveryLanguage) {
    const std::pair<uint32_t, const char *> cases[] = {
        {9, "Please enter your PIN 1 for Card."},
        {7, "Bitte geben Sie die PIN 1 f\xC3\xBCr Card ein."},
        {12, "Veuillez entrer votre PIN 1 pour Card."},
        {27, "Zadajte V\xC3\xA1\xC5\xA1 PIN 1 pre Card."},
        {10, "Por favor, introduzca su PIN 1 para Card."},
        {22, "Por favor, introduza o seu PIN 1 para Card."},
        {16, "Prego, di inserire PIN 1 per Card."},
        {2,
         "\xD0\x9C\xD0\xBE\xD0\xBB\xD1\x8F, \xD0\xB2\xD1\x8A\xD0\xB2\xD0\xB5\xD0\xB4\xD0\xB5\xD1\x82\xD0\xB5 "
         "\xD0\xB2\xD0\xB0\xD1\x88\xD0\xB8\xD1\x8FPIN 1 \xD0\xB7\xD0\xB0 Card."},
    };
    for (const auto &[language, prompt] : cases) {
        const Language current(language);
        char buffer[256];
        EXPECT_EQ(brovy_LoadStringResourceFmtUtf8(&pkcs15StringTables, RESOURCE_PIN_PROMPT, buffer, sizeof buffer,
                                                  "PIN 1", "Card"),
                  buffer);
        EXPECT_STREQ(buffer, prompt);
    }
}

TEST(Resource, UnknownLanguageChangesNothing) {
    const Language german(7);
    for (const uint32_t language : {0u, 8u, 1031u})
        brovy_SetResourceLocale(&pkcs15StringTables, language);
    EXPECT_EQ(pkcs15StringTables.current, &localizedStringTableRESOURCE_LOCALE_DE);
}

TEST(Resource, WhatIsMissingReadsUndefined) {
    static constexpr StringResource torn[] = {{1, "one"}, {2, nullptr}, {3, "three"}, {0, nullptr}};
    static constexpr StringResource empty[] = {{0, nullptr}};
    static constexpr LocalizedStringTable tornTable = {9, torn}, emptyTable = {9, empty}, bareTable = {9, nullptr};
    const struct {
        const LocalizedStringTable *table;
        uint32_t identifier;
        const char *text;
    } cases[] = {{&tornTable, 1, "one"},        {&tornTable, 2, "undefined"}, {&tornTable, 3, "undefined"},
                 {&emptyTable, 0, "undefined"}, {&bareTable, 1, "undefined"}, {nullptr, 1, "undefined"}};
    for (const auto &c : cases) {
        const ResourceTables tables = {c.table, nullptr};
        char buffer[32];
        EXPECT_STREQ(brovy_LoadStringResourceUtf8(&tables, c.identifier, buffer, sizeof buffer), c.text);
        EXPECT_STREQ(brovy_LoadStringResourceA(&tables, c.identifier, buffer, sizeof buffer), c.text);
    }
}

TEST(Resource, TextsAreCutAtTheBuffer) {
    static constexpr StringResource texts[] = {{1, "12345678"}, {2, "%s%d"}, {0, nullptr}};
    static constexpr LocalizedStringTable table = {9, texts};
    const ResourceTables tables = {&table, nullptr};
    const auto in = [](auto load, size_t size) {
        std::string buffer(size + 1, '?');
        EXPECT_EQ(load(buffer.data(), size), buffer.data());
        EXPECT_EQ(buffer[size], '?') << "written behind its end";
        buffer.resize(size);
        return buffer;
    };
    const auto utf8 = [&](char *buffer, size_t size) { return brovy_LoadStringResourceUtf8(&tables, 1, buffer, size); };
    const auto latin1 = [&](char *buffer, size_t size) { return brovy_LoadStringResourceA(&tables, 1, buffer, size); };
    const auto fmt = [&](char *buffer, size_t size) {
        return brovy_LoadStringResourceFmtUtf8(&tables, 2, buffer, size, "%n%s", 78);
    };
    const auto fmtLatin1 = [&](char *buffer, size_t size) {
        return brovy_LoadStringResourceFmtA(&tables, 2, buffer, size, "%n%s", 78);
    };
    const auto formatFills = [&](char *buffer, size_t size) {
        return brovy_LoadStringResourceFmtA(&tables, 1, buffer, size);
    };
    EXPECT_EQ(in(utf8, 1), std::string(1, '\0'));
    EXPECT_EQ(in(utf8, 5), std::string("1234\0", 5));
    EXPECT_EQ(in(latin1, 8), "12345678") << "a text that fills the buffer has no terminator";
    EXPECT_EQ(in(latin1, 9), std::string("12345678\0", 9));
    EXPECT_EQ(in(latin1, 3), "123");
    EXPECT_EQ(in(fmt, 9), std::string("%n%s78\0?\0", 9));
    EXPECT_EQ(in(fmt, 5).substr(0, 4), std::string("%n%\0", 4));
    EXPECT_EQ(in(fmtLatin1, 9), std::string("%n%s78\0\0\0", 9));
    EXPECT_EQ(in(formatFills, 8), std::string("123456\0\0", 8)) << "the format is terminated all the same";
    char none = '?';
    for (char *buffer : {static_cast<char *>(nullptr), &none}) {
        EXPECT_EQ(brovy_LoadStringResourceUtf8(&tables, 1, buffer, 0), nullptr);
        EXPECT_EQ(brovy_LoadStringResourceA(&tables, 1, buffer, 0), nullptr);
        EXPECT_EQ(brovy_LoadStringResourceFmtUtf8(&tables, 1, buffer, 0), nullptr);
        EXPECT_EQ(brovy_LoadStringResourceFmtA(&tables, 1, buffer, 0), nullptr);
    }
}

TEST(Resource, Latin1) {
    const Language german(7);
    char buffer[256];
    brovy_LoadStringResourceFmtA(&pkcs15StringTables, RESOURCE_PIN_PROMPT, buffer, sizeof buffer, "\xC3\xA4", "x");
    EXPECT_STREQ(buffer, "Bitte geben Sie die \xC3\xA4 f\xFCr x ein.") << "arguments are taken as they are";
    EXPECT_EQ(utf8ToLatin1("\xC3\xBC!", buffer, sizeof buffer), 0u);
    EXPECT_STREQ(buffer, "\xFC!");
    EXPECT_EQ(utf8ToLatin1("ab\xC3", buffer, sizeof buffer), 0u);
    EXPECT_STREQ(buffer, "ab") << "what was converted stays";
    EXPECT_EQ(utf8ToLatin1(nullptr, buffer, sizeof buffer), 0u);
    EXPECT_EQ(utf8ToLatin1("a", nullptr, 1), 0u);
    EXPECT_EQ(utf8ToLatin1("a", buffer, 0), 0u);
    alloc_fault_arm(1, false);
    char *result =
        brovy_LoadStringResourceFmtA(&pkcs15StringTables, RESOURCE_PIN_PROMPT, buffer, sizeof buffer, "", "");
    EXPECT_TRUE(alloc_fault_disarm());
    EXPECT_EQ(result, nullptr);
}

}  // namespace
