#include "platform/errors.h"
#include "platform/launch.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/processes.h"

namespace {

// Starts xdg-open in the background of a shell that ends at once (so the opener's parent becomes
// the system's, which reaps it); the opener's exit status comes back on descriptor 3, which the
// opener itself and the application it starts do not get.
constexpr const char *kOpenerScript = "( xdg-open \"$1\" 3>&- ; echo \"$?\" >&3 ) &";

}  // namespace

long Zb7_PlatformOpenItem(const std::string &path) {
    if (!Zb7_PlatformProgramExists("xdg-open")) return kNoApplicationErr;
    ZbUniqueFd readEnd, writeEnd;
    if (Zb7_PlatformMakePipe(readEnd, writeEnd) != 0) return kNoApplicationErr;
    ZbSpawnRequest request;
    request.arguments = {"/bin/sh", "-c", kOpenerScript, "sh", path};
    request.extra = writeEnd.fd;
    request.newSession = true;
    pid_t pid = 0;
    if (Zb7_PlatformSpawn(request, pid) != 0) return kNoApplicationErr;
    writeEnd.Reset();
    Zb7_PlatformWaitChild(pid);

    // The opener's answer, if it comes within the window: nothing means it is still running.
    char status[16] = {};
    size_t got = 0;
    struct pollfd wait = {readEnd.fd, POLLIN, 0};
    for (int left = kZbOpenFailureWindowMs; got < sizeof status - 1;) {
        const int ready = poll(&wait, 1, left);
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) break;
        const ssize_t n = read(readEnd.fd, status + got, sizeof status - 1 - got);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        got += size_t(n);
        left = 10;  // the rest of the line follows at once
    }
    if (got == 0) return 0;
    switch (std::atoi(status)) {
        case 0:
            return 0;
        case 2:
            return kFnfErr;
        default:
            return kNoApplicationErr;
    }
}
