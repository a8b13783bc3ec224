#include <cerrno>

#include "platform/errors.h"

long Zb7_ErrnoToOSErr(int error, bool folderMissing) {
    switch (error) {
    case 0: return kNoErr;
    case ENOENT: return folderMissing ? kDirNFErr : kFnfErr;
    case ENOTDIR: return kDirNFErr;
    case EEXIST: return kDupFNErr;
    case EACCES:
    case EPERM: return kAccessDeniedErr;
    case EROFS: return kVLckdErr;
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return kDskFulErr;
    case EBUSY:
    case ENOTEMPTY:
    case ETXTBSY: return kFBsyErr;
    case EISDIR: return kNotAFileErr;
    case EXDEV: return kDiffVolErr;
    case ENAMETOOLONG: return kBdNamErr;
    case EMFILE:
    case ENFILE: return kTmfoErr;
    case ENOMEM: return kMemFullErr;
    case EINVAL: return kParamErr;
    case ENOTSUP: return kNotSupportedErr;
    case ELOOP: return kFnfErr;
    default: return kIoErr;
    }
}
