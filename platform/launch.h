// Opening an item the way the desktop does when it is double-clicked.
#ifndef ZERB_PLATFORM_LAUNCH_H
#define ZERB_PLATFORM_LAUNCH_H

#include <string>

// How long Zb7_PlatformOpenItem waits for the opener to fail before it counts the item as opened.
constexpr int kZbOpenFailureWindowMs = 250;

// Opens the item at path with the desktop's opener (xdg-open), detached from the host: the opener
// runs in a session of its own and is not the host's child, so nothing is left for the host to wait
// for. The call returns once the opener has finished or kZbOpenFailureWindowMs has passed,
// whichever comes first (an opener that starts an application keeps running with it). 0; -10814
// when there is no opener or it finds no application for the item; -43 when the opener says the
// item does not exist.
[[nodiscard]] long Zb7_PlatformOpenItem(const std::string &path);

#endif
