// Every error number the plug-in answers, one name each: the classic file-system numbers its
// users' scripts test on every platform, and the plug-in's own (-4200 to -4299). docs/errors.md
// explains each one to the user; a test checks that none is missing there.
#ifndef ZERB_PLATFORM_ERRORS_H
#define ZERB_PLATFORM_ERRORS_H

enum ZbOSErr : long {
    kNoErr = 0,
    kGeneralErr = -1,                    // a confirmation not given, a keyword missing
    kDskFulErr = -34,                    // disk full, or a file too large
    kNsvErr = -35,                       // no such volume
    kIoErr = -36,                        // input/output error, or another failure of the system
    kBdNamErr = -37,                     // a name too long or not allowed, a path text too short or too long
    kEofErr = -39,                       // end of file
    kTmfoErr = -42,                      // too many files open, or too many jobs
    kFnfErr = -43,                       // file not found
    kVLckdErr = -46,                     // the volume is read-only
    kFBsyErr = -47,                      // file busy, or folder not empty
    kDupFNErr = -48,                     // an item of that name exists already
    kParamErr = -50,                     // a parameter missing or wrong
    kNotJPEGErr = -71,                   // the file does not begin as a JPEG does
    kNameOrSegmentErr = -92,             // a name longer than the function allows; a malformed JPEG segment
    kMemFullErr = -108,                  // not enough memory, or an image larger than allowed
    kDirNFErr = -120,                    // folder not found
    kUserCanceledErr = -128,             // the user cancelled
    kResNotFound = -192,                 // no resource fork, or no such resource
    kMapReadErr = -199,                  // a damaged resource fork
    kTooLargeErr = -207,                 // a path longer than can be answered; a segment larger than allowed
    kBadExifErr = -302,                  // malformed EXIF data
    kLengthErr = -416,                   // a password, or an output, longer or shorter than allowed
    kNoAFPClientErr = -1066,             // no AFP client
    kNotAFileErr = -1302,                // a folder or other non-file where a file's contents are meant
    kDiffVolErr = -1303,                 // source and destination on different volumes
    kNotAFolderErr = -1407,              // a file where a path needs a folder
    kNotSupportedErr = -1426,            // the file system does not support the operation
    kTimeoutErr = -1712,                 // a command's time limit ended it before it wrote anything
    kNoUserInteractionErr = -1713,       // dialogs cannot be shown
    kNoImporterErr = -2003,              // no decoder reads the file
    kNoDataErr = -2026,                  // none of the metadata asked for is in the file; a value without a stream
    kXMPNamespaceErr = -2158,            // an XMP segment without its namespace
    kZbErrNoPathForFileName = -4215,     // GetPathTo: currentFileName yields no path
    kZbErrAlreadyDisabled = -4217,       // Control: the functions are disabled already
    kZbErrCannotProceed = -4218,         // Control: not disabled or a wrong password; ExecuteShell: no pipe or shell
    kZbErrDisabled = -4220,              // the functions have been disabled
    kZbErrNotAvailable = -4221,          // not available on this platform or in this host
    kZbErrUnknownDialog = -4225,         // a dialog of an unknown kind
    kZbErrPolicy = -4230,                // refused by the server's policy
    kZbErrNegativeRange = -4241,         // GetContents: a negative start or length
    kZbErrBadPhotoshopBlock = -4247,     // SetMetaData: a malformed Photoshop block, data before a frame
    kZbErrPathIsErrorText = -4299,       // a path parameter holds another function's error result
    kAccessDeniedErr = -5000,            // permission denied
    kNameTooLongForServerErr = -5019,    // MountDisk: a name or password longer than its limit
    kUserNotAuthErr = -5023,             // MountDisk: the server refused the mount
    kBadImageDataErr = -8969,            // the image data are damaged
    kNoApplicationErr = -10814,          // no application opens the item
};

// errno to error number. ENOENT is kFnfErr (file not found), or kDirNFErr (folder not found) when
// the caller knows that a folder of the path is what is missing.
[[nodiscard]] long Zb7_ErrnoToOSErr(int error, bool folderMissing = false);

// A short English text for an error number, for answers that carry one beside the number.
const char *Zb7_OSErrText(long error);

#endif
