// The token layer's texts for people.
#ifndef ZELMOP15_TOKEN_PKCS15_RESOURCE_H
#define ZELMOP15_TOKEN_PKCS15_RESOURCE_H

#include "runtime/brovy_resource.h"

extern "C" {

/// Numbers of the texts. The prompt takes two "%s": the PIN's label, then the token's.
enum : uint32_t { RESOURCE_PIN_PROMPT = 79 };

/// Identifiers of the languages.
enum : uint32_t {
    RESOURCE_LOCALE_BG = 2,
    RESOURCE_LOCALE_DE = 7,
    RESOURCE_LOCALE_US = 9,
    RESOURCE_LOCALE_SP = 10,
    RESOURCE_LOCALE_FR = 12,
    RESOURCE_LOCALE_IT = 16,
    RESOURCE_LOCALE_PT = 22,
    RESOURCE_LOCALE_SK = 27
};

extern const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_US;
extern const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_DE;
extern const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_FR;
extern const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_SK;
extern const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_SP;
extern const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_PT;
extern const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_IT;
extern const LocalizedStringTable localizedStringTableRESOURCE_LOCALE_BG;
/// All of them, ended by null.
extern const LocalizedStringTable *const pkcs15LocalizedStringTables[];

/// The token layer's texts, in US English until brovy_SetResourceLocale() says otherwise.
extern ResourceTables pkcs15StringTables;
}

#endif
