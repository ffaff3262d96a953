#include "zelmodlg/terminal.h"

#include <cerrno>
#include <csignal>
#include <poll.h>
#include <string.h>
#include <unistd.h>

#include "zelmodlg/text.h"

namespace zelmodlg {

Terminal::Terminal(Interruptions &interruptions) : interruptions_(interruptions), charset_(localCharset()) {}

Outcome Terminal::askSecret(const Question &question, Secret &answer) {
    std::string intro;
    for (const std::string_view line : {question.text, question.complaint})
        if (!line.empty())
            intro.append(line).append("\n");
    intro.append(question.field).append(" ");
    const Outcome outcome = read(intro, Echo::off, answer);
    fromCharset(answer, charset_);
    return outcome;
}

Outcome Terminal::tell(const Notice &notice) {
    std::string intro;
    for (const std::string_view line : {notice.title, notice.text})
        if (!line.empty())
            intro.append(line).append("\n");
    Secret line;
    return read(intro + "Press Enter. ", Echo::on, line);
}

Outcome Terminal::confirm(const Notice &notice) {
    Secret line;
    return read(std::string(notice.text) + "\nPress Enter, or Ctrl-C to cancel. ", Echo::on, line);
}

Outcome Terminal::askLine(std::string_view text, Secret &line) {
    return read(std::string(text), Echo::on, line);
}

Outcome Terminal::write(std::string_view text) {
    return terminal_ && writeAll(std::string(text) + "\n") ? Outcome::done : Outcome::broken;
}

Outcome Terminal::read(const std::string &intro, Echo echo, Secret &line) {
    if (!terminal_)
        return Outcome::broken;
    for (;;) {
        line.clear();
        switch (readOnce(intro, echo, line)) {
            case Step::read:
                return Outcome::done;
            case Step::cancelled:
                return Outcome::cancelled;
            case Step::broken:
                return Outcome::broken;
            case Step::stopped:
                break;
        }
    }
}

Terminal::Step Terminal::readOnce(const std::string &intro, Echo echo, Secret &line) {
    SignalWatch jobControl({{SIGTSTP, Catch::unlessIgnored}, {SIGCONT, Catch::unlessIgnored}});
    Step step = Step::broken;
    if (terminal_.remember() && terminal_.change(askingModes(echo)) && writeAll(intro))
        step = readLine(jobControl, line);
    // The line feed that was typed has not been shown, or none was typed.
    if (echo == Echo::off || step != Step::read)
        writeAll("\n");
    terminal_.restore();
    jobControl.stop();
    while (const std::optional<Caught> caught = jobControl.take())
        kill(getpid(), caught->signal);
    return step;
}

Terminal::Step Terminal::readLine(SignalWatch &jobControl, Secret &line) {
    for (;;) {
        pollfd events[] = {{terminal_.descriptor(), POLLIN, 0},
                           {interruptions_.descriptor(), POLLIN, 0},
                           {jobControl.descriptor(), POLLIN, 0}};
        if (poll(events, 3, -1) < 0 && errno != EINTR)
            return Step::broken;
        if (interruptions_.ended())
            return Step::cancelled;
        // Whoever goes on after a stop finds the terminal as the shell has left it, so the question begins anew.
        if (events[2].revents != 0)
            return Step::stopped;
        if (events[0].revents == 0)
            continue;
        char part[256];
        const ssize_t count = ::read(terminal_.descriptor(), part, sizeof part);
        if (count < 0 && errno != EINTR && errno != EAGAIN)
            return Step::broken;
        if (count == 0)
            return Step::cancelled;
        const std::string_view typed(part, static_cast<size_t>(std::max<ssize_t>(count, 0)));
        const size_t end = typed.find('\n');
        line.append(typed.substr(0, end));
        explicit_bzero(part, sizeof part);
        if (end != std::string_view::npos)
            return Step::read;
    }
}

termios Terminal::askingModes(Echo echo) const {
    // The host may have set modes of its own, such as raw ones.
    termios modes = terminal_.modes();
    modes.c_iflag |= ICRNL;
    modes.c_iflag &= ~static_cast<tcflag_t>(IGNCR | INLCR);
    modes.c_oflag |= OPOST | ONLCR;
    modes.c_lflag |= ICANON | ISIG | ECHO | ECHOE;
    if (echo == Echo::off)
        modes.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHOE | ECHONL);
    return modes;
}

bool Terminal::writeAll(std::string_view text) const {
    const std::string converted = toCharset(text, charset_);
    std::string_view rest = converted;
    while (!rest.empty()) {
        const ssize_t count = ::write(terminal_.descriptor(), rest.data(), rest.size());
        if (count < 0 && errno != EINTR)
            return false;
        rest.remove_prefix(static_cast<size_t>(std::max<ssize_t>(count, 0)));
    }
    return true;
}

}  // namespace zelmodlg
