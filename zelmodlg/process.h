// A program that is talked to over its standard input and output.
#ifndef ZELMODLG_PROCESS_H
#define ZELMODLG_PROCESS_H

#include <string>
#include <sys/types.h>

namespace zelmodlg {

/// A child process; it is gone at the latest when its object is, and when the thread that made it ends.
class Process {
  public:
    /// Starts the program at `path` without arguments, its standard input and output being `channel` and its standard
    /// error /dev/null. It inherits no other descriptor, no blocked signal, and the environment as it is; it is not
    /// stopped by Ctrl-Z. A program that cannot be run ends at once. Throws std::system_error.
    Process(const std::string &path, int channel);
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;
    /// Waits for the end; a program that takes too long is first asked and then made to end.
    ~Process();

  private:
    /// Whether the process is gone, after waiting for that long at most.
    bool goneWithin(int milliseconds);

    pid_t pid_ = -1;
};

}  // namespace zelmodlg

#endif
