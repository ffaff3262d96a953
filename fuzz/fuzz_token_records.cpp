// The records of EF.DIR and of the TokenInfo file.
#include "codec.h"

// Encoding a record without a path ends the process, and it may well be read without one.
static constexpr fuzz::Codec with_path(fuzz::Codec codec) {
    codec.writable = [](const void *value) { return static_cast<const DIRRecord *>(value)->path != nullptr; };
    codec.sequence_octet = 0x61;
    return codec;
}

// A token without a serial number is read and not written.
static constexpr fuzz::Codec with_serial_number(fuzz::Codec codec) {
    codec.writable = [](const void *value) { return static_cast<const TokenInfo *>(value)->serialNumber != nullptr; };
    return codec;
}

#define FUZZ_ONE(T)        fuzz::codec<T, asn1_##T##_e, asn1_##T##_d, asn1_##T##_free>(#T)
#define FUZZ_DIR_RECORD(T) with_path(fuzz::codec<T, asn1_##T##_e, asn1_##T##_d, asn1_##T##_free, asn1_##T##_clone>(#T)),
#define FUZZ_TOKEN_INFO(T) with_serial_number(FUZZ_ONE(T)),

static constexpr fuzz::Codec codecs[] = {
#include "token_records.def"
};

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz::discard_trace();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return fuzz::run_codecs(codecs, data, size);
}
