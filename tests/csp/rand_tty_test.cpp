// Random octets from key strokes. The terminal is the test's own: what is done with it and shown on it becomes one
// text, in its order. The clock is set, so that the result can be told in advance.
#include <cerrno>
#include <deque>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <openssl/sha.h>
#include <sys/time.h>
#include <termios.h>

#include "csp/csp_support.h"
#include "support/alloc_fault.h"

namespace {

using namespace zelmo_test;

constexpr int file = 0x7E57;
constexpr tcflag_t busy_input = ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXOFF,
                   busy_local = ISIG | ICANON | ECHO | TOSTOP | IEXTEN;
/// What a read gives in the place of a key: nothing yet, an interruption, the end.
enum : int { nothing = 256, interrupted = 257, hung_up = 258 };

struct Terminal {
    std::string log = {};        ///< "<event>"s and what was shown.
    std::deque<int> keys = {};   ///< What is typed next; the terminal goes away behind the last.
    bool there = true;           ///< Whether there is one at all.
    int attributes_to_fail = 0;  ///< Which setting of attributes fails; 0 for none.
    int clock_calls = 0;
    termios attributes = {};
};
Terminal *terminal = nullptr;  ///< Null while the process has its own.

bool same(const termios &a, const termios &b) {
    return a.c_iflag == b.c_iflag && a.c_oflag == b.c_oflag && a.c_cflag == b.c_cflag && a.c_lflag == b.c_lflag &&
           std::equal(std::begin(a.c_cc), std::end(a.c_cc), std::begin(b.c_cc));
}

/// Everything is switched on that keeps keys from coming through as they are.
termios busy() {
    termios attributes = {};
    attributes.c_iflag = busy_input | IGNPAR;
    attributes.c_oflag = OPOST | ONLCR;
    attributes.c_cflag = CS8 | CREAD | B38400;
    attributes.c_lflag = busy_local | ECHOE;
    attributes.c_cc[VTIME] = 7;
    attributes.c_cc[VINTR] = 3;
    return attributes;
}

std::string name_of(const termios &attributes) {
    if (same(attributes, busy()))
        return "restored";
    termios raw = busy();
    raw.c_iflag = IGNPAR;
    raw.c_oflag = ONLCR;
    raw.c_lflag = ECHOE;
    raw.c_cc[VTIME] = 0;
    raw.c_cc[VMIN] = attributes.c_cc[VMIN];
    return same(attributes, raw) ? "raw " + std::to_string(raw.c_cc[VMIN]) : "strange attributes";
}

/// Steps of all sizes, some of them backwards in their microseconds.
timeval time_of_call(int call) {
    return {1000 + call / 3, call * 377777 % 1000000};
}

struct Outcome {
    uint32_t result;
    Octets octets;
    std::string prompt, log;
};

Outcome collect(uint32_t length, Terminal own, unsigned failing_allocation = 0) {
    Outcome outcome = {0, Octets(64), "", ""};
    Bytestring out = {length, outcome.octets.data()};
    own.attributes = busy();
    own.keys.push_back(hung_up);
    testing::internal::CaptureStderr();
    terminal = &own;
    if (failing_allocation != 0)
        alloc_fault_arm(failing_allocation, true);
    outcome.result = CSP_RNG_get_dev_tty(&out);
    alloc_fault_disarm();
    terminal = nullptr;
    outcome.prompt = testing::internal::GetCapturedStderr();
    outcome.log = own.log;
    return outcome;
}

std::string prompt(uint64_t keys) {
    return "I need " + std::to_string(keys) +
           " characters as input for the random number generation.\n"
           "Please hit some keys (regardless which).\n";
}

std::string counter(uint32_t number) {
    char text[16];
    snprintf(text, sizeof text, "\b\b\b\b%4u", number);
    return {text, 8};  // greater numbers lose their last digits
}

/// Up to the first key, which just starts the clock.
std::string head(uint32_t strokes) {
    return "<open>\n\rNumber of keys still to go:     " + counter(strokes + 1) + "<flush><raw 1>";
}
const std::string thanks = "\a\n\rThank you, that was enough!\r\n\n<sleep 1>";

Octets condensed(uint32_t length) {
    Octets output;
    for (int call = 0; output.size() < length;) {
        const size_t run = std::min<size_t>(20, length - output.size());
        Octets block(20), digest(20);
        for (size_t i = 0; i < run; ++i, ++call) {
            const timeval from = time_of_call(call), to = time_of_call(call + 1);
            block[i] = static_cast<uint8_t>((to.tv_sec - from.tv_sec) * 1000000 + to.tv_usec - from.tv_usec);
        }
        SHA1(block.data(), block.size(), digest.data());
        output = output + part(digest, 0, run);
    }
    return output;
}

/// So many strokes behind a first key, and what is shown for them.
std::pair<std::deque<int>, std::string> typed(uint32_t strokes) {
    // The first two are taken though they follow an equal one that started the clock; the next three are not.
    std::deque<int> keys = {'a'};
    std::string log = "<a>" + counter(strokes) + "<flush><raw 0>";
    std::string taken;
    for (size_t i = 0; taken.size() < strokes; ++i) {
        const char key = "aaaaabbba\x03"[i % 10];
        keys.insert(keys.end(), {nothing, interrupted, key});
        log += std::string("<") + key + ">";
        if (taken.size() >= 2 && taken.back() == key && taken[taken.size() - 2] == key)
            continue;
        taken += key;
        log += counter(strokes - static_cast<uint32_t>(taken.size()));
    }
    return {keys, log};
}

TEST(DevTty, CountsAndCondensesKeyStrokes) {
    for (const auto &[length, strokes] : {std::pair(20u, 20u), {21u, 40u}, {1u, 20u}, {0u, 0u}, {UINT32_MAX, 0u}}) {
        const auto [keys, log] = typed(strokes);
        const Outcome outcome = collect(length, {.keys = keys});
        EXPECT_EQ(outcome.prompt, prompt(strokes + 1));
        EXPECT_EQ(outcome.log, head(strokes) + log + thanks + "<flush><restored><close>");
        if (length > outcome.octets.size()) {
            EXPECT_EQ(outcome.result, CSP_ERR_ENTROPY) << "the count of strokes has wrapped";
            continue;
        }
        EXPECT_EQ(outcome.result, 0u);
        EXPECT_EQ(outcome.octets, condensed(length) + Octets(64 - length));
    }
}

TEST(DevTty, GreatCountersLoseTheirLastDigits) {
    const Outcome outcome = collect(9981, {.keys = {'a', 'b'}});
    EXPECT_EQ(outcome.prompt, prompt(10001));
    EXPECT_EQ(outcome.log, head(10000) + "<a>\b\b\b\b1000<flush><raw 0><b>\b\b\b\b9999<flush><restored><close>");
}

TEST(DevTty, Failures) {
    const auto [keys, log] = typed(20);
    const struct {
        const char *what;
        Terminal terminal;
        std::string log;
        unsigned allocation = 0;
    } rows[] = {
        {"no terminal", {.there = false}, ""},
        {"first setting",
         {.keys = keys, .attributes_to_fail = 1},
         "<open>\n\rNumber of keys still to go:     " + counter(21) + "<flush><close>"},
        {"second setting", {.keys = keys, .attributes_to_fail = 2}, head(20) + "<a>" + counter(20) + "<flush><close>"},
        {"third setting", {.keys = keys, .attributes_to_fail = 3}, head(20) + log + thanks + "<flush><close>"},
        {"gone before the first key", {}, head(20) + "<flush><restored><close>"},
        {"gone behind it", {.keys = {'a'}}, head(20) + "<a>" + counter(20) + "<flush><raw 0><flush><restored><close>"},
        {"no memory for strokes", {.keys = keys}, "", 1},
        {"no memory for a digest", {.keys = keys}, head(20) + log + thanks + "<flush><restored><close>", 2},
    };
    for (const auto &row : rows) {
        const Outcome outcome = collect(1, row.terminal, row.allocation);
        EXPECT_EQ(outcome.result, row.allocation != 0 ? CSP_ERR_MEMORY : CSP_ERR_ENTROPY) << row.what;
        EXPECT_EQ(outcome.log, row.log) << row.what;
        EXPECT_EQ(outcome.prompt, row.allocation == 1 ? "" : prompt(21)) << row.what;
        EXPECT_EQ(outcome.octets, Octets(64)) << row.what;
    }
    EXPECT_EQ(CSP_RNG_get_dev_tty(nullptr), CSP_ERR_PARAM);
}

}  // namespace

// ---- the process's own terminal and clock, or the test's ------------------------------------------------------------

#define REPLACE(result, name, parameters, arguments, ...) \
    extern "C" result __real_##name parameters;           \
    extern "C" result __wrap_##name parameters;           \
    extern "C" result __wrap_##name parameters {          \
        if (terminal == nullptr)                          \
            return __real_##name arguments;               \
        __VA_ARGS__                                       \
    }

REPLACE(int, open, (const char *path, int flags), (path, flags), {
    if (!terminal->there || std::string(path) != "/dev/tty" || (flags & O_ACCMODE) != O_RDWR)
        return -1;
    terminal->log += "<open>";
    return file;
})
REPLACE(int, close, (int opened), (opened), {
    terminal->log += opened == file ? "<close>" : "<close of another>";
    return 0;
})
REPLACE(ssize_t, write, (int to, const void *text, size_t length), (to, text, length), {
    if (to != file)
        return __real_write(to, text, length);
    terminal->log.append(static_cast<const char *>(text), length);
    return static_cast<ssize_t>(length);
})
REPLACE(ssize_t, read, (int from, void *buffer, size_t length), (from, buffer, length), {
    const int key = terminal->keys.front();
    errno = key == interrupted ? EINTR : EIO;
    if (key == hung_up)
        return 0;
    terminal->keys.pop_front();
    if (key >= nothing)
        return key == nothing ? 0 : -1;
    *static_cast<char *>(buffer) = static_cast<char>(key);
    terminal->log += std::string("<") + static_cast<char>(key) + ">";
    return from == file && length == 1 ? 1 : -1;
})
REPLACE(int, tcgetattr, (int of, termios *attributes), (of, attributes), {
    *attributes = terminal->attributes;
    return terminal->keys.front() == hung_up && terminal->keys.size() == 1 &&
                   terminal->log.find("<raw") != std::string::npos
               ? -1
               : 0;
})
REPLACE(int, tcflush, (int of, int queue), (of, queue), {
    terminal->log += queue == TCIFLUSH ? "<flush>" : "<flush of what is shown>";
    return 0;
})
REPLACE(int, tcsetattr, (int of, int when, const termios *attributes), (of, when, attributes), {
    if (terminal->attributes_to_fail != 0 && --terminal->attributes_to_fail == 0)
        return -1;
    terminal->attributes = *attributes;
    terminal->log += "<" + name_of(*attributes) + ">";
    return when == TCSANOW ? 0 : -1;
})
REPLACE(int, gettimeofday, (timeval * now, void *zone), (now, zone), {
    *now = time_of_call(terminal->clock_calls++);
    return 0;
})
REPLACE(unsigned, sleep, (unsigned seconds), (seconds), {
    terminal->log += "<sleep " + std::to_string(seconds) + ">";
    return 0;
})
