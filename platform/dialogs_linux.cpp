#include "platform/dialogs.h"

#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "platform/processes.h"

extern char **environ;

bool Zb7_PlatformHasDisplay() {
    const char *x = std::getenv("DISPLAY");
    const char *wayland = std::getenv("WAYLAND_DISPLAY");
    return (x && *x) || (wayland && *wayland);
}

namespace {

constexpr long kErrUserCanceled = -128;
constexpr long kErrNoUserInteraction = -1713;
constexpr long kErrUnknownDialogKind = -4225;

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

// Runs zenity with the arguments (each one argument of its own, never through a shell) and the
// environment, collecting what it prints. Its exit status, or -1 when it could not run.
int RunZenity(const std::vector<std::string> &arguments, const std::vector<std::string> *environment,
              std::string &output) {
    ZbDescriptor readEnd, writeEnd;
    if (Zb7_PlatformMakePipe(readEnd, writeEnd) != 0) return -1;
    ZbSpawnRequest request;
    request.arguments = arguments;
    request.output = writeEnd.fd;
    request.environment = environment;
    pid_t pid = 0;
    if (Zb7_PlatformSpawn(request, pid) != 0) return -1;
    writeEnd.Reset();
    char buffer[4096];
    for (;;) {
        const ssize_t n = read(readEnd.fd, buffer, sizeof buffer);
        if (n > 0)
            output.append(buffer, size_t(n));
        else if (n == 0 || errno != EINTR)
            break;
    }
    readEnd.Reset();
    return Zb7_PlatformWaitChild(pid);
}

}  // namespace

bool Zb7_PlatformConfirmDelete(const std::string &message) {
    if (!Zb7_PlatformHasDisplay()) return false;
    std::string ignored;
    return RunZenity({"zenity", "--question", "--icon-name=dialog-warning", "--ok-label=Delete",
                      "--cancel-label=Cancel", "--no-markup", "--text=" + message},
                     nullptr, ignored) == 0;
}

long Zb7_PlatformFileDialog(const ZbFileDialogRequest &request, std::vector<std::string> &chosen) {
    chosen.clear();
    if (request.kind < kZbDialogChooseFile || request.kind > kZbDialogChooseFolder) return kErrUnknownDialogKind;
    if (!Zb7_PlatformHasDisplay() || !Zb7_PlatformProgramExists("zenity")) return kErrNoUserInteraction;

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

    std::string output;
    const int status = RunZenity(arguments, &environment, output);
    if (status < 0) return kErrNoUserInteraction;
    if (status != 0) return kErrUserCanceled;
    if (output.ends_with('\n')) output.pop_back();
    for (size_t at = 0; at < output.size();) {
        const size_t next = output.find("//", at);
        chosen.push_back(output.substr(at, next == std::string::npos ? std::string::npos : next - at));
        if (next == std::string::npos) break;
        at = next + 2;
    }
    return chosen.empty() ? kErrUserCanceled : 0;
}
