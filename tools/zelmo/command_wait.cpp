#include <algorithm>
#include <chrono>
#include <fmt/format.h>

#include "card.h"
#include "commands.h"
#include "output.h"
#include "text.h"

namespace zelmo {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr uint32_t nothing_happened = 0x8010000A;

/// Tells of cards that come.
class Monitor {
  public:
    Monitor() {
        if (const uint32_t raw = zelmocrd_OpenMonitor(&monitor_); raw != 0)
            throw cardFailure("cannot wait for a card", raw);
    }
    Monitor(const Monitor &) = delete;
    Monitor &operator=(const Monitor &) = delete;
    ~Monitor() {
        zelmocrd_CloseMonitor(monitor_);
    }
    /// The next event, whose kind is 0 when the time is over before there is one.
    zelmocrd_Event next(milliseconds time) {
        zelmocrd_Event event = {};
        const uint32_t raw = zelmocrd_NextEvent(monitor_, static_cast<uint32_t>(time.count()), &event);
        if (raw != 0 && raw != nothing_happened)
            throw cardFailure("cannot wait for a card", raw);
        return event;
    }

  private:
    zelmocrd_Monitor monitor_ = 0;
};

}  // namespace

Exit runWait(const Options &options) {
    // A reader may be named that no event tells of, such as any virtual card: it is looked at in between.
    constexpr milliseconds looking_time(200);
    const Clock::time_point start = Clock::now();
    const auto over = [&] {
        return options.timeout >= 0 && Clock::now() - start >= std::chrono::seconds(options.timeout);
    };
    Monitor monitor;
    std::string found;
    while (found.empty()) {
        if (!options.reader.empty() && hasCard(options.reader)) {
            found = options.reader;
            break;
        }
        const bool last = over();
        const zelmocrd_Event event = monitor.next(last ? milliseconds(0) : looking_time);
        if (options.reader.empty() && event.kind == ZELMOCRD_CARD_INSERTED)
            found = event.reader;
        else if (last && event.kind == 0)
            throw Failure(Exit::noCard,
                          fmt::format("no card within {} seconds; insert the card and try again", options.timeout));
    }
    Output output;
    output.print("{}\n", printable(found));
    output.flush();
    return Exit::ok;
}

}  // namespace zelmo
