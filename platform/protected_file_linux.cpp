#include "platform/protected_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/unique_fd.h"

namespace {

ZbFileStamp StampOf(const struct stat &st) {
    ZbFileStamp s;
    s.device = st.st_dev;
    s.inode = st.st_ino;
    s.size = uint64_t(st.st_size);
    s.modified = int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    s.changed = int64_t(st.st_ctim.tv_sec) * 1000000000 + st.st_ctim.tv_nsec;
    return s;
}

// "" when owned by root and writable by nobody else, or what is wrong.
std::string OwnershipProblem(const struct stat &st, const char *what) {
    if (st.st_uid != 0) return std::string(what) + " is not owned by root (owner " + std::to_string(st.st_uid) + ")";
    if (st.st_mode & S_IWGRP) return std::string(what) + " is writable by its group";
    if (st.st_mode & S_IWOTH) return std::string(what) + " is writable by others";
    return "";
}

}  // namespace

int Zb7_PlatformFileStamp(const std::string &path, ZbFileStamp &stamp) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) return errno;
    stamp = StampOf(st);
    return 0;
}

int Zb7_PlatformReadProtectedFile(const std::string &path, size_t maxBytes, std::string &contents,
                                  ZbFileStamp &stamp, std::string &problem) {
    contents.clear();
    problem.clear();
    const auto slash = path.rfind('/');
    const std::string folder = slash == 0 ? "/" : path.substr(0, slash);
    ZbUniqueFd file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (file.fd < 0) {
        const int err = errno;
        if (err == ELOOP) problem = path + " is a symbolic link";
        else if (err != ENOENT) problem = path + " cannot be opened: " + strerror(err);
        return err == ELOOP ? -1 : err;
    }
    struct stat st, folderStatus;
    if (fstat(file.fd, &st) != 0) {
        problem = path + " cannot be examined: " + strerror(errno);
        return -1;
    }
    stamp = StampOf(st);
    if (!S_ISREG(st.st_mode)) {
        problem = path + " is not a regular file";
        return -1;
    }
    problem = OwnershipProblem(st, path.c_str());
    if (problem.empty()) {
        if (stat(folder.c_str(), &folderStatus) != 0)
            problem = "the folder " + folder + " cannot be examined: " + strerror(errno);
        else
            problem = OwnershipProblem(folderStatus, ("the folder " + folder).c_str());
    }
    if (!problem.empty()) return -1;
    if (uint64_t(st.st_size) > maxBytes) {
        problem = path + " is larger than " + std::to_string(maxBytes) + " bytes";
        return -1;
    }
    char buffer[8192];
    for (;;) {
        const ssize_t n = read(file.fd, buffer, sizeof buffer);
        if (n == 0) break;
        if (n < 0) {
            if (errno == EINTR) continue;
            problem = path + " cannot be read: " + strerror(errno);
            return -1;
        }
        contents.append(buffer, size_t(n));
        if (contents.size() > maxBytes) {
            problem = path + " is larger than " + std::to_string(maxBytes) + " bytes";
            return -1;
        }
    }
    return 0;
}
