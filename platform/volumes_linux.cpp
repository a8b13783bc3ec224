#include <dirent.h>
#include <limits.h>
#include <stdlib.h>

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#include "platform/volumes.h"

namespace {

// The device the root file system is mounted from, from the process's mount table.
std::string RootDevice() {
    std::ifstream in("/proc/self/mountinfo");
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line);
        std::string id, parent, devno, root, mountPoint;
        fields >> id >> parent >> devno >> root >> mountPoint;
        if (mountPoint != "/") continue;
        const auto dash = line.find(" - ");
        if (dash == std::string::npos) continue;
        std::istringstream tail(line.substr(dash + 3));
        std::string fsType, source;
        tail >> fsType >> source;
        return source;
    }
    return {};
}

// Labels in /dev/disk/by-label are escaped as \xNN.
std::string UnescapeLabel(const std::string &s) {
    std::string out;
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '\\' && i + 3 < s.size() && s[i + 1] == 'x' && isxdigit((unsigned char)s[i + 2]) &&
            isxdigit((unsigned char)s[i + 3])) {
            out += char(std::strtol(s.substr(i + 2, 2).c_str(), nullptr, 16));
            i += 3;
        } else {
            out += s[i];
        }
    }
    return out;
}

}  // namespace

std::string Zb7_PlatformStartupVolumeName() {
    const std::string device = RootDevice();
    char resolved[PATH_MAX];
    if (!device.empty() && device[0] == '/' && realpath(device.c_str(), resolved)) {
        const std::string target = resolved;
        std::unique_ptr<DIR, int (*)(DIR *)> dir(opendir("/dev/disk/by-label"), closedir);
        while (dir) {
            const dirent *e = readdir(dir.get());
            if (!e) break;
            if (e->d_name[0] == '.') continue;
            const std::string link = std::string("/dev/disk/by-label/") + e->d_name;
            char linked[PATH_MAX];
            if (realpath(link.c_str(), linked) && target == linked) {
                const std::string label = UnescapeLabel(e->d_name);
                if (!label.empty()) return label;
            }
        }
    }
    return "Startup Disk";
}
