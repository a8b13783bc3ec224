#include <dlfcn.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>

#include "platform/errors.h"
#include "platform/four_char_code.h"
#include "platform/system_folders.h"

namespace {

std::string Home() {
    const char *home = std::getenv("HOME");
    return home && *home ? home : "/";
}

std::string EnvOr(const char *name, const std::string &fallback) {
    const char *v = std::getenv(name);
    return v && *v == '/' ? v : fallback;
}

// XDG user folder (for example "DESKTOP") from the environment or user-dirs.dirs.
std::string XdgUserDir(const std::string &key, const std::string &fallback) {
    if (const char *v = std::getenv(("XDG_" + key + "_DIR").c_str()); v && *v == '/') return v;
    std::ifstream in(EnvOr("XDG_CONFIG_HOME", Home() + "/.config") + "/user-dirs.dirs");
    const std::string prefix = "XDG_" + key + "_DIR=\"";
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, prefix.size(), prefix) != 0 || line.back() != '"') continue;
        std::string value = line.substr(prefix.size(), line.size() - prefix.size() - 1);
        if (value.compare(0, 5, "$HOME") == 0) value = Home() + value.substr(5);
        if (!value.empty() && value[0] == '/') return value;
    }
    return fallback;
}

std::string FolderOfThisModule() {
    Dl_info info{};
    static const int anchor = 0;
    if (dladdr(&anchor, &info) && info.dli_fname) {
        std::string p = info.dli_fname;
        const auto slash = p.rfind('/');
        if (slash != std::string::npos) return slash == 0 ? "/" : p.substr(0, slash);
    }
    return {};
}

bool IsFolder(const std::string &path) {
    struct stat st;
    return !path.empty() && stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

long Zb7_PlatformFindFolder(uint32_t kind, std::string &path) {
    const std::string dataHome = EnvOr("XDG_DATA_HOME", Home() + "/.local/share");
    const std::string configHome = EnvOr("XDG_CONFIG_HOME", Home() + "/.config");
    switch (kind) {
    case ZbFourCharCode("desk"): path = XdgUserDir("DESKTOP", Home() + "/Desktop"); break;
    case ZbFourCharCode("macs"): path = "/usr"; break;
    case ZbFourCharCode("trsh"): path = dataHome + "/Trash/files"; break;
    case ZbFourCharCode("strt"): path = configHome + "/autostart"; break;
    case ZbFourCharCode("pref"): path = configHome; break;
    case ZbFourCharCode("temp"): path = EnvOr("TMPDIR", "/tmp"); break;
    case ZbFourCharCode("extn"): path = FolderOfThisModule(); break;
    case ZbFourCharCode("root"): path = "/"; break;
    default: path.clear(); return kFnfErr;  // shutdown, apple menu and control panel folders do not exist here
    }
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    if (!IsFolder(path)) {
        path.clear();
        return kFnfErr;
    }
    return 0;
}
