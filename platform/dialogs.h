// Questions to the person at the screen. On a server there is no display: nothing is asked and
// nothing counts as confirmed.
#ifndef ZERB_PLATFORM_DIALOGS_H
#define ZERB_PLATFORM_DIALOGS_H

#include <string>

// Whether a display is there to show dialogs on (DISPLAY or WAYLAND_DISPLAY is set).
bool Zb7_PlatformHasDisplay();

// Shows a warning with the message and two buttons, "Cancel" and "Delete"; true only when the
// user chose "Delete". False at once without a display or without zenity.
bool Zb7_PlatformConfirmDelete(const std::string &message);

#endif
