#include "platform/disks.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <vector>

#include "platform/errors.h"
#include "platform/processes.h"
#include "platform/system_calls.h"

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

// Runs a helper with the given standard input text (through a pipe) and, when a password is
// given, the password on a second pipe whose number goes in PASSWD_FD. The exit status, or -1 when
// it could not start.
int RunHelper(const std::vector<std::string> &args, const std::string &input, const std::string *password) {
    ZbUniqueFd inRead, inWrite, secretRead, secretWrite;
    if (Zb7_PlatformMakePipe(inRead, inWrite) != 0) return -1;
    if (password && Zb7_PlatformMakePipe(secretRead, secretWrite) != 0) return -1;
    std::vector<std::string> env;
    for (char **e = environ; *e; ++e)
        if (std::string_view(*e).substr(0, 9) != "PASSWD_FD" && std::string_view(*e).substr(0, 7) != "PASSWD=")
            env.emplace_back(*e);
    if (password) env.push_back("PASSWD_FD=3");
    ZbSpawnRequest request;
    request.arguments = args;
    request.input = inRead.fd;
    request.extra = secretRead.fd;
    request.environment = &env;
    pid_t pid = 0;
    if (Zb7_PlatformSpawn(request, pid) != 0) return -1;
    inRead.Reset();
    secretRead.Reset();
    Zb7_PlatformWriteToChild(inWrite.fd, input.data(), input.size());
    if (password) Zb7_PlatformWriteToChild(secretWrite.fd, password->data(), password->size());
    inWrite.Reset();
    secretWrite.Reset();
    return Zb7_PlatformWaitChild(pid);
}

}  // namespace

long Zb7_PlatformMountURL(const std::string &url, const std::string &user, const std::string &password) {
    const bool smb = url.starts_with("smb://");
    const char *bus = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (bus && *bus && Zb7_PlatformProgramExists("gio")) {
        // gio asks for the user, for SMB the domain (the default is kept), and the password.
        const std::string answers = user + "\n" + (smb ? "\n" : "") + password + "\n";
        const int status = RunHelper({"gio", "mount", url}, answers, nullptr);
        return status == 0 ? kNoErr : status < 0 ? kNotSupportedErr : kUserNotAuthErr;
    }
    if (geteuid() != 0) return kAccessDeniedErr;
    // The mount point: /media/ and the URL's last name.
    std::string_view rest = std::string_view(url).substr(url.find("://") + 3);
    while (rest.ends_with('/')) rest.remove_suffix(1);
    const size_t slash = rest.rfind('/');
    if (slash == std::string_view::npos || slash + 1 >= rest.size()) return kParamErr;
    const std::string name(rest.substr(slash + 1));
    if (name == "." || name == "..") return kParamErr;
    const std::string mountPoint = "/media/" + name;
    const char *helper = smb ? "mount.cifs" : "mount.davfs";
    if (!Zb7_PlatformProgramExists(helper)) return kNotSupportedErr;
    ZbSys_mkdirat(AT_FDCWD, "/media", 0755);  // there already, as a rule
    const bool made = ZbSys_mkdirat(AT_FDCWD, mountPoint.c_str(), 0755) == 0;
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
    if (made) rmdir(mountPoint.c_str());  // cleaning up: made directly
    return status < 0 ? kNotSupportedErr : kUserNotAuthErr;
}

long Zb7_PlatformUnmount(const ZbVolume &volume) {
    struct stat st;
    const bool known = stat(volume.mountPoint.c_str(), &st) == 0;
    if (ZbSys_umount2(volume.mountPoint.c_str(), UMOUNT_NOFOLLOW) != 0) return Zb7_ErrnoToOSErr(errno);
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
    if (Zb7_PlatformProgramExists("eject")) RunHelper({"eject", "/dev/" + std::string(device.substr(device.rfind('/') + 1))}, {}, nullptr);
    return 0;
}
