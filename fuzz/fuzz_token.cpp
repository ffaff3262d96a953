// The token layer from end to end, on a card with any content that may fail at any command.
#include "token_card.h"
#include "token_host.h"
#include "zelmop15/pkcs15.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz::discard_trace();
    pkcs15_LogInit(std::fopen("/dev/null", "w"), 6);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const fuzz::TokenCard card({data, size});
    fuzz::use_card(card.handle());
    return 0;
}
