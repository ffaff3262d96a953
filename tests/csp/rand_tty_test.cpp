// Random octets from key strokes, on a real pseudo-terminal: a child collects them, the test is its user. The child's
// clock is set, so that its result can be told in advance; and it does not really sleep.
#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <openssl/sha.h>
#include <poll.h>
#include <pty.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "csp/csp.h"
#include "support/alloc_fault.h"
#include "support/octets.h"

namespace {

bool fake_clock = false;
int clock_calls = 0;
unsigned slept = 0;
int attributes_to_fail = 0;  ///< Which setting of attributes fails; 0 for none.

/// Steps of all sizes, some of them backwards in their microseconds.
timeval time_of_call(int call) {
    return {1000 + call / 3, call * 377777 % 1000000};
}

struct Outcome {
    uint32_t result;
    unsigned slept;
    bool restored;
    uint8_t octets[64];
};

bool same(const termios &a, const termios &b) {
    return a.c_iflag == b.c_iflag && a.c_oflag == b.c_oflag && a.c_cflag == b.c_cflag && a.c_lflag == b.c_lflag &&
           memcmp(a.c_cc, b.c_cc, sizeof a.c_cc) == 0;
}

/// What the child does.
Outcome collect(uint32_t length, const std::function<void()> &prepare) {
    termios before = {};
    termios after = {};
    tcgetattr(0, &before);
    fake_clock = true;
    signal(SIGHUP, SIG_IGN);
    Outcome outcome = {};
    Bytestring out = {length, outcome.octets};
    prepare();
    outcome.result = CSP_RNG_get_dev_tty(&out);
    alloc_fault_disarm();
    tcgetattr(0, &after);
    outcome.slept = slept;
    outcome.restored = same(before, after);
    return outcome;
}

/// A terminal with everything switched on that keeps keys from coming through as they are.
termios busy_terminal() {
    termios attributes = {};
    attributes.c_iflag = ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXOFF;
    attributes.c_oflag = OPOST | ONLCR;
    attributes.c_cflag = CS8 | CREAD | B38400;
    attributes.c_lflag = ISIG | ICANON | ECHO | TOSTOP | IEXTEN;
    attributes.c_cc[VTIME] = 7;
    return attributes;
}

class User {
  public:
    explicit User(
        uint32_t length, const std::function<void()> &prepare = [] {}, termios attributes = busy_terminal()) {
        EXPECT_EQ(pipe(outcome_), 0);
        EXPECT_EQ(pipe(prompt_), 0);
        child_ = forkpty(&terminal_, nullptr, &attributes, nullptr);
        EXPECT_GE(child_, 0);
        if (child_ == 0) {
            alarm(60);
            dup2(prompt_[1], 2);
            const Outcome outcome = collect(length, prepare);
            _exit(write(outcome_[1], &outcome, sizeof outcome) == sizeof outcome ? 0 : 1);
        }
        close(outcome_[1]);
        close(prompt_[1]);
    }
    User(const User &) = delete;
    User &operator=(const User &) = delete;
    ~User() {
        hang_up();
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
        close(outcome_[0]);
        close(prompt_[0]);
    }
    void hang_up() {
        if (terminal_ >= 0)
            close(terminal_);
        terminal_ = -1;
    }
    /// Waits until keys come through at once, and for `least` of them at a time.
    void await_raw(cc_t least) const {
        termios now = {};
        for (int i = 0; i < 10000; ++i, usleep(1000))
            if (tcgetattr(terminal_, &now) == 0 && (now.c_lflag & ICANON) == 0 && now.c_cc[VMIN] == least)
                break;
        EXPECT_EQ(now.c_cc[VMIN], least);
        EXPECT_EQ(now.c_cc[VTIME], 0);
        EXPECT_EQ(now.c_iflag & (ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXOFF), 0u);
        EXPECT_EQ(now.c_oflag & OPOST, 0u);
        EXPECT_EQ(now.c_lflag & (ISIG | ICANON | ECHO | TOSTOP | IEXTEN), 0u);
    }
    void type(const std::string &keys) const {
        EXPECT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    void expect_shown(const std::string &text) const {
        EXPECT_EQ(receive(terminal_, text.size()), text);
    }
    void expect_counter(const char *number) const {
        expect_shown(std::string("\b\b\b\b") + number);
    }
    void expect_silence() const {
        pollfd ready = {terminal_, POLLIN, 0};
        EXPECT_EQ(poll(&ready, 1, 30), 0);
    }
    void expect_prompt(const std::string &text) const {
        EXPECT_EQ(receive(prompt_[0], text.size()), text);
    }
    [[nodiscard]] Outcome outcome() const {
        Outcome outcome = {};
        const std::string got = receive(outcome_[0], sizeof outcome);
        EXPECT_EQ(got.size(), sizeof outcome);
        memcpy(&outcome, got.data(), got.size());
        return outcome;
    }

  private:
    /// As many octets, unless they stay away for too long.
    static std::string receive(int file, size_t length) {
        std::string text;
        pollfd ready = {file, POLLIN, 0};
        char octet = 0;
        while (text.size() < length && poll(&ready, 1, 20000) == 1 && read(file, &octet, 1) == 1)
            text += octet;
        return text;
    }

    pid_t child_ = -1;
    int terminal_ = -1;
    int outcome_[2] = {-1, -1};
    int prompt_[2] = {-1, -1};
};

std::string four_columns(uint32_t number) {
    char text[12];
    snprintf(text, sizeof text, "%4u", number);
    return text;
}

/// Begins: the first key, which just starts the clock.
void start(const User &user, uint32_t strokes) {
    user.expect_prompt("I need " + std::to_string(strokes + 1) +
                       " characters as input for the random number generation.\n"
                       "Please hit some keys (regardless which).\n");
    // The terminal still puts a return before a line feed.
    user.expect_shown("\r\n\rNumber of keys still to go:     ");
    user.expect_counter(four_columns(strokes + 1).c_str());
    user.await_raw(1);
    user.type("a");
    user.expect_counter(four_columns(strokes).c_str());
    // It is over at once where no stroke is to follow.
    if (strokes > 0)
        user.await_raw(0);
}

void stroke(const User &user, const char *key, uint32_t &to_go) {
    user.type(key);
    user.expect_counter(four_columns(--to_go).c_str());
}

void type_the_rest(const User &user, uint32_t &to_go) {
    while (to_go > 0)
        stroke(user, to_go % 2 == 0 ? "x" : "\x03", to_go);
}

void expect_thanks(const User &user) {
    user.expect_shown("\a\n\rThank you, that was enough!\r\n\n");
}

Octets condensed(uint32_t length) {
    Octets output;
    for (int call = 0; output.size() < length;) {
        const size_t run = std::min<size_t>(20, length - output.size());
        Octets block(20);
        for (size_t i = 0; i < run; ++i, ++call) {
            const timeval from = time_of_call(call);
            const timeval to = time_of_call(call + 1);
            block[i] = static_cast<uint8_t>((to.tv_sec - from.tv_sec) * 1000000 + to.tv_usec - from.tv_usec);
        }
        Octets digest(20);
        SHA1(block.data(), block.size(), digest.data());
        digest.resize(run);
        output = output + digest;
    }
    return output;
}

class DevTty : public testing::TestWithParam<std::pair<uint32_t, uint32_t>> {};

TEST_P(DevTty, CountsAndCondensesKeyStrokes) {
    const auto [length, strokes] = GetParam();
    const User user(length);
    uint32_t to_go = strokes;
    start(user, strokes);
    if (to_go > 0) {
        // The first two are taken though they follow an equal one that started the clock; the next three are not.
        stroke(user, "a", to_go);
        stroke(user, "a", to_go);
        user.type("aaa");
        user.expect_silence();
        stroke(user, "b", to_go);
        stroke(user, "b", to_go);
        user.type("b");
        user.expect_silence();
        stroke(user, "a", to_go);
        type_the_rest(user, to_go);
    }
    expect_thanks(user);
    const Outcome outcome = user.outcome();
    EXPECT_EQ(outcome.slept, 1u);
    EXPECT_TRUE(outcome.restored);
    if (length > sizeof outcome.octets) {
        EXPECT_EQ(outcome.result, CSP_ERR_ENTROPY) << "the count of strokes has wrapped";
        return;
    }
    EXPECT_EQ(outcome.result, 0u);
    EXPECT_EQ(to_hex(outcome.octets, length), to_hex(condensed(length).data(), length));
    EXPECT_EQ(to_hex(outcome.octets + length, 64 - length), to_hex(Octets(64).data(), 64 - length));
}

INSTANTIATE_TEST_SUITE_P(Lengths, DevTty,
                         testing::Values(std::pair(20u, 20u), std::pair(21u, 40u), std::pair(1u, 20u),
                                         std::pair(0u, 0u), std::pair(UINT32_MAX, 0u)),
                         [](const auto &row) { return "Of" + std::to_string(row.param.first); });

TEST(DevTtyShow, CountersAlwaysTakeEightOctets) {
    const User user(9981);
    user.expect_shown("\r\n\rNumber of keys still to go:     ");
    user.expect_counter("1000");
    user.await_raw(1);
    user.type("a");
    user.expect_counter("1000");
    user.await_raw(0);
    uint32_t to_go = 10000;
    stroke(user, "a", to_go);
}

TEST(DevTtyShow, KeysThatWereThereBeforeDoNotCount) {
    termios attributes = busy_terminal();
    attributes.c_iflag = 0;
    const auto await_line = [] {
        pollfd ready = {0, POLLIN, 0};
        poll(&ready, 1, 20000);
    };
    const User user(1, await_line, attributes);
    user.type("old\n");
    user.expect_shown("old\r\n\r\n\rNumber of keys still to go:     ");
    user.expect_counter("  21");
    user.await_raw(1);
    user.expect_silence();
}

TEST(DevTtyFailures, NoTerminal) {
    const User user(1, [] {
        setsid();
        // A session of its own takes a child that does not lead its group.
        if (fork() != 0)
            pause();
        setsid();
    });
    user.expect_prompt("I need 21 characters");
    EXPECT_EQ(user.outcome().result, CSP_ERR_ENTROPY);
}

TEST(DevTtyFailures, SettingOfAttributes) {
    for (int n = 1; n <= 3; ++n) {
        const User user(1, [n] { attributes_to_fail = n; });
        uint32_t to_go = 20;
        if (n == 2) {
            user.await_raw(1);
            user.type("a");
        }
        if (n == 3) {
            start(user, to_go);
            type_the_rest(user, to_go);
            expect_thanks(user);
        }
        const Outcome outcome = user.outcome();
        EXPECT_EQ(outcome.result, CSP_ERR_ENTROPY) << n;
        EXPECT_EQ(outcome.restored, n == 1) << "the terminal stays as it stands";
        EXPECT_EQ(to_hex(outcome.octets, 64), to_hex(Octets(64).data(), 64));
    }
}

TEST(DevTtyFailures, TheTerminalGoesAway) {
    for (const bool later : {false, true}) {
        User user(1);
        if (later)
            start(user, 20);
        else
            user.await_raw(1);
        user.hang_up();
        EXPECT_EQ(user.outcome().result, CSP_ERR_ENTROPY);
    }
}

TEST(DevTtyFailures, ShortMemory) {
    const User none(1, [] { alloc_fault_arm(1, true); });
    EXPECT_EQ(none.outcome().result, CSP_ERR_MEMORY);
    const User no_digest(1, [] { alloc_fault_arm(2, true); });
    uint32_t to_go = 20;
    start(no_digest, to_go);
    type_the_rest(no_digest, to_go);
    expect_thanks(no_digest);
    EXPECT_EQ(no_digest.outcome().result, CSP_ERR_MEMORY);
    EXPECT_EQ(CSP_RNG_get_dev_tty(nullptr), CSP_ERR_PARAM);
}

}  // namespace

extern "C" {
int __real_gettimeofday(timeval *now, void *zone);
int __real_tcsetattr(int file, int when, const termios *attributes);
int __wrap_gettimeofday(timeval *now, void *zone);
int __wrap_tcsetattr(int file, int when, const termios *attributes);
unsigned __wrap_sleep(unsigned seconds);

int __wrap_gettimeofday(timeval *now, void *zone) {
    if (!fake_clock)
        return __real_gettimeofday(now, zone);
    *now = time_of_call(clock_calls++);
    return 0;
}

int __wrap_tcsetattr(int file, int when, const termios *attributes) {
    return attributes_to_fail != 0 && --attributes_to_fail == 0 ? -1 : __real_tcsetattr(file, when, attributes);
}

unsigned __wrap_sleep(unsigned seconds) {
    slept += seconds;
    return 0;
}
}
