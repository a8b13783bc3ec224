#include "plugin/debug_log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "platform/errors.h"
#include "platform/file_system.h"
#include "platform/finder_info.h"
#include "platform/system_folders.h"
#include "core/globals.h"
#include "core/params.h"
#include "core/results.h"

namespace {
bool gDebugToFile = false;
bool gDebugTexts = false;
std::string gDefaultDebugFolder;  // where the log lives; set when the log is switched on

std::string LogPath() { return gDefaultDebugFolder + "/" + kZbDebugLogName; }
}  // namespace

long XP7_DebugToFile_SET(unsigned char on) {
    ZbFrameLock lock(gFrameMutex);
    gDebugToFile = on != 0;
    if (!on) return 0;
    std::string desktop;
    if (const long err = Zb7_PlatformFindFolder(ZbFourCharCode("desk"), desktop)) return err;
    gDefaultDebugFolder = desktop;
    if (const long err = Zb7_PlatformCreateNewFile(LogPath())) return err;
    // The type only marks the log.
    (void)Zb7_PlatformSetTypeAndCreator(LogPath(), ZbFourCharCode("TEXT"), ZbFourCharCode("ttxt"));
    return 0;
}

void XP7_DebugToFile(const char *text) {
    ZbFrameLock lock(gFrameMutex);
    if (gDebugToFile) XP7_DebugToFileIntern(text);
}

long XP7_DebugToFileIntern(const char *text) {
    const size_t length = text ? std::strlen(text) : 0;
    if (length == 0) return 0;
    ZbFrameLock lock(gFrameMutex);
    if (gDefaultDebugFolder.empty()) return 0;
    (void)Zb7_PlatformAppendToFile(LogPath(), std::string_view(text, length));  // failures are silent
    return 0;
}

bool XP7_Debug_CheckSwitches(const char *switches, fmx::TextUniquePtr &result) {
    bool any = false;
    for (const auto &[word, value] : {std::pair{"-DebugTxtsON", true}, std::pair{"-DebugTxtsOFF", false}}) {
        if (!XP_HasSwitch(switches, word)) continue;
        {
            ZbFrameLock lock(gFrameMutex);
            gDebugTexts = value;
        }
        XP7_OSErrLToTxt(0, result);
        any = true;
    }
    return any;
}

void XP7_DebugStringTxt_Intern(const fmx::TextUniquePtr &text, short /*id*/) {
    {
        ZbFrameLock lock(gFrameMutex);
        if (!gDebugTexts) return;
    }
    const fmx::uint32 units = std::min<fmx::uint32>(text->GetSize(), 1000);
    std::vector<char> bytes(size_t(units) * 3 + 2);
    text->GetBytes(bytes.data(), fmx::uint32(bytes.size() - 1), 0, units, fmx::Text::kEncoding_UTF8);
    std::strcat(bytes.data(), "\r");
    XP7_DebugToFile(bytes.data());
}

void ZbDebugMessage(const char * /*text*/, long /*number*/) {
    // The message hook is empty in shipped builds.
}
