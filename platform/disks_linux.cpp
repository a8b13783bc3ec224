#include "platform/disks.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <vector>

#include "platform/errors.h"

extern char **environ;

long Zb7_PlatformDiskSpace(const ZbVolume &volume, uint64_t &totalBytes, uint64_t &freeBytes) {
    struct statvfs st;
    if (statvfs(volume.mountPoint.c_str(), &st) != 0) return Zb7_ErrnoToOSErr(errno);
    totalBytes = uint64_t(st.f_blocks) * st.f_frsize;
    freeBytes = uint64_t(st.f_bavail) * st.f_frsize;
    return 0;
}

bool Zb7_PlatformIsNetworkVolume(const ZbVolume &volume) {
    struct statfs st;
    if (statfs(volume.mountPoint.c_str(), &st) != 0) return false;
    switch (static_cast<unsigned long>(st.f_type)) {
        case NFS_SUPER_MAGIC:
        case SMB_SUPER_MAGIC:
        case 0xFF534D42UL:  // cifs
        case 0xFE534D42UL:  // smb3
        case V9FS_MAGIC:
        case AFS_SUPER_MAGIC:
        case 0x6B414653UL:  // kafs
        case CODA_SUPER_MAGIC:
        case NCP_SUPER_MAGIC:
        case 0x00C36400UL:  // ceph
        case 0x0BD00BD0UL:  // lustre
        case 0x47504653UL:  // gpfs
            return true;
        case FUSE_SUPER_MAGIC: {
            static constexpr std::string_view kNetworkFuse[] = {"sshfs", "davfs", "glusterfs", "s3fs", "rclone",
                                                                "smbnetfs", "curlftpfs", "gvfsd-fuse", "cephfs"};
            return std::any_of(std::begin(kNetworkFuse), std::end(kNetworkFuse), [&](std::string_view t) {
                return volume.fileSystemType.find(t) != std::string::npos;
            });
        }
        default:
            // davfs mounts through the coda interface or fuse; by type where statfs cannot tell.
            return volume.fileSystemType == "davfs";
    }
}

namespace {

// Runs a helper with the given standard input text (through a pipe) and, when passwordFd is
// wanted, the password on a second pipe whose number goes in PASSWD_FD. Every other descriptor
// of the host is closed in the child. The exit status, or -1 when it could not start.
int RunHelper(const std::vector<std::string> &args, const std::string &input, const std::string *password) {
    int in[2], secret[2] = {-1, -1};
    if (pipe2(in, O_CLOEXEC) != 0) return -1;
    if (password && pipe2(secret, O_CLOEXEC) != 0) {
        close(in[0]);
        close(in[1]);
        return -1;
    }
    std::vector<char *> argv;
    for (const std::string &a : args) argv.push_back(const_cast<char *>(a.c_str()));
    argv.push_back(nullptr);
    std::vector<std::string> env;
    for (char **e = environ; *e; ++e)
        if (std::string_view(*e).substr(0, 9) != "PASSWD_FD" && std::string_view(*e).substr(0, 7) != "PASSWD=")
            env.emplace_back(*e);
    if (password) env.push_back("PASSWD_FD=3");
    std::vector<char *> envp;
    for (std::string &e : env) envp.push_back(e.data());
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    if (password) posix_spawn_file_actions_adddup2(&actions, secret[0], 3);
    posix_spawn_file_actions_addclosefrom_np(&actions, password ? 4 : 3);
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    if (password) close(secret[0]);
    // Both texts are small, far below a pipe's capacity: written at once, then closed.
    if (spawned == 0) {
        if (!input.empty() && write(in[1], input.data(), input.size()) < 0) {}
        if (password && write(secret[1], password->data(), password->size()) < 0) {}
    }
    close(in[1]);
    if (password) close(secret[1]);
    if (spawned != 0) return -1;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0)
        if (errno != EINTR) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
}

// Whether a program of that name is on the PATH or in the system's program folders.
bool HelperExists(const char *name) {
    std::string folders = std::getenv("PATH") ? std::getenv("PATH") : "";
    folders += ":/usr/sbin:/sbin:/usr/bin:/bin";
    for (size_t start = 0; start <= folders.size();) {
        const size_t end = std::min(folders.find(':', start), folders.size());
        if (end > start && access((folders.substr(start, end - start) + "/" + name).c_str(), X_OK) == 0) return true;
        start = end + 1;
    }
    return false;
}

}  // namespace

long Zb7_PlatformMountURL(const std::string &url, const std::string &user, const std::string &password) {
    const bool smb = url.starts_with("smb://");
    const char *bus = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (bus && *bus && HelperExists("gio")) {
        // gio asks for the user, for SMB the domain (the default is kept), and the password.
        const std::string answers = user + "\n" + (smb ? "\n" : "") + password + "\n";
        const int status = RunHelper({"gio", "mount", url}, answers, nullptr);
        return status == 0 ? 0 : status < 0 ? -1426 : -5023;
    }
    if (geteuid() != 0) return -5000;
    // The mount point: /media/ and the URL's last name.
    std::string_view rest = std::string_view(url).substr(url.find("://") + 3);
    while (rest.ends_with('/')) rest.remove_suffix(1);
    const size_t slash = rest.rfind('/');
    if (slash == std::string_view::npos || slash + 1 >= rest.size()) return -50;
    const std::string name(rest.substr(slash + 1));
    if (name == "." || name == "..") return -50;
    const std::string mountPoint = "/media/" + name;
    const char *helper = smb ? "mount.cifs" : "mount.davfs";
    if (!HelperExists(helper)) return -1426;
    mkdir("/media", 0755);
    const bool made = mkdir(mountPoint.c_str(), 0755) == 0;
    if (!made && errno != EEXIST) return Zb7_ErrnoToOSErr(errno);
    int status;
    if (smb) {
        const std::string options = user.empty() ? "guest" : "username=" + user;
        status = RunHelper({helper, "//" + std::string(rest), mountPoint, "-o", options}, {},
                           user.empty() ? nullptr : &password);
    } else {
        // mount.davfs asks for the user name and the password on its standard input.
        status = RunHelper({helper, url, mountPoint}, user + "\n" + password + "\n", nullptr);
    }
    if (status == 0) return 0;
    if (made) rmdir(mountPoint.c_str());
    return status < 0 ? -1426 : -5023;
}

long Zb7_PlatformUnmount(const ZbVolume &volume) {
    struct stat st;
    const bool known = stat(volume.mountPoint.c_str(), &st) == 0;
    if (umount2(volume.mountPoint.c_str(), UMOUNT_NOFOLLOW) != 0) return Zb7_ErrnoToOSErr(errno);
    if (!known) return 0;
    // A removable medium (the device's own flag, or its disk's for a partition) is ejected.
    const std::string block = "/sys/dev/block/" + std::to_string(major(st.st_dev)) + ":" + std::to_string(minor(st.st_dev));
    char removable = '0';
    for (const std::string &flag : {block + "/removable", block + "/../removable"}) {
        std::ifstream in(flag);
        if (in.get(removable) && removable == '1') break;
    }
    if (removable != '1') return 0;
    char target[4096];
    const ssize_t n = readlink(block.c_str(), target, sizeof target - 1);
    if (n <= 0) return 0;
    const std::string_view device(target, size_t(n));
    if (HelperExists("eject")) RunHelper({"eject", "/dev/" + std::string(device.substr(device.rfind('/') + 1))}, {}, nullptr);
    return 0;
}
