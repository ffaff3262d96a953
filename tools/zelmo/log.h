// The logs that run beside a command.
#ifndef ZELMO_LOG_H
#define ZELMO_LOG_H

#include <cstdio>
#include <memory>
#include <string>

namespace zelmo {

/// The token library's log and ASN.1 trace, open while this lives.
class Log {
  public:
    /// `log` is LEVEL or LEVEL:FILE, empty for none; a level is a number from 0 to 7 or a name. Lines go to stderr or
    /// are appended to the file. With `trace` the ASN.1 trace goes to stderr. Throws Failure.
    Log(const std::string &log, bool trace);
    ~Log();
    Log(const Log &) = delete;
    Log &operator=(const Log &) = delete;

  private:
    struct Close {
        void operator()(FILE *file) const {
            std::fclose(file);
        }
    };
    std::unique_ptr<FILE, Close> file_;
};

}  // namespace zelmo

#endif
