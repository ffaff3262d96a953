#include "zelmodlg/pinentry.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "zelmodlg/locked.h"
#include "zelmodlg/text.h"

namespace zelmodlg {

namespace {

using Clock = std::chrono::steady_clock;

/// For what needs no answer of the person.
constexpr std::chrono::seconds patience{20};

/// A descriptor until it has been handed on.
class Descriptor {
  public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor() {
        if (descriptor_ >= 0)
            close(descriptor_);
    }
    int get() const {
        return descriptor_;
    }
    int release() {
        return std::exchange(descriptor_, -1);
    }

  private:
    int descriptor_;
};

int closeHook(assuan_context_t, assuan_fd_t descriptor) {
    return close(descriptor);
}

/// A program that has gone is an error, not a SIGPIPE to the host.
ssize_t writeHook(assuan_context_t, assuan_fd_t descriptor, const void *buffer, size_t size) {
    return send(descriptor, buffer, size, MSG_NOSIGNAL);
}

gpg_error_t appendAnswer(void *answer, const void *octets, size_t size) {
    if (answer != nullptr)
        static_cast<Secret *>(answer)->append({static_cast<const char *>(octets), size});
    return 0;
}

/// A program may ask something in between, such as how good a new PIN is; it gets an empty answer.
gpg_error_t noAnswer(void *, const char *) {
    return 0;
}

/// The first of the variables with a value.
std::string firstSet(std::initializer_list<const char *> names) {
    for (const char *name : names) {
        const char *value = secure_getenv(name);
        if (value != nullptr && *value != '\0')
            return value;
    }
    return {};
}

/// Values of options are not escaped.
bool fitsOption(const std::string &value) {
    return !value.empty() && value.size() < 200 &&
           std::none_of(value.begin(), value.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; });
}

}  // namespace

Pinentry::Pinentry(const std::string &path, Interruptions &interruptions)
    : interruptions_(interruptions), context_(newContext(*this)) {
    try {
        connect(path);
    } catch (const std::system_error &) {
        connected_ = false;
    }
}

Pinentry::Context Pinentry::newContext(Pinentry &owner) {
    // What is typed passes through libassuan's buffers, so they are locked and overwritten as well.
    static assuan_malloc_hooks memory = {lockedAllocate, lockedReallocate, lockedFree};
    static assuan_system_hooks system = {
        ASSUAN_SYSTEM_HOOKS_VERSION,
        __assuan_usleep,
        __assuan_pipe,
        closeHook,
        readHook,
        writeHook,
        __assuan_recvmsg,
        __assuan_sendmsg,
        __assuan_spawn,
        __assuan_waitpid,
        __assuan_socketpair,
        __assuan_socket,
        __assuan_connect,
    };
    assuan_context_t context = nullptr;
    if (assuan_new_ext(&context, GPG_ERR_SOURCE_USER_1, &memory, nullptr, nullptr) != 0)
        return {nullptr, assuan_release};
    assuan_ctx_set_system_hooks(context, &system);
    // Not even where ASSUAN_DEBUG or the host says so.
    assuan_set_flag(context, ASSUAN_NO_LOGGING, 1);
    assuan_set_flag(context, ASSUAN_NO_FIXSIGNALS, 1);
    assuan_begin_confidential(context);
    assuan_set_pointer(context, &owner);
    return {context, assuan_release};
}

ssize_t Pinentry::readHook(assuan_context_t context, assuan_fd_t descriptor, void *buffer, size_t size) {
    const auto &owner = *static_cast<Pinentry *>(assuan_get_pointer(context));
    for (;;) {
        if (owner.interruptions_.ended()) {
            errno = ECANCELED;
            return -1;
        }
        int wait = -1;
        if (owner.deadline_) {
            using std::chrono::milliseconds;
            const auto left = std::chrono::duration_cast<milliseconds>(*owner.deadline_ - Clock::now());
            wait = static_cast<int>(std::max(left, milliseconds(0)).count());
        }
        pollfd events[] = {{descriptor, POLLIN, 0}, {owner.interruptions_.descriptor(), POLLIN, 0}};
        const int ready = poll(events, 2, wait);
        if (ready == 0) {
            errno = ETIMEDOUT;
            return -1;
        }
        if (ready < 0 && errno != EINTR)
            return -1;
        if (ready > 0 && events[0].revents != 0)
            return read(descriptor, buffer, size);
    }
}

void Pinentry::connect(const std::string &path) {
    if (context_ == nullptr)
        return;
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        throw std::system_error(errno, std::generic_category());
    Descriptor ours(ends[0]);
    {
        const Descriptor theirs(ends[1]);
        process_.emplace(path, theirs.get());
    }
    deadline_ = Clock::now() + patience;
    // From here on the descriptor is libassuan's, also when this fails.
    connected_ = assuan_socket_connect_fd(context_.get(), ours.release(), 0) == 0;
    if (connected_)
        setOptions();
}

void Pinentry::setOptions() {
    const auto set = [this](const char *name, const std::string &value) {
        // A program that does not know an option does without it.
        if (fitsOption(value))
            command("OPTION " + std::string(name) + "=" + value);
    };
    if (terminal_) {
        // The program shares the controlling terminal, which has this name for it as well.
        set("ttyname", "/dev/tty");
        set("ttytype", firstSet({"TERM"}));
    }
    set("lc-ctype", firstSet({"LC_ALL", "LC_CTYPE", "LANG"}));
    set("lc-messages", firstSet({"LC_ALL", "LC_MESSAGES", "LANG"}));
    command("SETOK OK");
    command("SETCANCEL Cancel");
}

bool Pinentry::command(const std::string &line) {
    deadline_ = Clock::now() + patience;
    return transact(line.c_str(), nullptr) == 0;
}

Outcome Pinentry::ask(const char *line, Secret *answer) {
    deadline_.reset();
    const gpg_error_t error = transact(line, answer);
    if (error == 0)
        return Outcome::done;
    const gpg_err_code_t code = gpg_err_code(error);
    if (code == GPG_ERR_CANCELED || code == GPG_ERR_FULLY_CANCELED || code == GPG_ERR_NOT_CONFIRMED)
        return Outcome::cancelled;
    connected_ = false;
    // A program at the terminal gets the same interrupt, and may just end.
    return interruptions_.endedSoon() ? Outcome::cancelled : Outcome::broken;
}

gpg_error_t Pinentry::transact(const char *line, Secret *answer) {
    return assuan_transact(context_.get(), line, appendAnswer, answer, noAnswer, nullptr, nullptr, nullptr);
}

Outcome Pinentry::askSecret(const Question &question, Secret &answer) {
    answer.clear();
    const bool shown = connected_ && command("SETDESC " + percentEscaped(question.text)) &&
                       command("SETPROMPT " + percentEscaped(question.field)) &&
                       (question.complaint.empty() || command("SETERROR " + percentEscaped(question.complaint)));
    return shown ? ask("GETPIN", &answer) : Outcome::broken;
}

bool Pinentry::describe(const Notice &notice) {
    // Programs for terminals have no place for a title, so it is part of the text as well.
    std::string text(notice.title);
    if (!text.empty())
        text += "\n\n";
    text += notice.text;
    return connected_ && command("SETTITLE " + percentEscaped(notice.title)) &&
           command("SETDESC " + percentEscaped(text));
}

Outcome Pinentry::tell(const Notice &notice) {
    return describe(notice) ? ask("MESSAGE") : Outcome::broken;
}

Outcome Pinentry::confirm(const Notice &notice) {
    return describe(notice) ? ask("CONFIRM") : Outcome::broken;
}

}  // namespace zelmodlg
