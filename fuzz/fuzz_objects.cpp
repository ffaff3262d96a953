// The objects of directory files, their type attributes, the entries of the object directory, and keys.
#include "asn1/asn1_dsa.h"
#include "asn1/asn1_pkcs1.h"
#include "codec.h"

// A generic secret key is written with the octet 30 and read with B0.
static constexpr fuzz::Codec read_with(uint8_t octet, fuzz::Codec codec) {
    codec.sequence_octet = octet;
    return codec;
}

#define FUZZ_SECRET_KEY(T) read_with(0xB0, fuzz::codec<T, asn1_##T##_e, asn1_##T##_d, asn1_##T##_free>(#T)),

static constexpr fuzz::Codec codecs[] = {
#include "objects.def"
};

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz::discard_trace();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return fuzz::run_codecs(codecs, data, size);
}
