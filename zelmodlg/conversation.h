// One dialog from the choice of its means to the code that the host gets.
#ifndef ZELMODLG_CONVERSATION_H
#define ZELMODLG_CONVERSATION_H

#include <functional>

#include "zelmodlg/dialog.h"
#include "zelmodlg/signals.h"

namespace zelmodlg {

/// Lets `talk` use a dialog: that of the program which the user named, or else of each program that fits, and at last
/// the controlling terminal's own, until one is not broken.
Outcome withDialog(Interruptions &interruptions, const std::function<Outcome(Dialog &)> &talk);

/// Runs one call of a host: alone in the process, with signals held back until its end, which are then raised again.
/// What `call` throws makes it broken.
Outcome runFunction(const std::function<Outcome(Interruptions &)> &call);

/// The same for anything that can be called; throws nothing.
template <class Call>
Outcome runCall(const Call &call) {
    // A reference needs no memory.
    return runFunction(std::cref(call));
}

}  // namespace zelmodlg

#endif
