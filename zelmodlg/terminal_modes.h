// The controlling terminal, and its modes as they were.
#ifndef ZELMODLG_TERMINAL_MODES_H
#define ZELMODLG_TERMINAL_MODES_H

#include <termios.h>

namespace zelmodlg {

/// The controlling terminal, open for as long as the object lives. Whatever happens to the terminal's modes meanwhile,
/// they are put back at the end, unless this process is in the background then.
class ControllingTerminal {
  public:
    ControllingTerminal();
    ControllingTerminal(const ControllingTerminal &) = delete;
    ControllingTerminal &operator=(const ControllingTerminal &) = delete;
    ~ControllingTerminal();

    /// Whether there is one.
    explicit operator bool() const {
        return descriptor_ >= 0;
    }
    int descriptor() const {
        return descriptor_;
    }
    /// The modes that are put back.
    const termios &modes() const {
        return modes_;
    }
    /// Takes the present modes for those to be put back; false when the terminal is lost.
    bool remember();
    /// Sets modes, and drops what has been typed ahead; false when the terminal does not take them.
    bool change(const termios &modes);
    /// Puts the modes back, where they differ and this process is in the foreground.
    void restore();

  private:
    int descriptor_;
    termios modes_ = {};
};

}  // namespace zelmodlg

#endif
