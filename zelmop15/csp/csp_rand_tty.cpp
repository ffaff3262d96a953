// Entropy from the user: the times between key strokes at the terminal.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

#include "csp/csp.h"
#include "runtime/owned.h"
#include "runtime/stdio_safe.h"
#include "runtime/wiped.h"

namespace {

constexpr uint32_t digest_length = 20;

struct KeyStroke {
    uint8_t key;
    uint32_t interval;  ///< Microseconds since the one before.
};

/// The key strokes that are asked for, overwritten at the end.
class KeyStrokes {
  public:
    explicit KeyStrokes(uint32_t count) : count_(count), strokes_(allocate<KeyStroke>(count)) {}
    KeyStrokes(const KeyStrokes &) = delete;
    KeyStrokes &operator=(const KeyStrokes &) = delete;
    ~KeyStrokes() {
        if (strokes_ != nullptr)
            explicit_bzero(strokes_.get(), taken_ * sizeof(KeyStroke));
    }
    [[nodiscard]] bool allocated() const {
        return strokes_ != nullptr;
    }
    [[nodiscard]] uint32_t count() const {
        return count_;
    }
    [[nodiscard]] uint32_t to_go() const {
        return count_ - taken_;
    }
    /// Whether the key is the one of both strokes before it: what a key held down gives from its third time on.
    [[nodiscard]] bool is_repeat(uint8_t key) const {
        return taken_ >= 2 && at(taken_ - 1).key == key && at(taken_ - 2).key == key;
    }
    void take(uint8_t key, uint32_t interval) {
        strokes_.get()[taken_++] = {key, interval};
    }
    [[nodiscard]] const KeyStroke &at(uint32_t index) const {
        return strokes_.get()[index];
    }

  private:
    uint32_t count_;
    uint32_t taken_ = 0;
    OwnedBlock<KeyStroke> strokes_;
};

/// The terminal of the process, with the attributes that it had.
class Terminal {
  public:
    Terminal() : file_(open("/dev/tty", O_RDWR | O_CLOEXEC)) {}
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;
    ~Terminal() {
        if (file_ >= 0)
            close(file_);
    }
    bool save() {
        return file_ >= 0 && tcgetattr(file_, &saved_) == 0;
    }
    bool restore() {
        return apply(saved_);
    }
    /// Hands over each key at once. `least` 1 waits for one, 0 does not.
    bool raw(cc_t least) {
        termios attributes = saved_;
        attributes.c_iflag &= ~static_cast<tcflag_t>(ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXOFF);
        attributes.c_oflag &= ~static_cast<tcflag_t>(OPOST);
        attributes.c_lflag &= ~static_cast<tcflag_t>(ISIG | ICANON | ECHO | TOSTOP | IEXTEN);
        attributes.c_cc[VMIN] = least;
        attributes.c_cc[VTIME] = 0;
        return apply(attributes);
    }
    /// Tries until there is a key. False when the terminal is gone, which alone looks like no key at all.
    bool read_key(uint8_t *key) {
        for (;;) {
            const ssize_t got = read(file_, key, 1);
            if (got == 1)
                return true;
            termios attributes;
            if ((got < 0 && errno != EINTR && errno != EAGAIN) || tcgetattr(file_, &attributes) != 0)
                return false;
        }
    }
    void show(const char *text, size_t length) {
        // What cannot be shown is not shown.
        [[maybe_unused]] const ssize_t written = write(file_, text, length);
    }
    void show(const char *text) {
        show(text, std::strlen(text));
    }
    /// Over the last four columns. Greater numbers lose their last digits: it is always eight octets.
    void show_counter(unsigned long number) {
        char text[32];
        sprintf_safeA(text, sizeof text, "\b\b\b\b%4lu", number);
        show(text, 8);
    }

  private:
    bool apply(const termios &attributes) {
        tcflush(file_, TCIFLUSH);
        return tcsetattr(file_, TCSANOW, &attributes) == 0;
    }

    int file_;
    termios saved_ = {};
};

uint32_t microseconds(const timeval &from, const timeval &to) {
    return static_cast<uint32_t>((to.tv_sec - from.tv_sec) * 1000000 + (to.tv_usec - from.tv_usec));
}

bool take_keys(Terminal &terminal, KeyStrokes &strokes) {
    timeval last;
    gettimeofday(&last, nullptr);
    while (strokes.to_go() > 0) {
        uint8_t key = 0;
        if (!terminal.read_key(&key))
            return false;
        if (strokes.is_repeat(key))
            continue;
        timeval now;
        gettimeofday(&now, nullptr);
        strokes.take(key, microseconds(last, now));
        last = now;
        terminal.show_counter(strokes.to_go());
    }
    return true;
}

/// One key more than there are strokes starts the clock.
bool collect(KeyStrokes &strokes) {
    Terminal terminal;
    if (!terminal.save())
        return false;
    terminal.show("\n\rNumber of keys still to go:     ");
    terminal.show_counter(strokes.count() + 1UL);
    uint8_t first = 0;
    if (!terminal.raw(1))
        return false;
    if (!terminal.read_key(&first)) {
        terminal.restore();
        return false;
    }
    terminal.show_counter(strokes.count());
    if (!terminal.raw(0))
        return false;
    const bool complete = take_keys(terminal, strokes);
    if (complete) {
        terminal.show("\a\n\rThank you, that was enough!\r\n\n");
        sleep(1);
    }
    return terminal.restore() && complete;
}

/// One digest for each run of output, over the low octets of as many intervals as the run has octets. The keys
/// themselves are not used: they are known to who looks on.
uint32_t condense(const KeyStrokes &strokes, Bytestring *out) {
    for (uint32_t at = 0; at < out->len;) {
        const uint32_t run = std::min(digest_length, out->len - at);
        WipedBuffer<digest_length> intervals;
        WipedBuffer<digest_length> digest;
        for (uint32_t i = 0; i < run; ++i)
            intervals.octets[i] = static_cast<uint8_t>(strokes.at(at + i).interval);
        const Bytestring text = {digest_length, intervals.octets};
        Bytestring condensed = {digest_length, digest.octets};
        if (const uint32_t failure = CSP_hash(nullptr, CSP_ALG_SHA1, &text, &condensed); failure != 0)
            return failure;
        std::memcpy(out->data + at, digest.octets, run);
        at += run;
    }
    return 0;
}

}  // namespace

extern "C" {

uint32_t CSP_RNG_get_dev_tty(Bytestring *out) {
    if (out == nullptr)
        return CSP_ERR_PARAM;
    KeyStrokes strokes((out->len + digest_length - 1) / digest_length * digest_length);
    if (!strokes.allocated())
        return CSP_ERR_MEMORY;
    std::fprintf(stderr,
                 "I need %lu characters as input for the random number generation.\n"
                 "Please hit some keys (regardless which).\n",
                 strokes.count() + 1UL);
    // The count wraps for the greatest lengths.
    if (!collect(strokes) || strokes.count() < out->len)
        return CSP_ERR_ENTROPY;
    return condense(strokes, out);
}
}
