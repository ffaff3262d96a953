// The algorithm references that the card service knows bounds for.
#include <algorithm>
#include <iterator>

#include "zelmocrd/zelmocrd.h"

namespace {

// RSA with PKCS#1 padding, and RSA without padding.
constexpr ExtendedAlgorithmInfo algorithms[] = {
    {0x0C, 512, 4096},
    {0x0D, 512, 4096},
};

}  // namespace

const ExtendedAlgorithmInfo *scard_GetExtendedAlgorithmInfo(uint8_t algorithmReference) {
    const auto *found =
        std::find_if(std::begin(algorithms), std::end(algorithms),
                     [=](const ExtendedAlgorithmInfo &info) { return info.algorithm == algorithmReference; });
    return found != std::end(algorithms) ? found : nullptr;
}
