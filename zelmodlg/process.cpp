#include "zelmodlg/process.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace zelmodlg {

namespace {

/// For a program to end by itself once its input has ended, and once it has been asked to.
constexpr int patience = 500;

/// What the child does until it is the program. The process may have other threads, so nothing in here may take memory
/// or locks.
[[noreturn]] void becomeProgram(const char *path, int channel, int nowhere, pid_t parent) {
    // A program that outlives the host goes on drawing over the terminal. The host may be gone already.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent)
        _exit(127);
    // A host may ignore or block these; the program is to have them all the same.
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGCHLD, SIGALRM})
        ::signal(signal, SIG_DFL);
    // A program that goes on after a stop does not always switch the echo off again.
    ::signal(SIGTSTP, SIG_IGN);
    // Higher copies first: the descriptors themselves may be any, the three standard ones among them.
    const int input = fcntl(channel, F_DUPFD, STDERR_FILENO + 1);
    const int error = fcntl(nowhere, F_DUPFD, STDERR_FILENO + 1);
    if (dup2(input, STDIN_FILENO) < 0 || dup2(input, STDOUT_FILENO) < 0 || dup2(error, STDERR_FILENO) < 0)
        _exit(127);
    closefrom(STDERR_FILENO + 1);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    char *const arguments[] = {const_cast<char *>(path), nullptr};
    execve(path, arguments, environ);
    _exit(127);
}

}  // namespace

Process::Process(const std::string &path, int channel) {
    const pid_t parent = getpid();
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    // No handler of the host may run in the child.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pid_ = fork();
    if (pid_ == 0)
        becomeProgram(path.c_str(), channel, nowhere, parent);
    const int error = errno;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    close(nowhere);
    if (pid_ < 0)
        throw std::system_error(error, std::generic_category());
}

Process::~Process() {
    if (goneWithin(patience))
        return;
    kill(pid_, SIGTERM);
    kill(pid_, SIGCONT);
    if (goneWithin(patience))
        return;
    kill(pid_, SIGKILL);
    while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
}

bool Process::goneWithin(int milliseconds) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    for (;;) {
        const pid_t gone = waitpid(pid_, nullptr, WNOHANG);
        // A host that waits for any child may have been faster; then the process is no more either.
        if (gone == pid_ || (gone < 0 && errno != EINTR))
            return true;
        if (Clock::now() >= end)
            return false;
        poll(nullptr, 0, 2);
    }
}

}  // namespace zelmodlg
