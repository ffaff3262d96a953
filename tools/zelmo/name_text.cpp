#include "name_text.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <string_view>
#include <vector>

#include "text.h"

namespace zelmo {

namespace {

constexpr uint8_t object_id_tag = 0x06;
constexpr uint8_t set_tag = 0x31;
constexpr uint8_t sequence_tag = 0x30;

struct AttributeType {
    std::string_view oid;  // encoded, hexadecimal
    std::string_view name;
};

/// The names of RFC 4514 and of X.520.
constexpr std::array<AttributeType, 14> attribute_types = {{
    {"550403", "CN"},
    {"550404", "SN"},
    {"550405", "serialNumber"},
    {"550406", "C"},
    {"550407", "L"},
    {"550408", "ST"},
    {"550409", "street"},
    {"55040A", "O"},
    {"55040B", "OU"},
    {"55040C", "title"},
    {"55042A", "GN"},
    {"2A864886F70D010901", "emailAddress"},
    {"0992268993F22C640119", "DC"},
    {"0992268993F22C640101", "UID"},
}};

std::string typeText(Octets oid) {
    const std::string digits = hex(oid);
    const auto known = std::find_if(attribute_types.begin(), attribute_types.end(),
                                    [&](const AttributeType &type) { return type.oid == digits; });
    return known != attribute_types.end() ? std::string(known->name) : "#" + digits;
}

std::string attributeText(Octets attribute) {
    const auto type = takeElement(attribute);
    const auto value = takeElement(attribute);
    if (!type || !value || type->tag != object_id_tag)
        return {};
    const std::string_view text(reinterpret_cast<const char *>(value->content.data()), value->content.size());
    return fmt::format("{}={}", typeText(type->content), printable(text));
}

}  // namespace

std::string nameText(Octets encoded) {
    const auto name = takeElement(encoded);
    if (!name || name->tag != sequence_tag)
        return {};
    std::vector<std::string> parts;
    for (Octets sets = name->content; !sets.empty();) {
        const auto set = takeElement(sets);
        if (!set || set->tag != set_tag)
            return {};
        for (Octets attributes = set->content; !attributes.empty();) {
            const auto attribute = takeElement(attributes);
            if (!attribute)
                return {};
            parts.insert(parts.begin(), attributeText(attribute->content));
        }
    }
    return fmt::format("{}", fmt::join(parts, ", "));
}

}  // namespace zelmo
