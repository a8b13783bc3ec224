#include "platform/dialogs.h"

#include <netdb.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>

#include "platform/errors.h"
#include "platform/processes.h"

extern char **environ;

namespace {

// How long a display on another machine may take to accept a connection.
constexpr int kRemoteDisplayWaitMs = 2000;

// Whether a server accepts a connection on the local socket (a name starting with '@' is in the
// abstract namespace, as X servers on Linux listen).
bool AcceptsLocal(const std::string &path) {
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const bool abstract = path.starts_with('@');
    if (path.size() >= sizeof address.sun_path) return false;
    std::memcpy(address.sun_path, path.data(), path.size());
    if (abstract) address.sun_path[0] = '\0';
    const socklen_t length = socklen_t(offsetof(struct sockaddr_un, sun_path) + path.size() + (abstract ? 0 : 1));
    const ZbUniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (socket.fd < 0) return false;
    int rc;
    while ((rc = connect(socket.fd, reinterpret_cast<const struct sockaddr *>(&address), length)) != 0 && errno == EINTR) {
    }
    return rc == 0;
}

// Whether a server accepts a TCP connection on the host's port within the wait.
bool AcceptsTCP(const std::string &host, int port) {
    struct addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    struct addrinfo *found = nullptr;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) return false;
    const std::unique_ptr<struct addrinfo, decltype(&freeaddrinfo)> addresses(found, freeaddrinfo);
    for (const struct addrinfo *a = found; a; a = a->ai_next) {
        const ZbUniqueFd socket(::socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, a->ai_protocol));
        if (socket.fd < 0) continue;
        if (connect(socket.fd, a->ai_addr, a->ai_addrlen) == 0) return true;
        if (errno != EINPROGRESS) continue;
        struct pollfd wait = {socket.fd, POLLOUT, 0};
        int ready;
        while ((ready = poll(&wait, 1, kRemoteDisplayWaitMs)) < 0 && errno == EINTR) {
        }
        int error = 0;
        socklen_t size = sizeof error;
        if (ready == 1 && getsockopt(socket.fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0) return true;
    }
    return false;
}

// An X display, "[protocol/][host]:number[.screen]": on this machine (no host, or "unix") its
// socket in /tmp/.X11-unix, else TCP port 6000 + number on the host.
bool XDisplayAnswers(const std::string &display) {
    const size_t colon = display.rfind(':');
    if (colon == std::string::npos) return false;
    const std::string number = display.substr(colon + 1, display.find('.', colon) - colon - 1);
    if (number.empty() || number.size() > 5 || number.find_first_not_of("0123456789") != std::string::npos)
        return false;
    std::string host = display.substr(0, colon), protocol;
    if (host.starts_with('/')) return AcceptsLocal(display);  // a socket named by its path
    if (const size_t slash = host.find('/'); slash != std::string::npos) {
        protocol = host.substr(0, slash);
        host.erase(0, slash + 1);
    }
    if (protocol == "unix" || protocol == "local" || (protocol.empty() && (host.empty() || host == "unix"))) {
        const std::string socket = "/tmp/.X11-unix/X" + number;
        return AcceptsLocal("@" + socket) || AcceptsLocal(socket);
    }
    return AcceptsTCP(host.empty() ? "localhost" : host, 6000 + std::stoi(number));
}

// A Wayland display: its socket, named by a path or relative to the session's runtime folder.
bool WaylandDisplayAnswers(const std::string &name) {
    if (name.starts_with('/')) return AcceptsLocal(name);
    const char *runtime = std::getenv("XDG_RUNTIME_DIR");
    return runtime && *runtime && AcceptsLocal(std::string(runtime) + "/" + name);
}

}  // namespace

bool Zb7_PlatformHasDisplay() {
    const char *x = std::getenv("DISPLAY");
    const char *wayland = std::getenv("WAYLAND_DISPLAY");
    return (wayland && *wayland && WaylandDisplayAnswers(wayland)) || (x && *x && XDisplayAnswers(x));
}

namespace {

// A settings folder of zenity's own for one dialog, removed afterwards. The file chooser reads
// whether to list hidden files from its settings, and zenity takes no option for it; with the
// settings kept in a key file here, each dialog lists them or not as it is asked, and whatever the
// chooser saves on closing stays out of the user's own settings. The user's GTK folder (theme,
// bookmarks) is linked in.
struct ZbDialogSettings {
    std::string folder;

    explicit ZbDialogSettings(bool showHidden) {
        const char *tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/zerb-dialog-XXXXXX";
        if (!mkdtemp(pattern.data())) return;
        folder = pattern;
        std::error_code ec;
        std::filesystem::create_directories(folder + "/glib-2.0/settings", ec);
        std::ofstream(folder + "/glib-2.0/settings/keyfile")
            << "[org/gtk/settings/file-chooser]\nshow-hidden=" << (showHidden ? "true" : "false") << "\n";
        const char *config = std::getenv("XDG_CONFIG_HOME");
        const char *home = std::getenv("HOME");
        const std::string gtk = config && *config ? std::string(config) + "/gtk-3.0"
                                : home && *home   ? std::string(home) + "/.config/gtk-3.0"
                                                  : std::string();
        if (!gtk.empty() && std::filesystem::is_directory(gtk, ec))
            std::filesystem::create_directory_symlink(gtk, folder + "/gtk-3.0", ec);
    }
    ~ZbDialogSettings() {
        std::error_code ec;
        if (!folder.empty()) std::filesystem::remove_all(folder, ec);
    }
    ZbDialogSettings(const ZbDialogSettings &) = delete;
    ZbDialogSettings &operator=(const ZbDialogSettings &) = delete;
};

// What zenity writes to standard error is kept up to this size (only its start is looked at).
constexpr size_t kZenityMessagesKept = 16384;

// zenity's answer: its exit status (-1 when it could not run), what it printed, and the start of
// its messages.
struct ZbZenityRun {
    int status = -1;
    std::string output, messages;

    // zenity could not show anything: GTK found no display it may use (a server that refuses the
    // connection, for want of authorisation for one). It exits then as on a cancel.
    bool NoDisplay() const { return status != 0 && messages.find("cannot open display") != std::string::npos; }
};

// Runs zenity with the arguments (each one argument of its own, never through a shell) and the
// environment, collecting what it prints on both outputs until it closes them.
ZbZenityRun RunZenity(const std::vector<std::string> &arguments, const std::vector<std::string> *environment) {
    ZbZenityRun run;
    ZbUniqueFd readEnd, writeEnd, messagesRead, messagesWrite;
    if (Zb7_PlatformMakePipe(readEnd, writeEnd) != 0 || Zb7_PlatformMakePipe(messagesRead, messagesWrite) != 0)
        return run;
    ZbSpawnRequest request;
    request.arguments = arguments;
    request.output = writeEnd.fd;
    request.error = messagesWrite.fd;
    request.environment = environment;
    pid_t pid = 0;
    if (Zb7_PlatformSpawn(request, pid) != 0) return run;
    writeEnd.Reset();
    messagesWrite.Reset();
    char buffer[4096];
    for (bool outputOpen = true, messagesOpen = true; outputOpen || messagesOpen;) {
        struct pollfd wait[2] = {{outputOpen ? readEnd.fd : -1, POLLIN, 0}, {messagesOpen ? messagesRead.fd : -1, POLLIN, 0}};
        if (poll(wait, 2, -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        for (int k = 0; k < 2; ++k) {
            if (wait[k].revents == 0) continue;
            const ssize_t n = read(wait[k].fd, buffer, sizeof buffer);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                (k == 0 ? outputOpen : messagesOpen) = false;
            } else if (k == 0) {
                run.output.append(buffer, size_t(n));
            } else if (run.messages.size() < kZenityMessagesKept) {
                run.messages.append(buffer, std::min(size_t(n), kZenityMessagesKept - run.messages.size()));
            }
        }
    }
    readEnd.Reset();
    messagesRead.Reset();
    run.status = Zb7_PlatformWaitChild(pid);
    return run;
}

}  // namespace

bool Zb7_PlatformConfirmDelete(const std::string &message) {
    if (!Zb7_PlatformHasDisplay()) return false;
    return RunZenity({"zenity", "--question", "--icon-name=dialog-warning", "--ok-label=Delete",
                      "--cancel-label=Cancel", "--no-markup", "--text=" + message},
                     nullptr)
               .status == 0;
}

long Zb7_PlatformFileDialog(const ZbFileDialogRequest &request, std::vector<std::string> &chosen) {
    chosen.clear();
    if (request.kind < kZbDialogChooseFile || request.kind > kZbDialogChooseFolder) return kZbErrUnknownDialog;
    if (!Zb7_PlatformHasDisplay() || !Zb7_PlatformProgramExists("zenity")) return kNoUserInteractionErr;

    // Chosen paths are joined by "//", which no path the chooser answers contains.
    std::vector<std::string> arguments = {"zenity", "--file-selection", "--separator=//", "--title=" + request.title};
    if (request.kind == kZbDialogPutFile) arguments.push_back("--save");
    if (request.kind == kZbDialogChooseFolder) arguments.push_back("--directory");
    if (request.multiple && request.kind == kZbDialogChooseFile) arguments.push_back("--multiple");
    // A folder's path ending in "/" opens the chooser in it (so that a folder dialog's OK answers
    // it); a file's path opens its folder with the file selected.
    std::string start = request.location;
    if (!start.empty() && !request.locationIsFile) {
        while (start.size() > 1 && start.back() == '/') start.pop_back();
        if (start != "/") start += "/";
        if (request.kind == kZbDialogPutFile) start += request.defaultName;
    } else if (start.empty() && request.kind == kZbDialogPutFile) {
        start = request.defaultName;
    }
    if (!start.empty()) arguments.push_back("--filename=" + start);

    const ZbDialogSettings settings(request.showInvisibles);
    const bool ownSettings = !settings.folder.empty();
    std::vector<std::string> environment;
    for (char **e = environ; *e; ++e) {
        const std::string_view entry(*e);
        if (!ownSettings || (!entry.starts_with("GSETTINGS_BACKEND=") && !entry.starts_with("XDG_CONFIG_HOME=")))
            environment.emplace_back(entry);
    }
    if (ownSettings) {
        environment.push_back("GSETTINGS_BACKEND=keyfile");
        environment.push_back("XDG_CONFIG_HOME=" + settings.folder);
    }

    ZbZenityRun run = RunZenity(arguments, &environment);
    if (run.status < 0 || run.NoDisplay()) return kNoUserInteractionErr;
    if (run.status != 0) return kUserCanceledErr;
    std::string &output = run.output;
    if (output.ends_with('\n')) output.pop_back();
    for (size_t at = 0; at < output.size();) {
        const size_t next = output.find("//", at);
        chosen.push_back(output.substr(at, next == std::string::npos ? std::string::npos : next - at));
        if (next == std::string::npos) break;
        at = next + 2;
    }
    return chosen.empty() ? kUserCanceledErr : kNoErr;
}
