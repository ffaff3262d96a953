// What goes to stdout: collected and written at once, so that a failed write cannot pass unnoticed.
#ifndef ZELMO_OUTPUT_H
#define ZELMO_OUTPUT_H

#include <cstdint>
#include <fmt/format.h>
#include <string>
#include <string_view>

namespace zelmo {

enum class Style : uint8_t { plain, heading, name, faint, error };

/// Collects the text of stdout. Colours are used on a terminal only, and not when NO_COLOR is set.
class Output {
  public:
    Output();
    /// Adds formatted text.
    template <class... Arguments>
    void print(fmt::format_string<Arguments...> format, Arguments &&...arguments) {
        fmt::format_to(std::back_inserter(text_), format, std::forward<Arguments>(arguments)...);
    }
    /// Begins a part of the output: its title, behind a blank line when there is a part before it.
    void heading(std::string_view title);
    /// `text` as it is shown in a style.
    std::string styled(Style style, std::string_view text) const;
    /// Writes all that was added. Throws Failure when it cannot.
    void flush();

  private:
    std::string text_;
    bool colour_;
    bool begun_ = false;
};

/// Writes a file whole: a process that is killed leaves the old content or the new. What is no regular file, such as a
/// device, is written to as it stands. Throws Failure.
void writeFile(const std::string &file, std::string_view content);

}  // namespace zelmo

#endif
