// Dialogs on the controlling terminal, without another program.
#ifndef ZELMODLG_TERMINAL_H
#define ZELMODLG_TERMINAL_H

#include <string>
#include <string_view>

#include "zelmodlg/dialog.h"
#include "zelmodlg/signals.h"
#include "zelmodlg/terminal_modes.h"

namespace zelmodlg {

/// The terminal shows the text and reads a line, for a secret with echo off. Ctrl-C and the end of input cancel. Ctrl-Z
/// stops the process with the terminal put right; when it goes on, the question is shown again.
class Terminal final : public Dialog {
  public:
    explicit Terminal(Interruptions &interruptions);

    Outcome askSecret(const Question &question, Secret &answer) override;
    Outcome tell(const Notice &notice) override;
    Outcome confirm(const Notice &notice) override;
    /// Asks for a line that is shown while it is typed.
    Outcome askLine(std::string_view text, Secret &line);
    /// Writes `text` and does not wait.
    Outcome write(std::string_view text);

  private:
    enum class Echo { off, on };
    enum class Step { read, cancelled, broken, stopped };

    Outcome read(const std::string &intro, Echo echo, Secret &line);
    Step readOnce(const std::string &intro, Echo echo, Secret &line);
    Step readLine(SignalWatch &jobControl, Secret &line);
    termios askingModes(Echo echo) const;
    bool writeAll(std::string_view text) const;

    Interruptions &interruptions_;
    ControllingTerminal terminal_;
    std::string charset_;
};

}  // namespace zelmodlg

#endif
