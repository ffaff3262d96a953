// Which programs can show the dialogs.
#ifndef ZELMODLG_PROGRAMS_H
#define ZELMODLG_PROGRAMS_H

#include <string>
#include <vector>

namespace zelmodlg {

struct Programs {
    std::vector<std::string> paths;  ///< In the order in which they are to be tried.
    bool named = false;              ///< By the user, who wants this one and no other.
};

/// The program that ZELMODLG_PINENTRY names, or else the pinentry programs on PATH that fit where the person is: at the
/// controlling terminal when this process is in its foreground, otherwise at a display. A process that runs with
/// another user's rights goes by neither variable and looks in /usr/bin and /bin.
Programs findPrograms();

}  // namespace zelmodlg

#endif
