// Texts for people, compiled in, one table a language. A text that the current language lacks reads "undefined"; there
// is no other language to fall back to.
#ifndef ZELMOP15_RUNTIME_BROVY_RESOURCE_H
#define ZELMOP15_RUNTIME_BROVY_RESOURCE_H

#include <cstddef>
#include <cstdint>

extern "C" {

/// A text and its number; {0, null} ends an array of them.
struct StringResource {
    uint32_t identifier;
    const char *text;  ///< UTF-8.
};

/// The texts of one language.
struct LocalizedStringTable {
    uint32_t language;
    const StringResource *strings;
};

/// A set of languages, one of which is current. A change is one pointer store and must not race with readers.
struct ResourceTables {
    const LocalizedStringTable *current;
    const LocalizedStringTable *const *all;  ///< Ended by null.
};

/// How values of LANG that stand for a language begin.
struct LanguageName {
    const char *prefix;
    uint32_t language;
};
/// In search order, ended by a null prefix. Not every language can be reached by it.
extern const LanguageName languageNames[];

/// The text in UTF-8, cut to size - 1 octets and terminated. Returns `buffer`; null for a null buffer or size 0.
char *brovy_LoadStringResourceUtf8(const ResourceTables *tables, uint32_t identifier, char *buffer, size_t size);
/// The text in Latin-1. Not terminated when it fills the buffer, so leave room. What cannot be converted is missing, or
/// transliterated as the platform does it. Returns as above.
char *brovy_LoadStringResourceA(const ResourceTables *tables, uint32_t identifier, char *buffer, size_t size);
/// The text as a format for the arguments, cut to size - 2 octets and terminated. Returns as above.
char *brovy_LoadStringResourceFmtUtf8(const ResourceTables *tables, uint32_t identifier, char *buffer, size_t size,
                                      ...);
/// The same with the text in Latin-1; the arguments are taken as they are. Null also when memory is short.
char *brovy_LoadStringResourceFmtA(const ResourceTables *tables, uint32_t identifier, char *buffer, size_t size, ...);
/// Makes a language current; one that has no table changes nothing.
void brovy_SetResourceLocale(ResourceTables *tables, uint32_t language);
/// The language that LANG asks for; English when it is not set or stands for none.
uint32_t brovy_GetUserDefaultUILanguage(void);
/// Converts to Latin-1 into a buffer that is zeroed before, with no terminator of its own. The count of iconv(3); 0
/// when it fails on the way, with what was converted so far, and for a null argument or size 0.
size_t utf8ToLatin1(const char *text, char *buffer, size_t size);
/// The text in the current language, never null.
const char *findStringResource(const ResourceTables *tables, uint32_t identifier);
}

#endif
