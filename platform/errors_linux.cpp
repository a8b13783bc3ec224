#include <cerrno>

#include "platform/errors.h"

long Zb7_ErrnoToOSErr(int error, bool folderMissing) {
    switch (error) {
    case 0: return 0;
    case ENOENT: return folderMissing ? -120 : -43;
    case ENOTDIR: return -120;
    case EEXIST: return -48;
    case EACCES:
    case EPERM: return -5000;
    case EROFS: return -46;
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return -34;
    case EBUSY:
    case ENOTEMPTY:
    case ETXTBSY: return -47;
    case EISDIR: return -1302;
    case EXDEV: return -1303;
    case ENAMETOOLONG: return -37;
    case EMFILE:
    case ENFILE: return -42;
    case ENOMEM: return -108;
    case EINVAL: return -50;
    case ENOTSUP: return -1426;
    case ELOOP: return -43;
    default: return -36;
    }
}
