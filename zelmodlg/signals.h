// Signals as events: while a dialog is open, they must not end the process before the terminal is as it was.
#ifndef ZELMODLG_SIGNALS_H
#define ZELMODLG_SIGNALS_H

#include <csignal>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <vector>

namespace zelmodlg {

/// A signal that has come.
struct Caught {
    int signal;
    bool typed;  ///< By a key of the terminal, not by a process.
};

/// When a signal is caught.
enum class Catch {
    always,
    unlessIgnored,  ///< By the host.
    ifDeadly,       ///< Where it would end or stop the process.
};

struct WatchedSignal {
    int signal;
    Catch when;
};

/// Catches signals in whichever thread they arrive, until its end. A signal is watched by one watch at a time. Throws
/// std::system_error.
class SignalWatch {
  public:
    explicit SignalWatch(std::initializer_list<WatchedSignal> signals);
    SignalWatch(const SignalWatch &) = delete;
    SignalWatch &operator=(const SignalWatch &) = delete;
    ~SignalWatch();

    /// Becomes readable when a signal has come.
    int descriptor() const {
        return pipe_[0];
    }
    /// The next signal that has come; none when there is no more.
    std::optional<Caught> take();
    /// Puts the dispositions back; what has come until then can still be taken.
    void stop();

  private:
    void watch(const WatchedSignal &wanted);

    struct Replaced {
        int signal;
        struct sigaction before;
    };
    int pipe_[2] = {-1, -1};
    std::vector<Replaced> replaced_;
};

/// The signals that end a dialog, for the time of one call. An interrupt that was typed is an answer, even to a host
/// that ignores interrupts.
class Interruptions {
  public:
    /// @param passOn  receives, at the latest at the end, the signals that the host still has to get: bit n for signal
    /// n
    explicit Interruptions(uint64_t &passOn);
    Interruptions(const Interruptions &) = delete;
    Interruptions &operator=(const Interruptions &) = delete;
    ~Interruptions();

    /// Becomes readable when ended() may have become true.
    int descriptor() const {
        return watch_.descriptor();
    }
    /// Whether a signal has ended the dialog.
    bool ended();
    /// The same, after waiting for a signal that may be on its way in another thread.
    bool endedSoon();

  private:
    const bool interruptIgnored_;
    SignalWatch watch_;
    uint64_t &passOn_;
    bool ended_ = false;
};

/// Sends this process the signals in `signals`, bit n for signal n, lowest first.
void raiseAll(uint64_t signals);

}  // namespace zelmodlg

#endif
