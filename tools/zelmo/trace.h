// The trace of card commands on stderr.
#ifndef ZELMO_TRACE_H
#define ZELMO_TRACE_H

#include <cstdint>
#include <span>
#include <string>

namespace zelmo {

/// Turns commands and answers into text. Data of commands that can carry PINs or keys is masked, in both directions,
/// and so is what GET RESPONSE fetches behind them; a command whose meaning is not known is masked too.
class CommandTrace {
  public:
    /// The lines for one command: header and data, then answer, status word and milliseconds.
    std::string format(std::span<const uint8_t> command, std::span<const uint8_t> answer, double milliseconds);

  private:
    bool masked_ = false;  // whether the command before this one was masked
};

}  // namespace zelmo

#endif
