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

const char *Zb7_OSErrText(long error) {
    switch (error) {
    case kNoErr: return "no error";
    case kGeneralErr: return "a confirmation not given, a keyword missing";
    case kDskFulErr: return "disk full, or a file too large";
    case kNsvErr: return "no such volume";
    case kIoErr: return "input/output error, or another failure of the system";
    case kBdNamErr: return "a name too long or not allowed, a path text too short or too long";
    case kEofErr: return "end of file";
    case kTmfoErr: return "too many files open, or too many jobs";
    case kFnfErr: return "file not found";
    case kVLckdErr: return "the volume is read-only";
    case kFBsyErr: return "file busy, or folder not empty";
    case kDupFNErr: return "an item of that name exists already";
    case kParamErr: return "a parameter missing or wrong";
    case kNotJPEGErr: return "the file does not begin as a JPEG does";
    case kNameOrSegmentErr: return "a name longer than the function allows; a malformed JPEG segment";
    case kMemFullErr: return "not enough memory, or an image larger than allowed";
    case kDirNFErr: return "folder not found";
    case kUserCanceledErr: return "the user cancelled";
    case kResNotFound: return "no resource fork, or no such resource";
    case kMapReadErr: return "a damaged resource fork";
    case kTooLargeErr: return "a path longer than can be answered; a segment larger than allowed";
    case kBadExifErr: return "malformed EXIF data";
    case kLengthErr: return "a password, or an output, longer or shorter than allowed";
    case kNoAFPClientErr: return "no AFP client";
    case kNotAFileErr: return "a folder or other non-file where a file's contents are meant";
    case kDiffVolErr: return "source and destination on different volumes";
    case kNotAFolderErr: return "a file where a path needs a folder";
    case kNotSupportedErr: return "the file system does not support the operation";
    case kTimeoutErr: return "a command's time limit ended it before it wrote anything";
    case kNoUserInteractionErr: return "dialogs cannot be shown";
    case kNoImporterErr: return "no decoder reads the file";
    case kNoDataErr: return "none of the metadata asked for is in the file; a value without a stream";
    case kXMPNamespaceErr: return "an XMP segment without its namespace";
    case kZbErrNoPathForFileName: return "GetPathTo: currentFileName yields no path";
    case kZbErrAlreadyDisabled: return "Control: the functions are disabled already";
    case kZbErrCannotProceed: return "Control: not disabled or a wrong password; ExecuteShell: no pipe or shell";
    case kZbErrDisabled: return "the functions have been disabled";
    case kZbErrPolicy: return "refused by the server's policy";
    case kZbErrNotAvailable: return "not available on this platform or in this host";
    case kZbErrUnknownDialog: return "a dialog of an unknown kind";
    case kZbErrNegativeRange: return "GetContents: a negative start or length";
    case kZbErrBadPhotoshopBlock: return "SetMetaData: a malformed Photoshop block, data before a frame";
    case kZbErrPathIsErrorText: return "a path parameter holds another function's error result";
    case kAccessDeniedErr: return "permission denied";
    case kNameTooLongForServerErr: return "MountDisk: a name or password longer than its limit";
    case kUserNotAuthErr: return "MountDisk: the server refused the mount";
    case kBadImageDataErr: return "the image data are damaged";
    case kNoApplicationErr: return "no application opens the item";
    default: return "error";
    }
}
