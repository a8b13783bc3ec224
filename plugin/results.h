// Results and error codes shared by every handler.
#ifndef ZERB_PLUGIN_RESULTS_H
#define ZERB_PLUGIN_RESULTS_H

#include <string>

#include "plugin/fmx.h"

// Error codes of the frame.
enum : long {
    kZbErrParameter = -50,         // a parameter is missing or wrong
    kZbErrPasswordLength = -416,   // Control: password shorter than 3 or longer than 64 bytes
    kZbErrAlreadyDisabled = -4217, // Control: functions are already disabled
    kZbErrNotDisabled = -4218,     // Control: not disabled, or the password does not match
    kZbErrDisabled = -4220,        // a function was called while functions are disabled
    kZbErrNotAvailable = -4221,    // the function is not available in this build
    kZbErrNoPathForFileName = -4215, // GetPathTo "currentFileName": that keyword yields no path
};

// "0" for success, otherwise "$$" and the signed decimal code.
std::string XP_OSErrLToCStr(long code);
void XP7_OSErrLToTxt(long code, fmx::TextUniquePtr &text);
void XP7_OSErrLToData(long code, fmx::Data &result);
long XP7_WinToMacOSErr(long code);

// The answer of a function that produces text: the text, or the error text when err is not 0.
void XP7_TxtOrErrorToData(long err, const fmx::TextUniquePtr &text, const fmx::DataVect &parameters,
                          fmx::Data &result);

// Sets a text result from an 8-bit string in the given encoding.
void XP7_CStrToData(const char *text, fmx::Data &result, fmx::Text::Encoding encoding = fmx::Text::kEncoding_UTF8);

// Start-up alerts: there is no window on a server, so they go to standard error.
enum { kZbAlertStartupFailed = 256, kZbAlertSystemTooOld = 24311 };
void XP_DisplayMessage(int alertId, int number);

#endif
