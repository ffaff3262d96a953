// Decoded records as JSON values: what 'zelmo list --json' prints, and what the text for people is made from. The
// member names are documented in docs/zelmo.md and never change their meaning. An absent optional field has no member.
#ifndef ZELMO_VIEW_H
#define ZELMO_VIEW_H

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "zelmop15/pkcs15.h"

namespace zelmo {

using Json = nlohmann::ordered_json;

/// Members shared by all views.
namespace view {

Json octets(const asn1_ASN1String &value);  ///< Hexadecimal text.
Json text(const asn1_ASN1String &value);    ///< Text, made valid UTF-8.
Json integer(const asn1_Integer &value);    ///< A number, or hexadecimal text beyond 53 bits.
Json objectId(const asn1_ObjId &value);     ///< Dotted text.
Json path(const Path &value);               ///< {path, index, length}.
/// Names of the bits that are set; a bit without a name is "bit N".
Json bits(const asn1_BitString &value, std::initializer_list<std::string_view> names);

/// json[name] = make(*value), unless value is null.
template <class Value, class Make>
void member(Json &json, const char *name, const Value *value, Make make) {
    if (value != nullptr)
        json[name] = make(*value);
}

/// The elements of a List of Value, each by `make`.
template <class Value, class Make>
Json array(const List &list, Make make) {
    Json result = Json::array();
    for (int32_t i = 0; i < List_len(&list); ++i)
        result.push_back(make(*static_cast<const Value *>(List_get(&list, i))));
    return result;
}

}  // namespace view

/// {type, objectType, objectId, alternative, carried, ...} of a decoded object, PrivateKeyType to AuthenticationType.
Json viewObject(uint32_t objectType, uint32_t objectId, const void *object);

/// "privateKeys" to "authObjects".
std::string_view objectTypeName(uint32_t objectType);

/// Adds what the attributes of every object say.
void addCommonAttributes(Json &json, const CommonObjectAttributes &attributes);

/// {version, serialNumber, ...} of TokenInfo.
Json viewTokenInfo(const TokenInfo &tokenInfo);

/// {aid, label, path, ddo} of an application.
Json viewApplication(const DIRRecord &record);

}  // namespace zelmo

#endif
