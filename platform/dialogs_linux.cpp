#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

#include "platform/dialogs.h"

extern char **environ;

bool Zb7_PlatformHasDisplay() {
    const char *x = std::getenv("DISPLAY");
    const char *wayland = std::getenv("WAYLAND_DISPLAY");
    return (x && *x) || (wayland && *wayland);
}

bool Zb7_PlatformConfirmDelete(const std::string &message) {
    if (!Zb7_PlatformHasDisplay()) return false;
    // The message goes to zenity as one argument, never through a shell. The child gets no
    // descriptor of the host but the standard ones.
    const std::string text = "--text=" + message;
    std::vector<char *> argv = {const_cast<char *>("zenity"), const_cast<char *>("--question"),
                                const_cast<char *>("--icon-name=dialog-warning"),
                                const_cast<char *>("--ok-label=Delete"), const_cast<char *>("--cancel-label=Cancel"),
                                const_cast<char *>("--no-markup"), const_cast<char *>(text.c_str()), nullptr};
    posix_spawn_file_actions_t actions;
    if (posix_spawn_file_actions_init(&actions) != 0) return false;
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
#ifdef __GLIBC__
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
#endif
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, "zenity", &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) return false;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
