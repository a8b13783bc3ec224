// Questions to the person at the screen: file choosers and the delete confirmation, shown by
// zenity. On a server there is no display: nothing is asked, dialogs answer -1713 and nothing
// counts as confirmed.
#ifndef ZERB_PLATFORM_DIALOGS_H
#define ZERB_PLATFORM_DIALOGS_H

#include <string>
#include <vector>

// Whether a display is there to show dialogs on: DISPLAY or WAYLAND_DISPLAY names one and its
// server accepts a connection (a display named but gone is no display).
bool Zb7_PlatformHasDisplay();

// Shows a warning with the message and two buttons, "Cancel" and "Delete"; true only when the user
// chose "Delete". False at once without a display or without zenity.
bool Zb7_PlatformConfirmDelete(const std::string &message);

enum ZbDialogKind { kZbDialogChooseFile = 1, kZbDialogPutFile = 2, kZbDialogChooseFolder = 3 };

struct ZbFileDialogRequest {
    int kind = kZbDialogChooseFile;
    std::string title;
    std::string location;      // POSIX path to open in; empty for the chooser's own choice
    bool locationIsFile = false;  // the location is a file, selected in its folder
    std::string defaultName;   // the name proposed by a save dialog
    bool multiple = false;     // several files may be chosen
    bool showInvisibles = false;
};

// Runs the chooser and answers the POSIX paths of the chosen items in order (for a save dialog the
// one path typed, which need not exist). -1713 without a display or without zenity, -128 when the
// user cancels, -4225 for an unknown kind.
[[nodiscard]] long Zb7_PlatformFileDialog(const ZbFileDialogRequest &request, std::vector<std::string> &chosen);

#endif
