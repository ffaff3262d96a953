#include "runtime/brovy_resource.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <iconv.h>

#include "runtime/owned.h"
#include "runtime/stdio_safe.h"
#include "runtime/str_safe.h"

namespace {

constexpr uint32_t english = 9;

bool has_room(const char *buffer, size_t size) {
    return buffer != nullptr && size != 0;
}

}  // namespace

extern "C" {

const LanguageName languageNames[] = {
    {"de_", 7},  {"deutsch", 7},     {"en_", 9}, {"fr_", 12},     {"french", 12}, {"it_", 16},
    {"pt_", 22}, {"portuguese", 22}, {"sk", 27}, {"spanish", 10}, {nullptr, 0},
};

const char *findStringResource(const ResourceTables *tables, uint32_t identifier) {
    const LocalizedStringTable *table = tables->current;
    const StringResource *resource = table != nullptr ? table->strings : nullptr;
    for (; resource != nullptr && resource->text != nullptr; ++resource)
        if (resource->identifier == identifier)
            return resource->text;
    return "undefined";
}

size_t utf8ToLatin1(const char *text, char *buffer, size_t size) {
    constexpr auto failure = static_cast<size_t>(-1);
    if (text == nullptr || !has_room(buffer, size))
        return 0;
    std::memset(buffer, 0, size);
    const iconv_t converter = iconv_open("ISO-8859-1//TRANSLIT", "UTF8");
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-cstyle-cast,performance-no-int-to-ptr): as iconv_open(3) puts it
    if (converter == (iconv_t)-1)
        return failure;
    char *in = const_cast<char *>(text);  // iconv(3) does not write through it
    size_t inLeft = std::strlen(text);
    const size_t count = iconv(converter, &in, &inLeft, &buffer, &size);
    iconv_close(converter);
    return count != failure ? count : 0;
}

char *brovy_LoadStringResourceUtf8(const ResourceTables *tables, uint32_t identifier, char *buffer, size_t size) {
    return strcpy_safe(buffer, size, findStringResource(tables, identifier)) == 0 ? buffer : nullptr;
}

char *brovy_LoadStringResourceA(const ResourceTables *tables, uint32_t identifier, char *buffer, size_t size) {
    if (!has_room(buffer, size))
        return nullptr;
    utf8ToLatin1(findStringResource(tables, identifier), buffer, size);
    return buffer;
}

char *brovy_LoadStringResourceFmtUtf8(const ResourceTables *tables, uint32_t identifier, char *buffer, size_t size,
                                      ...) {
    if (!has_room(buffer, size))
        return nullptr;
    va_list arguments;
    va_start(arguments, size);
    vsprintf_safe(buffer, size, findStringResource(tables, identifier), arguments);
    va_end(arguments);
    return buffer;
}

char *brovy_LoadStringResourceFmtA(const ResourceTables *tables, uint32_t identifier, char *buffer, size_t size, ...) {
    if (!has_room(buffer, size))
        return nullptr;
    // One octet more than the text may take, so that it is terminated in any case.
    const OwnedBlock<char> format(size != SIZE_MAX ? allocate<char>(size + 1) : nullptr);
    if (format == nullptr)
        return nullptr;
    brovy_LoadStringResourceA(tables, identifier, format.get(), size);
    std::memset(buffer, 0, size);
    va_list arguments;
    va_start(arguments, size);
    vsprintf_safe(buffer, size, format.get(), arguments);
    va_end(arguments);
    return buffer;
}

void brovy_SetResourceLocale(ResourceTables *tables, uint32_t language) {
    for (const LocalizedStringTable *const *table = tables->all; *table != nullptr; ++table) {
        if ((*table)->language == language) {
            tables->current = *table;
            return;
        }
    }
}

uint32_t brovy_GetUserDefaultUILanguage(void) {
    const char *lang = std::getenv("LANG");
    if (lang == nullptr)
        return english;
    for (const LanguageName *name = languageNames; name->prefix != nullptr; ++name)
        if (std::strncmp(lang, name->prefix, std::strlen(name->prefix)) == 0)
            return name->language;
    return english;
}
}
