#include <utility>

#include "csp/csp.h"
#include "csp/mf.h"
#include "runtime/owned.h"

namespace {

struct ArcfourSchedule {
    uint8_t i, j;  ///< Where the last run ended.
    uint8_t s[256];
};

}  // namespace

extern "C" {

uint32_t mf_arcfourinit(const uint8_t *key, uint8_t length, void **schedule) {
    // A key of 256 octets arrives as a length of 0, for which the cipher is not defined.
    if (length == 0)
        return CSP_ERR_PARAM;
    auto *const made = allocate<ArcfourSchedule>();
    if (made == nullptr)
        return CSP_ERR_MEMORY;
    for (uint32_t i = 0; i < 256; ++i)
        made->s[i] = static_cast<uint8_t>(i);
    for (uint32_t i = 0, j = 0; i < 256; ++i) {
        j = (j + made->s[i] + key[i % length]) & 0xFF;
        std::swap(made->s[i], made->s[j]);
    }
    *schedule = made;
    return 0;
}

uint32_t mf_arcfour(const uint8_t *in, uint32_t length, uint8_t *out, uint32_t /*direction*/, void *schedule) {
    auto *const state = static_cast<ArcfourSchedule *>(schedule);
    uint8_t *const s = state->s;
    uint32_t i = state->i;
    uint32_t j = state->j;
    for (uint32_t at = 0; at < length; ++at) {
        i = (i + 1) & 0xFF;
        const uint32_t a = s[i];
        j = (j + a) & 0xFF;
        const uint32_t b = s[j];
        s[i] = static_cast<uint8_t>(b);
        s[j] = static_cast<uint8_t>(a);
        out[at] = static_cast<uint8_t>(in[at] ^ s[(a + b) & 0xFF]);
    }
    state->i = static_cast<uint8_t>(i);
    state->j = static_cast<uint8_t>(j);
    return 0;
}
}
