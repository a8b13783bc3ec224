// The volume table: what holds on any machine, look-ups from several threads, and, when running as
// root, the table of a private mount namespace while small tmpfs volumes come and go.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <thread>

#include "filecore/paths.h"
#include "platform/volumes.h"

namespace {

// Mount point of the volume answering the look-up, "-" when there is none.
std::string Named(std::string_view name, short preferred = 0) {
    ZbVolume v;
    return Zb7_PlatformVolumeByName(name, v, preferred) ? v.mountPoint : "-";
}
std::string Numbered(short vRefNum) {
    ZbVolume v;
    return Zb7_PlatformVolumeByNumber(vRefNum, v) ? v.mountPoint : "-";
}
ZbVolume OnPath(std::string_view path) {
    ZbVolume v;
    Zb7_PlatformVolumeOfPath(path, v);
    return v;
}

std::string Describe(const std::vector<ZbVolume> &volumes) {
    std::string text;
    for (const ZbVolume &v : volumes) text += std::to_string(v.vRefNum) + " " + v.name + " @ " + v.mountPoint + "\n";
    return text;
}

bool IsFolder(const char *path) {
    struct stat st;
    return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

TEST(Volumes, StartupVolumeAndUnknownLookUps) {
    const std::string startup = Zb7_PlatformStartupVolumeName();
    EXPECT_TRUE(!startup.empty() && startup.find(':') == std::string::npos) << startup;
    const std::vector<ZbVolume> list = Zb7_PlatformListVolumes();
    ASSERT_FALSE(list.empty());
    EXPECT_EQ(Describe({list[0]}), Describe({{kZbStartupVRefNum, startup, "/"}}));
    for (size_t i = 1; i < list.size(); ++i) EXPECT_LT(list[i].vRefNum, list[i - 1].vRefNum) << Describe(list);
    EXPECT_EQ(Numbered(kZbStartupVRefNum) + Named(startup) + OnPath("/etc").mountPoint + OnPath("/").name,
              "///" + startup);
    EXPECT_EQ(Numbered(-99) + Numbered(0) + Named("no such volume\t"), "---");
}

TEST(Volumes, LookUpsFromSeveralThreads) {
    const std::string startup = Zb7_PlatformStartupVolumeName();
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 2000; ++i)
                if (Named(startup) != "/" || OnPath("/etc/hosts").vRefNum != kZbStartupVRefNum ||
                    Zb7_PlatformListVolumes().front().name != startup)
                    ++wrong;
        });
    for (std::thread &t : threads) t.join();
    EXPECT_EQ(wrong.load(), 0);
}

// ---- In a private mount namespace (root only). The checks run in a forked child: it reports
// failures on standard error and exits non-zero.

namespace {

int gFailures = 0;

template <class A, class B>
void CheckEqual(const A &a, const B &b, const char *text, int line) {
    if (a == b) return;
    std::cerr << __FILE__ << ":" << line << ": " << text << "\n  got:      " << a << "\n  expected: " << b << "\n";
    ++gFailures;
}
#define CHILD_EQ(a, b) CheckEqual((a), (b), #a, __LINE__)

// Creates the folder (only ever inside a tmpfs mounted by the child) and mounts a small tmpfs on it.
void MountTmpfs(const char *path) {
    if ((mkdir(path, 0755) != 0 && errno != EEXIST) || mount("tmpfs", path, "tmpfs", 0, "size=64k") != 0) {
        std::cerr << "mounting " << path << ": " << std::strerror(errno) << "\n";
        std::exit(2);
    }
}

// Empty when this process may mount file systems in a mount namespace of its own; else why not.
std::string WhyNoPrivateMounts() {
    if (geteuid() != 0) return "mounting test volumes needs root";
    if (!IsFolder("/mnt") || !IsFolder("/media")) return "/mnt or /media is missing";
    const pid_t pid = fork();
    if (pid == 0) _exit(unshare(CLONE_NEWNS) == 0 ? 0 : errno == EPERM ? 1 : 2);
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid) return "cannot fork";
    if (WIFEXITED(status) && WEXITSTATUS(status) == 1) return "unshare(CLONE_NEWNS) is not permitted here";
    return {};
}

// In the child: a mount namespace whose mounts do not propagate, with fresh tmpfs on /mnt, /media
// and /run/media (when /run exists), so that nothing is created on the real file system.
[[noreturn]] void RunInPrivateMounts(void (*body)(bool runMedia)) {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/mnt", "tmpfs", 0, "size=64k") != 0 || mount("tmpfs", "/media", "tmpfs", 0, "size=64k") != 0) {
        std::cerr << "setting up the mount namespace: " << std::strerror(errno) << "\n";
        std::exit(2);
    }
    const bool runMedia =
        IsFolder("/run/media") ? mount("tmpfs", "/run/media", "tmpfs", 0, "size=64k") == 0
                               : IsFolder("/run") && mount("tmpfs", "/run", "tmpfs", 0, "size=64k") == 0 &&
                                     mkdir("/run/media", 0755) == 0;
    body(runMedia);
    std::exit(gFailures == 0 ? 0 : 1);
}

void MountsInPrivateNamespace(bool runMedia) {
    for (const char *path : {"/mnt/USB", "/media/USB", "/media/ann", "/media/ann/Photos", "/mnt/a:b", "/mnt/With Space",
                             "/mnt/back\\slash", "/mnt/x", "/mnt/x/y"})
        MountTmpfs(path);
    if (runMedia) {
        MountTmpfs("/run/media/bob");  // /run/media/<user> itself is not a volume
        MountTmpfs("/run/media/bob/Disk");
    }
    const short n = OnPath("/mnt/USB").vRefNum;  // -101 unless the test process has seen volumes before
    CHILD_EQ(n <= -101, true);
    std::vector<ZbVolume> expected = {{kZbStartupVRefNum, Zb7_PlatformStartupVolumeName(), "/"},
                                      {n, "USB", "/mnt/USB"},
                                      {short(n - 1), "USB", "/media/USB"},
                                      {short(n - 2), "ann", "/media/ann"},
                                      {short(n - 3), "Photos", "/media/ann/Photos"},
                                      {short(n - 4), "a/b", "/mnt/a:b"},
                                      {short(n - 5), "With Space", "/mnt/With Space"},
                                      {short(n - 6), "back\\slash", "/mnt/back\\slash"},
                                      {short(n - 7), "x", "/mnt/x"}};  // /mnt/x/y is not directly inside
    if (runMedia) expected.push_back({short(n - 8), "Disk", "/run/media/bob/Disk"});
    CHILD_EQ(Describe(Zb7_PlatformListVolumes()), Describe(expected));
    const short next = short(expected.back().vRefNum - 1);

    CHILD_EQ(Named("USB"), "/mnt/USB");
    CHILD_EQ(Named("USB", short(n - 1)), "/media/USB");
    CHILD_EQ(Named("USB", short(n - 2)), "/mnt/USB");  // the preferred number is another volume's
    CHILD_EQ(Named("a/b") + Named("a:b") + Named("y") + Named("bob"), "/mnt/a:b---");
    CHILD_EQ(Numbered(short(n - 3)) + Numbered(next), "/media/ann/Photos-");
    CHILD_EQ(OnPath("/mnt/USB/a/b").vRefNum, n);
    std::string onPaths;
    for (const char *path : {"/mnt/USB", "/mnt/USB2/a", "/media/ann/Photos/a", "/media/ann/Photosx", "/mnt/x/y/z", "/mnt"})
        onPaths += OnPath(path).mountPoint + " ";
    CHILD_EQ(onPaths, "/mnt/USB / /media/ann/Photos /media/ann /mnt/x / ");

    // Changes show at the next look-up; a new mount never gets the number of an unmounted volume.
    CHILD_EQ(umount2("/media/USB", 0), 0);
    MountTmpfs("/mnt/New");
    CHILD_EQ(Numbered(short(n - 1)), "-");
    CHILD_EQ(OnPath("/mnt/New").vRefNum, next);
    CHILD_EQ(Named("USB", short(n - 1)), "/mnt/USB");

    // A second mount on the same point hides the first; one on a folder above hides all below it.
    MountTmpfs("/media/ann/Photos");
    CHILD_EQ(Numbered(short(n - 3)), "-");
    CHILD_EQ(OnPath("/media/ann/Photos/a").vRefNum, short(next - 1));
    MountTmpfs("/media/ann");
    CHILD_EQ(Numbered(short(n - 2)) + Numbered(short(next - 1)) + Named("Photos"), "---");
    CHILD_EQ(OnPath("/media/ann/Photos/a").vRefNum, short(next - 2));

    // Look-ups from several threads while the table is rebuilt under them.
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t)
        threads.emplace_back([&] {
            while (!stop)
                if (OnPath("/mnt/USB/a").vRefNum != n || Zb7_PlatformListVolumes().size() < 5) ++wrong;
        });
    // Without listmount (before Linux 6.8) a look-up reads each mount's root folder through its
    // mount point, and an unmount at that instant answers EBUSY; it succeeds when tried again.
    errno = 0;
    syscall(458 /* listmount */, nullptr, nullptr, 0, 0);
    const bool touchesMountPoints = errno == ENOSYS || errno == EPERM;
    for (int i = 0; i < 50; ++i) {
        MountTmpfs("/mnt/Busy");
        int unmounted = umount2("/mnt/Busy", 0);
        for (int tries = 0; unmounted != 0 && errno == EBUSY && touchesMountPoints && tries < 1000; ++tries)
            unmounted = umount2("/mnt/Busy", 0);
        CHILD_EQ(unmounted, 0);
    }
    stop = true;
    for (std::thread &t : threads) t.join();
    CHILD_EQ(wrong.load(), 0);
}

// The reference text a path resolves to, or the error text.
std::string RefOf(const std::string &path) {
    FSSpec ref;
    if (const long err = ZbPi_CStrToFSpec(path, kZbPathUTF8, 255, &ref)) return "$$" + std::to_string(err);
    std::string text;
    Zb7_Mac_FSSpecToCStr(ref, text);
    return text;
}

// A tmpfs unmounted and another mounted at the same point, holding the same names: the kernel may
// give the new mount the old one's id and device number, but it is another volume.
void RemountInPrivateNamespace(bool) {
    const auto fill = [] {
        mkdir("/mnt/USB/d", 0755);
        close(open("/mnt/USB/d/f", O_CREAT | O_WRONLY, 0644));
        close(open("/mnt/USB/g", O_CREAT | O_WRONLY, 0644));
    };
    MountTmpfs("/mnt/USB");
    fill();
    const short old = OnPath("/mnt/USB").vRefNum;
    const std::string inFolder = RefOf("/mnt/USB/d/f"), atTop = RefOf("/mnt/USB/g");
    CHILD_EQ(atTop, ":" + std::to_string(old) + ":2:g");
    CHILD_EQ(RefOf(inFolder), inFolder);
    for (int i = 0; i < 3; ++i) {
        CHILD_EQ(umount2("/mnt/USB", 0), 0);
        MountTmpfs("/mnt/USB");
        fill();
        CHILD_EQ(Numbered(old), "-");
        CHILD_EQ(OnPath("/mnt/USB").vRefNum != old, true);
        CHILD_EQ(RefOf(inFolder), "$$-35");
        CHILD_EQ(RefOf(atTop), "$$-35");
    }
    // The same folders mounted again (a bind mount, as a disk plugged in again): a new volume,
    // and references made now name it, not the one unmounted. Only the kernel's unique mount ids
    // (listmount, Linux 6.8) tell this apart: the mount id, device and root folder's birth time
    // that older kernels give are all the old mount's again.
    errno = 0;
    if (syscall(458 /* listmount */, nullptr, nullptr, 0, 0) == -1 && errno == ENOSYS) return;
    mkdir("/mnt/store", 0755);
    mkdir("/mnt/store/d", 0755);
    close(open("/mnt/store/d/f", O_CREAT | O_WRONLY, 0644));
    mkdir("/mnt/Disk", 0755);
    CHILD_EQ(mount("/mnt/store", "/mnt/Disk", nullptr, MS_BIND, nullptr), 0);
    const std::string first = RefOf("/mnt/Disk/d/f");
    CHILD_EQ(umount2("/mnt/Disk", 0), 0);
    CHILD_EQ(mount("/mnt/store", "/mnt/Disk", nullptr, MS_BIND, nullptr), 0);
    const std::string again = RefOf("/mnt/Disk/d/f");
    const std::string volume = ":" + std::to_string(OnPath("/mnt/Disk").vRefNum) + ":";
    CHILD_EQ(again.substr(0, volume.size()), volume);
    CHILD_EQ(again != first, true);
    CHILD_EQ(RefOf(first), "$$-35");
}

}  // namespace

TEST(VolumesInPrivateMounts, AVolumeMountedAnewDoesNotAnswerOldReferences) {
    static const std::string why = WhyNoPrivateMounts();
    if (!why.empty()) GTEST_SKIP() << why;
    Zb7_PlatformListVolumes();
    EXPECT_EXIT(RunInPrivateMounts(RemountInPrivateNamespace), ::testing::ExitedWithCode(0), "");
}

TEST(VolumesInPrivateMounts, NamesNumbersLookUpsAndChanges) {
    static const std::string why = WhyNoPrivateMounts();
    if (!why.empty()) GTEST_SKIP() << why;
    // The table is in use before the fork, so the child must notice that it is another process
    // (in another mount namespace) and read its own mount table.
    Zb7_PlatformListVolumes();
    EXPECT_EXIT(RunInPrivateMounts(MountsInPrivateNamespace), ::testing::ExitedWithCode(0), "");
}
