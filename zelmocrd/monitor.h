// Readers and cards that come and leave.
#ifndef ZELMOCRD_MONITOR_H
#define ZELMOCRD_MONITOR_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zelmocrd/pcsc_context.h"
#include "zelmocrd/zelmocrd.h"

namespace zelmocrd {

/// One thread waits; any other may cancel.
class Monitor {
  public:
    struct Event {
        zelmocrd_EventKind kind;
        std::string reader;
    };

    /// The next thing that has happened since the last; in the beginning, what there is. Nothing when the time is over;
    /// a negative time is endless. Throws ServiceError, for one when it is cancelled.
    std::optional<Event> next(std::chrono::milliseconds time);
    void cancel() {
        cancelled_ = true;
    }

  private:
    struct Seen {
        bool card;
        unsigned long changes;  // how often a card came or left
    };
    using Picture = std::map<std::string, Seen>;

    Picture look();
    void compare(const Picture &now);
    void wait(std::chrono::milliseconds time);

    std::unique_ptr<PcscContext> service_;
    std::vector<PcscContext::ReaderState> states_;
    Picture seen_;
    std::deque<Event> events_;
    std::atomic<bool> cancelled_ = false;
};

}  // namespace zelmocrd

#endif
