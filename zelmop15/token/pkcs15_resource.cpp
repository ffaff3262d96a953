#include "token/pkcs15_resource.h"

extern "C" {

namespace {

// The texts stand as they were delivered by the translators: the Bulgarian one has no blank before the PIN's label.
constexpr StringResource stringsRESOURCE_LOCALE_US[] = {{RESOURCE_PIN_PROMPT, "Please enter your %s for %s."},
                                                        {0, nullptr}};
constexpr StringResource stringsRESOURCE_LOCALE_DE[] = {{RESOURCE_PIN_PROMPT, "Bitte geben Sie die %s für %s ein."},
                                                        {0, nullptr}};
constexpr StringResource stringsRESOURCE_LOCALE_FR[] = {{RESOURCE_PIN_PROMPT, "Veuillez entrer votre %s pour %s."},
                                                        {0, nullptr}};
constexpr StringResource stringsRESOURCE_LOCALE_SK[] = {{RESOURCE_PIN_PROMPT, "Zadajte Váš %s pre %s."}, {0, nullptr}};
constexpr StringResource stringsRESOURCE_LOCALE_SP[] = {{RESOURCE_PIN_PROMPT, "Por favor, introduzca su %s para %s."},
                                                        {0, nullptr}};
constexpr StringResource stringsRESOURCE_LOCALE_PT[] = {{RESOURCE_PIN_PROMPT, "Por favor, introduza o seu %s para %s."},
                                                        {0, nullptr}};
constexpr StringResource stringsRESOURCE_LOCALE_IT[] = {{RESOURCE_PIN_PROMPT, "Prego, di inserire %s per %s."},
                                                        {0, nullptr}};
constexpr StringResource stringsRESOURCE_LOCALE_BG[] = {{RESOURCE_PIN_PROMPT, "Моля, въведете вашия%s за %s."},
                                                        {0, nullptr}};

}  // namespace

const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_US = {RESOURCE_LOCALE_US, stringsRESOURCE_LOCALE_US};
const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_DE = {RESOURCE_LOCALE_DE, stringsRESOURCE_LOCALE_DE};
const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_FR = {RESOURCE_LOCALE_FR, stringsRESOURCE_LOCALE_FR};
const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_SK = {RESOURCE_LOCALE_SK, stringsRESOURCE_LOCALE_SK};
const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_SP = {RESOURCE_LOCALE_SP, stringsRESOURCE_LOCALE_SP};
const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_PT = {RESOURCE_LOCALE_PT, stringsRESOURCE_LOCALE_PT};
const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_IT = {RESOURCE_LOCALE_IT, stringsRESOURCE_LOCALE_IT};
const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_BG = {RESOURCE_LOCALE_BG, stringsRESOURCE_LOCALE_BG};

const LocalizedStringTable *const pkcs15LocalizedStringTables[] = {
    &localizedStringTableRESOURCE_LOCALE_US,
    &localizedStringTableRESOURCE_LOCALE_DE,
    &localizedStringTableRESOURCE_LOCALE_FR,
    &localizedStringTableRESOURCE_LOCALE_SK,
    &localizedStringTableRESOURCE_LOCALE_SP,
    &localizedStringTableRESOURCE_LOCALE_PT,
    &localizedStringTableRESOURCE_LOCALE_IT,
    &localizedStringTableRESOURCE_LOCALE_BG,
    nullptr,
};

ResourceTables pkcs15StringTables = {&localizedStringTableRESOURCE_LOCALE_US, pkcs15LocalizedStringTables};
}
