#include "codec.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace fuzz {

void require(bool holds, const char *type, const char *property) {
    if (holds)
        return;
    std::fprintf(stderr, "%s: not so: %s\n", type, property);
    std::abort();
}

bool may_be_cut_short(Octets data) {
    const auto is_long = [](uint8_t count, uint8_t first) {
        return (count == 0x81 && first < 0x80) || (count >= 0x82 && count <= 0x84 && first == 0);
    };
    return std::adjacent_find(data.begin(), data.end(), is_long) != data.end();
}

bool may_be_unwritable(Octets data) {
    // An empty content directly behind the tag, or a text that begins with its terminator.
    if (may_be_cut_short(data))
        return true;
    for (size_t n = 0; n + 1 < data.size(); n++) {
        const bool time = data[n] == 0x17 || data[n] == 0x18 || data[n] == 0x80;
        if ((time || data[n] == 0x06) && data[n + 1] == 0)
            return true;
        if (time && n + 2 < data.size() && data[n + 2] == 0)
            return true;
    }
    return false;
}

void discard_trace() {
    asn1_LogStart(std::fopen("/dev/null", "w"));
}

}  // namespace fuzz
