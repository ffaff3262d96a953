#include "zelmodlg/process.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace zelmodlg {

namespace {

/// For a program to end by itself once its input has ended, and once it has been asked to.
constexpr int patience = 1000;

void check(int error) {
    if (error != 0)
        throw std::system_error(error, std::generic_category());
}

class FileActions {
  public:
    explicit FileActions(int channel) {
        check(posix_spawn_file_actions_init(&actions_));
        try {
            check(posix_spawn_file_actions_adddup2(&actions_, channel, STDIN_FILENO));
            // By now the first copy: `channel` itself may be any descriptor, these three among them.
            check(posix_spawn_file_actions_adddup2(&actions_, STDIN_FILENO, STDOUT_FILENO));
            check(posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0));
            check(posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));
        } catch (...) {
            posix_spawn_file_actions_destroy(&actions_);
            throw;
        }
    }
    FileActions(const FileActions &) = delete;
    FileActions &operator=(const FileActions &) = delete;
    ~FileActions() {
        posix_spawn_file_actions_destroy(&actions_);
    }
    const posix_spawn_file_actions_t *get() const {
        return &actions_;
    }

  private:
    posix_spawn_file_actions_t actions_;
};

class Attributes {
  public:
    Attributes() {
        check(posix_spawnattr_init(&attributes_));
        sigset_t none, usual;
        sigemptyset(&none);
        sigemptyset(&usual);
        // A host may ignore these; the program is to have them all the same.
        for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGCHLD, SIGALRM})
            sigaddset(&usual, signal);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &usual);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    Attributes(const Attributes &) = delete;
    Attributes &operator=(const Attributes &) = delete;
    ~Attributes() {
        posix_spawnattr_destroy(&attributes_);
    }
    const posix_spawnattr_t *get() const {
        return &attributes_;
    }

  private:
    posix_spawnattr_t attributes_;
};

}  // namespace

Process::Process(const std::string &path, int channel) {
    const FileActions actions(channel);
    const Attributes attributes;
    char *const arguments[] = {const_cast<char *>(path.c_str()), nullptr};
    check(posix_spawn(&pid_, path.c_str(), actions.get(), attributes.get(), arguments, environ));
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
