#include "prompts.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <string_view>

#include "failure.h"
#include "text.h"
#include "token/pkcs15_resource.h"

namespace zelmo {

namespace {

constexpr size_t label_size = 256;
constexpr size_t prompt_size = 1024;

constexpr auto fresh = static_cast<uint32_t>(Prompt::fresh);
constexpr auto repeated = static_cast<uint32_t>(Prompt::repeated);
static_assert(static_cast<uint32_t>(Prompt::present) == RESOURCE_PIN_PROMPT);

constexpr StringResource english[] = {
    {fresh, "Please enter the new %s for %s."}, {repeated, "Please enter the new %s for %s once more."}, {0, nullptr}};
constexpr StringResource german[] = {{fresh, "Bitte geben Sie die neue %s für %s ein."},
                                     {repeated, "Bitte geben Sie die neue %s für %s noch einmal ein."},
                                     {0, nullptr}};
constexpr StringResource french[] = {{fresh, "Veuillez entrer votre nouveau %s pour %s."},
                                     {repeated, "Veuillez entrer encore une fois votre nouveau %s pour %s."},
                                     {0, nullptr}};
constexpr StringResource slovak[] = {
    {fresh, "Zadajte nový %s pre %s."}, {repeated, "Zadajte nový %s pre %s ešte raz."}, {0, nullptr}};
constexpr StringResource spanish[] = {{fresh, "Por favor, introduzca su nuevo %s para %s."},
                                      {repeated, "Por favor, repita su nuevo %s para %s."},
                                      {0, nullptr}};
constexpr StringResource portuguese[] = {{fresh, "Por favor, introduza o seu novo %s para %s."},
                                         {repeated, "Por favor, repita o seu novo %s para %s."},
                                         {0, nullptr}};
constexpr StringResource italian[] = {
    {fresh, "Prego, inserire il nuovo %s per %s."}, {repeated, "Prego, ripetere il nuovo %s per %s."}, {0, nullptr}};
constexpr StringResource bulgarian[] = {
    {fresh, "Моля, въведете новия %s за %s."}, {repeated, "Моля, повторете новия %s за %s."}, {0, nullptr}};

/// A language: the code that people give, and its prompts.
struct Language {
    std::string_view code;
    LocalizedStringTable table;
};

constexpr std::array<Language, 8> languages = {{
    {"en", {RESOURCE_LOCALE_US, english}},
    {"de", {RESOURCE_LOCALE_DE, german}},
    {"fr", {RESOURCE_LOCALE_FR, french}},
    {"sk", {RESOURCE_LOCALE_SK, slovak}},
    {"es", {RESOURCE_LOCALE_SP, spanish}},
    {"pt", {RESOURCE_LOCALE_PT, portuguese}},
    {"it", {RESOURCE_LOCALE_IT, italian}},
    {"bg", {RESOURCE_LOCALE_BG, bulgarian}},
}};

constexpr const LocalizedStringTable *tables[] = {&languages[0].table, &languages[1].table, &languages[2].table,
                                                  &languages[3].table, &languages[4].table, &languages[5].table,
                                                  &languages[6].table, &languages[7].table, nullptr};

ResourceTables prompts = {tables[0], tables};

uint32_t identifierOf(const std::string &code) {
    const auto found = std::find_if(languages.begin(), languages.end(),
                                    [&](const Language &language) { return language.code == code; });
    if (found != languages.end())
        return found->table.language;
    std::string codes;
    for (const Language &language : languages)
        codes += fmt::format("{}{}", codes.empty() ? "" : ", ", language.code);
    throw Failure(Exit::usage, fmt::format("--lang {}: no such language; give one of {}", printable(code), codes));
}

std::string labelText(const Label *label) {
    std::array<char, label_size> text{};
    return label != nullptr ? pkcs15_Label2szString(label, text.data(), text.size()) : "";
}

}  // namespace

void setLanguage(const std::string &code) {
    const uint32_t language = code.empty() ? brovy_GetUserDefaultUILanguage() : identifierOf(code);
    brovy_SetResourceLocale(&pkcs15StringTables, language);
    brovy_SetResourceLocale(&prompts, language);
}

std::string promptText(Prompt prompt, const Label *pin, const Label *token) {
    const ResourceTables &set = prompt == Prompt::present ? pkcs15StringTables : prompts;
    std::array<char, prompt_size> text{};
    brovy_LoadStringResourceFmtUtf8(&set, static_cast<uint32_t>(prompt), text.data(), text.size(),
                                    labelText(pin).c_str(), labelText(token).c_str());
    return text.data();
}

}  // namespace zelmo
