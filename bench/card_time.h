// Measures the time that the token library spends in the card service, to tell it from its own.
#ifndef ZELMOP15_BENCH_CARD_TIME_H
#define ZELMOP15_BENCH_CARD_TIME_H

#include <chrono>

namespace bench {

/// Starts measuring anew.
void reset_card_time();
/// Time spent in the card service since then.
std::chrono::nanoseconds card_time();

}  // namespace bench

#endif
