#include "tasn1.h"

#include <stdexcept>
#include <string>

namespace bench {

namespace {

void expect(int result, const char *text) {
    if (result != ASN1_SUCCESS)
        throw std::runtime_error(std::string("libtasn1: ") + asn1_strerror(result) + " " + text);
}

}  // namespace

Tasn1::Tasn1() {
    char text[ASN1_MAX_ERROR_DESCRIPTION_SIZE] = "";
    expect(asn1_parser2tree(ZELMO_SOURCE_DIR "/bench/pkcs15.asn", &module_, text), text);
}

Tasn1::~Tasn1() {
    asn1_delete_structure(&module_);
}

asn1_node Tasn1::decode(const char *type, std::span<const uint8_t> der) const {
    char text[ASN1_MAX_ERROR_DESCRIPTION_SIZE] = "";
    asn1_node value = nullptr;
    expect(asn1_create_element(module_, type, &value), type);
    expect(asn1_der_decoding(&value, der.data(), static_cast<int>(der.size()), text), text);
    return value;
}

size_t Tasn1::encode(asn1_node value, std::vector<uint8_t> &buffer) {
    char text[ASN1_MAX_ERROR_DESCRIPTION_SIZE] = "";
    int length = static_cast<int>(buffer.size());
    expect(asn1_der_coding(value, "", buffer.data(), &length, text), text);
    return static_cast<size_t>(length);
}

}  // namespace bench
