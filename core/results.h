// Results and error codes shared by every handler.
#ifndef ZERB_CORE_RESULTS_H
#define ZERB_CORE_RESULTS_H

#include <string>

#include "fmx/fmx.h"

// "0" for success, otherwise "$$" and the signed decimal code.
std::string XP_OSErrLToCStr(long code);
void XP7_OSErrLToTxt(long code, fmx::TextUniquePtr &text);
void XP7_OSErrLToData(long code, fmx::Data &result);
[[nodiscard]] long XP7_WinToMacOSErr(long code);

// The answer of a function that produces text: the text, or the error text when err is not 0.
void XP7_TxtOrErrorToData(long err, const fmx::TextUniquePtr &text, const fmx::DataVect &parameters,
                          fmx::Data &result);

// Sets a text result from an 8-bit string in the given encoding.
void XP7_CStrToData(const char *text, fmx::Data &result, fmx::Text::Encoding encoding = fmx::Text::kEncoding_UTF8);

// Start-up alerts: there is no window on a server, so they go to standard error.
enum { kZbAlertStartupFailed = 256 };
void XP_DisplayMessage(int alertId, int number);

#endif
