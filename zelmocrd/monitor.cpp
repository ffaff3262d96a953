#include "zelmocrd/monitor.h"

#include <algorithm>
#include <thread>

#include "zelmocrd/error.h"
#include "zelmocrd/readers.h"

namespace zelmocrd {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// How long it takes at most until a virtual card, the start of the service or a cancellation is noticed.
constexpr milliseconds lookingTime(200);

constexpr unsigned changesShift = 16;

}  // namespace

// A service that is not there has no readers, and may come.
Monitor::Picture Monitor::look() {
    Picture picture;
    states_.clear();
    try {
        if (service_ == nullptr)
            service_ = std::make_unique<PcscContext>();
        for (const std::string &reader : service_->readerNames()) {
            states_.push_back(service_->stateOf(reader));
            const unsigned long state = states_.back().state;
            picture[reader] = {(state & SCARD_STATE_PRESENT) != 0, state >> changesShift};
        }
    } catch (const ServiceError &) {
        states_.clear();
        service_.reset();
    }
    for (const std::string &reader : virtualReaderNames())
        picture[reader] = {true, 0};
    return picture;
}

void Monitor::compare(const Picture &now) {
    for (const auto &[reader, was] : seen_) {
        const auto found = now.find(reader);
        const bool stays = found != now.end();
        if (was.card && (!stays || !found->second.card || found->second.changes != was.changes))
            events_.push_back({ZELMOCRD_CARD_REMOVED, reader});
        if (!stays)
            events_.push_back({ZELMOCRD_READER_REMOVED, reader});
    }
    for (const auto &[reader, is] : now) {
        const auto found = seen_.find(reader);
        const bool known = found != seen_.end();
        if (!known)
            events_.push_back({ZELMOCRD_READER_ADDED, reader});
        if (is.card && (!known || !found->second.card || found->second.changes != is.changes))
            events_.push_back({ZELMOCRD_CARD_INSERTED, reader});
    }
}

void Monitor::wait(milliseconds time) {
    if (service_ == nullptr)
        return std::this_thread::sleep_for(time);
    try {
        service_->waitForChange(states_, time);
    } catch (const ServiceError &) {
        service_.reset();
    }
}

std::optional<Monitor::Event> Monitor::next(milliseconds time) {
    const bool endless = time.count() < 0;
    const Clock::time_point end = Clock::now() + std::max(time, milliseconds(0));
    while (events_.empty()) {
        if (cancelled_.exchange(false))
            throw ServiceError(code::cancelled);
        Picture now = look();
        compare(now);
        seen_ = std::move(now);
        const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now());
        if (!events_.empty())
            break;
        if (!endless && left.count() <= 0)
            return std::nullopt;
        wait(endless ? lookingTime : std::min(left, lookingTime));
    }
    Event event = events_.front();
    events_.pop_front();
    return event;
}

}  // namespace zelmocrd
