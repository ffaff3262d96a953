#include "asn1/asn1_pkcs9.h"

#include "asn1/asn1_record.h"

namespace asn1 {

// clang-format off
template <>
struct Schema<::Attribute> {
    using R = ::Attribute;
    using fields = Sequence<
        Mandatory<&R::type,   ObjId>,
        Mandatory<&R::values, SetOf<Any>>>;
};
// clang-format on

}  // namespace asn1

ASN1_NESTED_RECORD(Attribute)

extern "C" Attribute *asn1_Attributes_getAttribute(const List *attributes, const asn1_ObjId *id) {
    for (int32_t i = 0; attributes != nullptr && i < List_len(attributes); ++i) {
        auto *attribute = static_cast<Attribute *>(List_get(attributes, i));
        if (asn1_ObjId_cmp(attribute->type, id) == 0)
            return attribute;
    }
    return nullptr;
}
