// Operating-system failures as the original platform's error numbers.
#ifndef ZERB_PLATFORM_ERRORS_H
#define ZERB_PLATFORM_ERRORS_H

// errno to error number. ENOENT is -43 (file not found), or -120 (folder not found) when the
// caller knows that a folder of the path is what is missing.
long Zb7_ErrnoToOSErr(int error, bool folderMissing = false);

#endif
