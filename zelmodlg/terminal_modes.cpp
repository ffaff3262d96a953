#include "zelmodlg/terminal_modes.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <iterator>
#include <unistd.h>

namespace zelmodlg {

namespace {

bool same(const termios &a, const termios &b) {
    return a.c_iflag == b.c_iflag && a.c_oflag == b.c_oflag && a.c_cflag == b.c_cflag && a.c_lflag == b.c_lflag &&
           std::equal(std::begin(a.c_cc), std::end(a.c_cc), std::begin(b.c_cc));
}

}  // namespace

ControllingTerminal::ControllingTerminal() : descriptor_(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (descriptor_ >= 0 && !remember()) {
        close(descriptor_);
        descriptor_ = -1;
    }
}

ControllingTerminal::~ControllingTerminal() {
    if (descriptor_ < 0)
        return;
    restore();
    close(descriptor_);
}

bool ControllingTerminal::remember() {
    return tcgetattr(descriptor_, &modes_) == 0;
}

bool ControllingTerminal::change(const termios &modes) {
    int result;
    // In the background this stops the process until it is in the foreground again.
    while ((result = tcsetattr(descriptor_, TCSAFLUSH, &modes)) != 0 && errno == EINTR) {
    }
    return result == 0;
}

void ControllingTerminal::restore() {
    termios now;
    // In the background the modes are the shell's or another program's.
    if (tcgetattr(descriptor_, &now) != 0 || same(now, modes_) || tcgetpgrp(descriptor_) != getpgrp())
        return;
    // Should that change right now, the process must not be stopped in here.
    sigset_t stop, before;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTTOU);
    pthread_sigmask(SIG_BLOCK, &stop, &before);
    change(modes_);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace zelmodlg
