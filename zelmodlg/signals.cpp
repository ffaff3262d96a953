#include "zelmodlg/signals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <system_error>
#include <unistd.h>

namespace zelmodlg {

namespace {

/// Where the handler reports each signal: a descriptor plus one, 0 for nowhere.
constinit std::array<std::atomic<int>, 32> reports{};
/// Handlers at work, in all threads: a pipe must not be closed under one.
constinit std::atomic<int> handlersRunning = 0;

void onSignal(int signal, siginfo_t *info, void *) {
    const int error = errno;
    ++handlersRunning;
    const int report = reports[static_cast<size_t>(signal)] - 1;
    if (report >= 0) {
        const Caught caught = {signal, info != nullptr && info->si_code == SI_KERNEL};
        // A full pipe holds enough to end the dialog.
        [[maybe_unused]] const ssize_t written = write(report, &caught, sizeof caught);
    }
    --handlersRunning;
    errno = error;
}

bool isOurs(const struct sigaction &action) {
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == onSignal;
}

bool isDefault(const struct sigaction &action) {
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_DFL;
}

bool isIgnored(const struct sigaction &action) {
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_IGN;
}

bool isIgnored(int signal) {
    struct sigaction action;
    return sigaction(signal, nullptr, &action) == 0 && isIgnored(action);
}

}  // namespace

SignalWatch::SignalWatch(std::initializer_list<WatchedSignal> signals) {
    replaced_.reserve(signals.size());
    if (pipe2(pipe_, O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::system_error(errno, std::generic_category());
    for (const WatchedSignal &wanted : signals)
        watch(wanted);
}

SignalWatch::~SignalWatch() {
    stop();
    close(pipe_[0]);
    close(pipe_[1]);
}

void SignalWatch::stop() {
    for (const Replaced &replaced : replaced_) {
        struct sigaction now;
        // Whoever has set another handler meanwhile keeps it.
        if (sigaction(replaced.signal, nullptr, &now) == 0 && isOurs(now))
            sigaction(replaced.signal, &replaced.before, nullptr);
        reports[static_cast<size_t>(replaced.signal)] = 0;
    }
    replaced_.clear();
    while (handlersRunning != 0)
        sched_yield();
}

void SignalWatch::watch(const WatchedSignal &wanted) {
    Replaced replaced = {wanted.signal, {}};
    if (sigaction(wanted.signal, nullptr, &replaced.before) != 0 ||
        (wanted.when == Catch::unlessIgnored && isIgnored(replaced.before)) ||
        (wanted.when == Catch::ifDeadly && !isDefault(replaced.before)))
        return;
    struct sigaction action = {};
    action.sa_sigaction = onSignal;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigfillset(&action.sa_mask);
    reports[static_cast<size_t>(wanted.signal)] = pipe_[1] + 1;
    sigaction(wanted.signal, &action, nullptr);
    replaced_.push_back(replaced);
}

std::optional<Caught> SignalWatch::take() {
    Caught caught;
    // Entries are written whole and are smaller than what a pipe takes at once.
    if (read(pipe_[0], &caught, sizeof caught) != sizeof caught)
        return std::nullopt;
    return caught;
}

Interruptions::Interruptions(uint64_t &passOn)
    : interruptIgnored_(isIgnored(SIGINT)),
      watch_({{SIGINT, Catch::always},
              {SIGTERM, Catch::unlessIgnored},
              {SIGHUP, Catch::unlessIgnored},
              {SIGQUIT, Catch::unlessIgnored},
              {SIGALRM, Catch::ifDeadly},
              {SIGUSR1, Catch::ifDeadly},
              {SIGUSR2, Catch::ifDeadly}}),
      passOn_(passOn) {}

Interruptions::~Interruptions() {
    // In this order no signal falls between.
    watch_.stop();
    ended();
}

bool Interruptions::ended() {
    while (const std::optional<Caught> caught = watch_.take()) {
        const bool answer = caught->signal == SIGINT && caught->typed;
        if (caught->signal == SIGINT && !answer && interruptIgnored_)
            continue;
        ended_ = true;
        if (!answer)
            passOn_ |= uint64_t{1} << caught->signal;
    }
    return ended_;
}

bool Interruptions::endedSoon() {
    if (!ended()) {
        pollfd event = {watch_.descriptor(), POLLIN, 0};
        poll(&event, 1, 100);
    }
    return ended();
}

void raiseAll(uint64_t signals) {
    for (int signal = 1; signal < 32; ++signal)
        if ((signals >> signal & 1) != 0)
            kill(getpid(), signal);
}

}  // namespace zelmodlg
