#include "zelmodlg/text.h"

#include <algorithm>
#include <cstdint>
#include <iconv.h>
#include <langinfo.h>
#include <locale.h>

namespace zelmodlg {

namespace {

constexpr size_t greatestText = 900;
/// Leaves room for the command in front.
constexpr size_t greatestEscaped = 980;
constexpr std::string_view replacement = "\xEF\xBF\xBD";
constexpr std::string_view ellipsis = "\xE2\x80\xA6";

/// The character at the start of a text.
struct Character {
    uint32_t code;
    size_t length;  ///< 0: not well formed.
};

/// The well-formed sequences by their first octet, with the bounds of the second one (Unicode 15, table 3-7).
struct Form {
    uint8_t first, last;
    size_t length;
    uint8_t secondFrom, secondTo;
};
constexpr Form forms[] = {
    {0x00, 0x7F, 1, 0, 0},       {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF},
    {0xE1, 0xEC, 3, 0x80, 0xBF}, {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF},
    {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

Character firstCharacter(std::string_view text) {
    const auto octet = [text](size_t i) { return static_cast<uint8_t>(text[i]); };
    const auto *const form = std::find_if(std::begin(forms), std::end(forms), [&](const Form &candidate) {
        return octet(0) >= candidate.first && octet(0) <= candidate.last;
    });
    if (form == std::end(forms) || form->length > text.size())
        return {0, 0};
    if (form->length == 1)
        return {octet(0), 1};
    uint32_t code = octet(0) & (0x7Fu >> form->length);
    for (size_t i = 1; i < form->length; ++i) {
        const uint8_t from = i == 1 ? form->secondFrom : 0x80;
        const uint8_t to = i == 1 ? form->secondTo : 0xBF;
        if (octet(i) < from || octet(i) > to)
            return {0, 0};
        code = code << 6 | (octet(i) & 0x3Fu);
    }
    return {code, form->length};
}

bool disturbs(uint32_t c) {
    const bool control = (c < 0x20 && c != '\n') || (c >= 0x7F && c < 0xA0);
    const bool line = c == 0x2028 || c == 0x2029;
    const bool direction =
        c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
    return control || line || direction;
}

bool isUtf8(const std::string &charset) {
    return charset == "UTF-8" || charset == "UTF8";
}

/// ASCII, by the names that C libraries give it in the "C" locale.
bool isAscii(const std::string &charset) {
    return charset == "ANSI_X3.4-1968" || charset == "US-ASCII" || charset == "ASCII" || charset.empty();
}

/// An open conversion.
class Conversion {
  public:
    Conversion(const char *to, const char *from) : handle_(iconv_open(to, from)) {}
    Conversion(const Conversion &) = delete;
    Conversion &operator=(const Conversion &) = delete;
    ~Conversion() {
        if (valid())
            iconv_close(handle_);
    }
    bool valid() const {
        return handle_ != reinterpret_cast<iconv_t>(-1);
    }
    /// Converts what fits and gives the octets written; `text` becomes what is left of it.
    size_t run(std::string_view &text, char *result, size_t room) {
        // iconv() does not write to its input, whatever its declaration says.
        char *from = const_cast<char *>(text.data());
        size_t left = text.size(), rest = room;
        iconv(handle_, &from, &left, &result, &rest);
        text.remove_prefix(text.size() - left);
        return room - rest;
    }

  private:
    iconv_t handle_;
};

}  // namespace

std::string cleanText(const char *text) {
    std::string result;
    std::string_view rest = text != nullptr ? text : "";
    while (!rest.empty()) {
        const Character character = firstCharacter(rest);
        const std::string_view octets = rest.substr(0, std::max<size_t>(character.length, 1));
        std::string_view shown = octets;
        if (character.code == '\t' && character.length == 1)
            shown = " ";
        else if (character.length == 0 || disturbs(character.code))
            shown = replacement;
        if (result.size() + shown.size() > greatestText - ellipsis.size())
            return result.append(ellipsis);
        result += shown;
        rest.remove_prefix(octets.size());
    }
    return result;
}

std::string percentEscaped(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::string_view character = text.substr(0, std::max<size_t>(firstCharacter(text).length, 1));
        const std::string_view escaped = character == "%" ? "%25" : character == "\n" ? "%0A" : character;
        if (result.size() + escaped.size() > greatestEscaped - ellipsis.size())
            return result.append(ellipsis);
        result += escaped;
        text.remove_prefix(character.size());
    }
    return result;
}

std::string localCharset() {
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
    if (locale == nullptr)
        return "ASCII";
    std::string charset = nl_langinfo_l(CODESET, locale);
    freelocale(locale);
    return charset;
}

std::string toCharset(std::string_view text, const std::string &charset) {
    if (isUtf8(charset))
        return std::string(text);
    Conversion conversion((charset + "//TRANSLIT").c_str(), "UTF-8");
    std::string result;
    while (!text.empty()) {
        char part[256];
        const size_t before = text.size();
        if (conversion.valid())
            result.append(part, conversion.run(text, part, sizeof part));
        if (text.size() < before)
            continue;
        // A character without any form there, or no conversion at all.
        const Character character = firstCharacter(text);
        result += character.length == 1 ? text.front() : '?';
        text.remove_prefix(std::max<size_t>(character.length, 1));
    }
    return result;
}

void fromCharset(Secret &typed, const std::string &charset) {
    if (isUtf8(charset) || isAscii(charset))
        return;
    Conversion conversion("UTF-8", charset.c_str());
    const size_t room = 4 * Secret::capacity;
    char *converted = static_cast<char *>(lockedAllocate(room));
    if (conversion.valid() && converted != nullptr && !typed.overflowed()) {
        std::string_view rest = typed.view();
        const size_t size = conversion.run(rest, converted, room);
        if (rest.empty()) {
            typed.clear();
            typed.append({converted, size});
        }
    }
    lockedFree(converted);
}

}  // namespace zelmodlg
