// The text form of names, made from the tree and read into it.
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstring>
#include <strings.h>

#include "asn1/asn1_x501.h"
#include "asn1/asn1_x520.h"
#include "runtime/assertion.h"
#include "runtime/owned.h"
#include "runtime/stdio_safe.h"

namespace {

constexpr uint32_t printable_string = 19;

using OwnedAssertion = Owned<AttributeValueAssertion, asn1_AttributeValueAssertion_free>;
using OwnedRDN = Owned<RelativeDistinguishedName, asn1_RelativeDistinguishedName_free>;
using OwnedRDNSequence = Owned<RDNSequence, asn1_RDNSequence_free>;

// ---- tree to text --------------------------------------------------------------------------------------------------

// Writes a text, or measures it when there is no buffer.
class TextWriter {
  public:
    TextWriter(char *buffer, size_t capacity) : buffer_(buffer), capacity_(capacity) {}

    size_t length() const {
        return length_;
    }
    void put(char c) {
        if (buffer_ != nullptr)
            buffer_[length_] = c;
        ++length_;
    }
    void put(const char *text) {
        while (*text != '\0')
            put(*text++);
    }
    [[nodiscard]] bool put_dotted(const asn1_ObjId *id) {
        char *const to = buffer_ != nullptr ? buffer_ + length_ : nullptr;
        const size_t room = capacity_ - length_;
        auto size = static_cast<uint32_t>(room < UINT32_MAX ? room : UINT32_MAX);
        if (asn1_ObjId_sprint(id, to, &size) != 0)
            return false;
        length_ += size - 1;
        return true;
    }

  private:
    char *buffer_;
    size_t capacity_;
    size_t length_ = 0;
};

const NameAttribute *find_attribute(const asn1_ObjId *id) {
    for (const NameAttribute *row = oidNameAttributes; row->getter != nullptr; ++row)
        if (asn1_ObjId_cmp(row->getter(), id) == 0)
            return row;
    return nullptr;
}

// A zero octet ends the value in the text, and what comes behind the value follows there at once.
void write_value(TextWriter &text, const asn1_ASN1String *value) {
    for (uint32_t i = 0; i < value->len && value->data[i] != 0; ++i) {
        const char c = static_cast<char>(value->data[i]);
        if (c == '/' || c == ',')
            text.put('/');
        text.put(c);
    }
}

[[nodiscard]] bool write_assertion(TextWriter &text, const AttributeValueAssertion *assertion) {
    if (assertion->type == nullptr || assertion->value == nullptr)
        return false;
    const NameAttribute *const attribute = find_attribute(assertion->type);
    if (attribute != nullptr)
        text.put(attribute->shortName);
    else if (!text.put_dotted(assertion->type))
        return false;
    char tag[20];
    sprintf_safeA(tag, sizeof tag, "(%i)=", static_cast<int>(assertion->tag));
    text.put(tag);
    write_value(text, assertion->value);
    return true;
}

[[nodiscard]] bool write_name(TextWriter &text, const RDNSequence *sequence) {
    for (int32_t i = 0; i < List_len(sequence); ++i) {
        const auto *rdn = static_cast<const List *>(List_get(sequence, i));
        text.put('/');
        for (int32_t j = 0; j < List_len(rdn); ++j) {
            if (j != 0)
                text.put(',');
            if (!write_assertion(text, static_cast<const AttributeValueAssertion *>(List_get(rdn, j))))
                return false;
        }
    }
    return true;
}

// ---- text to tree --------------------------------------------------------------------------------------------------

// The first short name that the text begins with counts: "sn" is taken for "s", and fails on the letter behind it.
asn1_ObjId *parse_type(const char *&text) {
    if (std::isdigit(static_cast<unsigned char>(*text)) != 0)
        return asn1_ObjId_parse(&text);
    for (const NameAttribute *row = oidNameAttributes; row->getter != nullptr; ++row) {
        const size_t length = std::strlen(row->shortName);
        if (strncasecmp(text, row->shortName, length) != 0)
            continue;
        text += length;
        return asn1_ObjId_clone(row->getter());
    }
    return nullptr;
}

// The number is read in the base of its own prefix.
bool parse_tag(const char *&text, uint32_t &tag) {
    tag = printable_string;
    if (*text != '(')
        return true;
    const char *const start = text + 1;
    char *end = nullptr;
    errno = 0;
    const long number = std::strtol(start, &end, 0);
    if (end == start || *end != ')' || errno != 0 || number < INT_MIN || number > INT_MAX)
        return false;
    tag = static_cast<uint32_t>(number);
    text = end + 1;
    return true;
}

// Length of the value; its octets are stored too, when there is a place for them. A '/' that is not an escape ends it,
// like ',' and the terminator; `text` is left there.
size_t scan_value(const char *&text, uint8_t *octets) {
    size_t length = 0;
    for (; *text != '\0' && *text != ','; ++text) {
        if (*text == '/') {
            if (text[1] != '/' && text[1] != ',')
                break;
            ++text;
        }
        if (octets != nullptr)
            octets[length] = static_cast<uint8_t>(*text);
        ++length;
    }
    return length;
}

asn1_ASN1String *parse_value(const char *&text) {
    const char *const start = text;
    const size_t length = scan_value(text, nullptr);
    if (length > UINT32_MAX)
        return nullptr;
    asn1_ASN1String *const value = asn1_ASN1String_new(static_cast<uint32_t>(length), nullptr);
    if (value != nullptr) {
        text = start;
        scan_value(text, value->data);
    }
    return value;
}

// Appends to the last RDN, which '/' makes.
bool append_assertion(RDNSequence *sequence, char separator, OwnedAssertion assertion) {
    if (separator == '/') {
        OwnedRDN rdn(List_new(0));
        if (rdn == nullptr || List_append(sequence, rdn.get(), nullptr) == nullptr)
            return false;
        (void)rdn.release();
    }
    auto *const last = static_cast<List *>(List_get(sequence, List_len(sequence) - 1));
    if (List_append(last, assertion.get(), nullptr) == nullptr)
        return false;
    (void)assertion.release();
    return true;
}

}  // namespace

extern "C" {

Name *asn1_RDNSequence_to_Name(const RDNSequence *sequence) {
    TextWriter measure(nullptr, 0);
    if (!write_name(measure, sequence) || measure.length() == 0)
        return nullptr;
    const size_t capacity = measure.length() + 1;
    Owned<Name, asn1_Name_free> name(allocate<Name>(capacity));
    if (name == nullptr)
        return nullptr;
    TextWriter text(name.get(), capacity);
    return write_name(text, sequence) ? name.release() : nullptr;
}

AttributeValueAssertion *asn1_AttributeValueAssertion_parse(const char **text) {
    const char *position = *text;
    OwnedAssertion assertion(asn1_AttributeValueAssertion_new());
    if (assertion == nullptr || position == nullptr)
        return nullptr;
    assertion->type = parse_type(position);
    if (assertion->type == nullptr || !parse_tag(position, assertion->tag) || *position++ != '=')
        return nullptr;
    assertion->value = parse_value(position);
    if (assertion->value == nullptr)
        return nullptr;
    *text = position;
    return assertion.release();
}

RDNSequence *asn1_Name_to_RDNSequence(const Name *name) {
    if (name == nullptr || *name != '/')
        return nullptr;
    OwnedRDNSequence sequence(List_new(0));
    if (sequence == nullptr)
        return nullptr;
    // An assertion ends at ',' or '/' or the terminator, so that no other separator is met.
    while (*name != '\0') {
        const char separator = *name++;
        OwnedAssertion assertion(asn1_AttributeValueAssertion_parse(&name));
        if (assertion == nullptr || !append_assertion(sequence.get(), separator, std::move(assertion)))
            return nullptr;
    }
    return sequence.release();
}

char *asn1_string_cat(char *a, const char *b) {
    ZELMO_ASSERT(b != nullptr, "b != ((void *)0)");
    const size_t first = a != nullptr ? std::strlen(a) : 0;
    const size_t second = std::strlen(b);
    auto *text = static_cast<char *>(std::realloc(a, first + second + 1));
    if (text != nullptr)
        std::memcpy(text + first, b, second + 1);
    return text;
}
}
