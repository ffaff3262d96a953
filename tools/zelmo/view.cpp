#include "view.h"

#include <fmt/format.h>
#include <vector>

#include "text.h"

namespace zelmo::view {

namespace {

/// Greatest number that every reader of JSON takes exactly.
constexpr uint64_t greatest_exact = (uint64_t{1} << 53) - 1;

}  // namespace

Json octets(const asn1_ASN1String &value) {
    return hex({value.data, value.len});
}

Json text(const asn1_ASN1String &value) {
    return validUtf8({reinterpret_cast<const char *>(value.data), value.len});
}

Json integer(const asn1_Integer &value) {
    uint64_t number = 0;
    for (uint32_t i = 0; i < value.len; ++i) {
        number = number << 8 | value.data[i];
        if (number > greatest_exact)
            return hex({value.data, value.len});
    }
    if (value.negative == 0 || value.len == 0)
        return number;
    return static_cast<int64_t>(number) - (int64_t{1} << (8 * value.len));
}

Json objectId(const asn1_ObjId &value) {
    std::vector<uint64_t> arcs(value.arcs, value.arcs + value.count);
    // The library splits the first number by 40, whatever it is; below arc 2 there is room for greater ones.
    if (arcs.size() >= 2 && arcs[0] > 2) {
        arcs[1] += 40 * (arcs[0] - 2);
        arcs[0] = 2;
    }
    return fmt::format("{}", fmt::join(arcs, "."));
}

Json path(const Path &value) {
    Json json = Json::object();
    member(json, "path", value.path, octets);
    member(json, "index", value.index, integer);
    member(json, "length", value.length, integer);
    return json;
}

Json bits(const asn1_BitString &value, std::initializer_list<std::string_view> names) {
    Json json = Json::array();
    for (uint32_t bit = 0; bit < value.bits; ++bit) {
        if ((value.data[bit / 8] & (0x80u >> bit % 8)) == 0)
            continue;
        json.push_back(bit < names.size() ? std::string(names.begin()[bit]) : fmt::format("bit {}", bit));
    }
    return json;
}

}  // namespace zelmo::view
