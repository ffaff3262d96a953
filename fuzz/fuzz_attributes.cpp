// Paths, common attributes, access rules with their nested conditions, values.
#include "codec.h"

static constexpr fuzz::Codec codecs[] = {
#include "attributes.def"
};

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz::discard_trace();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return fuzz::run_codecs(codecs, data, size);
}
