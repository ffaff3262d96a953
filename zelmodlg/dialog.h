// What every way of talking to the person can do.
#ifndef ZELMODLG_DIALOG_H
#define ZELMODLG_DIALOG_H

#include <string>
#include <string_view>

#include "zelmodlg/secret.h"

namespace zelmodlg {

enum class Outcome {
    done,       ///< Answered.
    cancelled,  ///< The person does not want to answer.
    unusable,   ///< The person gave answers of no use until it was enough.
    broken,     ///< This way of asking does not work; another one may.
};

/// What a dialog shows. Texts are clean (see text.h); the lines of `text` are parted by line feeds.
struct Notice {
    std::string_view text;
    std::string_view title = {};
};

/// A question whose answer is not shown.
struct Question {
    std::string_view text;
    std::string_view field;           ///< Stands in front of the input, such as "PIN:".
    std::string_view complaint = {};  ///< Why the last answer was not accepted; empty for the first question.
};

class Dialog {
  public:
    Dialog() = default;
    Dialog(const Dialog &) = delete;
    Dialog &operator=(const Dialog &) = delete;
    virtual ~Dialog() = default;

    /// Asks once and stores what was typed, in UTF-8.
    virtual Outcome askSecret(const Question &question, Secret &answer) = 0;
    /// Shows a message until it is closed.
    virtual Outcome tell(const Notice &notice) = 0;
    /// Waits for "OK" or "Cancel".
    virtual Outcome confirm(const Notice &notice) = 0;
};

}  // namespace zelmodlg

#endif
