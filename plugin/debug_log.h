// A diagnostic log for the plug-in's developers: an append-only text file "ZERB DEBUG LOG.txt"
// on the desktop, off unless a diagnostic build switches it on.
#ifndef ZERB_PLUGIN_DEBUG_LOG_H
#define ZERB_PLUGIN_DEBUG_LOG_H

#include "fmx/fmx.h"

constexpr char kZbDebugLogName[] = "ZERB DEBUG LOG.txt";

// Sets the log switch; switching on creates the log file on the desktop (an existing file
// answers -48 and is kept). Answers an error number, 0 on success.
[[nodiscard]] long XP7_DebugToFile_SET(unsigned char on);
// Appends the text to the log when the switch is on.
void XP7_DebugToFile(const char *text);
// The append itself: no time stamp, no line end, no conversion. Failures are silent.
long XP7_DebugToFileIntern(const char *text);
// Applies "-DebugTxtsON" and "-DebugTxtsOFF"; sets the result to "0" for each present and answers
// whether either was.
bool XP7_Debug_CheckSwitches(const char *switches, fmx::TextUniquePtr &result);
// Takes the first 1000 UTF-16 units of a text as a debug text (logged while debug texts are on).
void XP7_DebugStringTxt_Intern(const fmx::TextUniquePtr &text, short id);
void ZbDebugMessage(const char *text, long number);

#endif
