// The system log, where the plug-in reports what an administrator must see: a policy it cannot
// use, and the calls its policy refused. Lines go to /dev/log with facility LOG_USER and the ident
// "ZerbFile"; nothing is written (and nothing fails) where no log daemon listens.
#ifndef ZERB_PLATFORM_SYSTEM_LOG_H
#define ZERB_PLATFORM_SYSTEM_LOG_H

#include <string>

enum class ZbLogLevel { warning, notice };

// Writes one line. Control characters in the text become '?', so that a name taken from a
// calculation cannot forge a second line; the line is cut at 2000 bytes.
void Zb7_PlatformSystemLog(ZbLogLevel level, const std::string &line);

#endif
