#include "zelmodlg/conversation.h"

#include <mutex>
#include <pthread.h>

#include "zelmodlg/pinentry.h"
#include "zelmodlg/programs.h"
#include "zelmodlg/terminal.h"

namespace zelmodlg {

namespace {

constinit std::mutex oneAtATime;

/// A thread that is cancelled in here would leave the terminal as it is, and unwind into C.
class NoCancellation {
  public:
    NoCancellation() {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_);
    }
    NoCancellation(const NoCancellation &) = delete;
    NoCancellation &operator=(const NoCancellation &) = delete;
    ~NoCancellation() {
        pthread_setcancelstate(before_, nullptr);
    }

  private:
    int before_ = PTHREAD_CANCEL_ENABLE;
};

Outcome runAlone(const std::function<Outcome(Interruptions &)> &call, uint64_t &passOn) {
    try {
        const std::lock_guard alone(oneAtATime);
        Interruptions interruptions(passOn);
        const Outcome outcome = call(interruptions);
        return outcome == Outcome::broken && interruptions.ended() ? Outcome::cancelled : outcome;
    } catch (...) {
        return Outcome::broken;
    }
}

}  // namespace

Outcome withDialog(Interruptions &interruptions, const std::function<Outcome(Dialog &)> &talk) {
    const Programs programs = findPrograms();
    for (const std::string &path : programs.paths) {
        Pinentry pinentry(path, interruptions);
        const Outcome outcome = talk(pinentry);
        if (outcome != Outcome::broken || interruptions.ended())
            return outcome;
    }
    if (programs.named)
        return Outcome::broken;
    Terminal terminal(interruptions);
    return talk(terminal);
}

Outcome runFunction(const std::function<Outcome(Interruptions &)> &call) {
    const NoCancellation noCancellation;
    uint64_t passOn = 0;
    const Outcome outcome = runAlone(call, passOn);
    raiseAll(passOn);
    return outcome;
}

}  // namespace zelmodlg
