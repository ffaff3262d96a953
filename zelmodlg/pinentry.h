// Dialogs by a pinentry program.
#ifndef ZELMODLG_PINENTRY_H
#define ZELMODLG_PINENTRY_H

#include <assuan.h>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "zelmodlg/dialog.h"
#include "zelmodlg/process.h"
#include "zelmodlg/signals.h"
#include "zelmodlg/terminal_modes.h"

namespace zelmodlg {

/// One run of a pinentry program, which is talked to by libassuan: lines such as "GETPIN" over its standard input and
/// output. Whatever the program does, short of waiting for the person, ends in Outcome::broken.
class Pinentry final : public Dialog {
  public:
    /// Starts the program; one that does not start, or does not keep to the protocol, is broken at the first question.
    Pinentry(const std::string &path, Interruptions &interruptions);

    Outcome askSecret(const Question &question, Secret &answer) override;
    Outcome tell(const Notice &notice) override;
    Outcome confirm(const Notice &notice) override;

  private:
    using Context = std::unique_ptr<assuan_context_s, void (*)(assuan_context_t)>;

    static Context newContext(Pinentry &owner);
    static ssize_t readHook(assuan_context_t context, assuan_fd_t descriptor, void *buffer, size_t size);

    void connect(const std::string &path);
    void setOptions();
    /// Sends a command and waits for its end; false when the program did not do it.
    bool command(const std::string &line);
    /// Shows title and text by the next question.
    bool describe(const Notice &notice);
    /// Sends a command that the person answers.
    Outcome ask(const char *line, Secret *answer = nullptr);
    gpg_error_t transact(const char *line, Secret *answer);

    Interruptions &interruptions_;
    /// The program is not stopped, so the host is not either.
    SignalWatch stops_{{SIGTSTP, Catch::unlessIgnored}};
    // In the order of their making: the conversation ends, then the program, and at last the terminal is put right.
    ControllingTerminal terminal_;
    std::optional<Process> process_;
    Context context_;
    bool connected_ = false;
    /// Until when the program has to answer; none while the person is being asked.
    std::optional<std::chrono::steady_clock::time_point> deadline_;
};

}  // namespace zelmodlg

#endif
