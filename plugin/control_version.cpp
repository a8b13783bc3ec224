// Version (ids 0 and 1) and Control: the two functions of the frame itself. Both run while
// the other functions are disabled.
#include <cstring>

#include "core/globals.h"
#include "core/functions.h"
#include "core/params.h"
#include "platform/errors.h"
#include "plugin/registry.h"
#include "core/results.h"

namespace {

constexpr char kProductName[] = "Zerb File Plug-In";
// Both come from the build's one version definition, which also names the module (its soname).
constexpr char kVersionString[] = ZERB_VERSION_STRING;
constexpr char kVersionNumber[] = ZERB_VERSION_NUMBER;

// The platform text "-showplugininfo" has always answered; scripts compare it as it stands.
constexpr char kPlatformInfo[] = "PowerPC Mach-O";

const std::string kDefaultAnswer = std::string(kProductName) + " " + kVersionString;

struct ZbRegistrationSwitch {
    const char *word;
    ZbGroup group;
};
constexpr ZbRegistrationSwitch kRegistrationSwitches[] = {
    {"-RegisterSetMetaDataFunction", ZbGroup::SetMetaData},
    {"-RegisterGetDateLastAccessedFunction", ZbGroup::LastAccessed},
    {"-RegisterAsciiValueToTextFunction", ZbGroup::AsciiValueToText},
    {"-RegisterExecuteShellFunction", ZbGroup::ExecuteShell},
    {"-RegisterCopyFolderFunction", ZbGroup::CopyFolder},
};

// The settings switches: every one present is applied in order, and the last one sets the result.
// Answers false when none was present.
bool ApplySettingSwitches(const char *switches, std::string &answer) {
    bool any = false;
    if (XP_HasSwitch(switches, "-AliasBugWorkAroundOFF")) {
        ZbFrameLock lock(gFrameMutex);
        gAliasBugWorkAround = false;
        answer = XP_OSErrLToCStr(0);
        any = true;
    }
    if (XP_HasSwitch(switches, "-AliasBugWorkAroundON")) {
        ZbFrameLock lock(gFrameMutex);
        gAliasBugWorkAround = true;
        answer = XP_OSErrLToCStr(0);
        any = true;
    }
    for (const auto &s : kRegistrationSwitches) {
        if (!XP_HasSwitch(switches, s.word)) continue;
        answer = XP_OSErrLToCStr(ZbRegisterExtraFunctions(s.group));
        any = true;
    }
    return any;
}

}  // namespace

fmx::errcode ZbFile7_DoVersion(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                               fmx::Data &result) {
    std::string answer = kDefaultAnswer;
    if (parameters.Size() > 0) {
        char switches[kZbSwitchesCapacity] = "";
        unsigned long cursor = 0;
        XP7_GetNextCStringFromVect(parameters, switches, sizeof switches, &cursor, fmx::Text::kEncoding_Native);
        if (XP_HasSwitch(switches, "-getversionnumber"))
            answer = kVersionNumber;
        else if (XP_HasSwitch(switches, "-getversionstring"))
            answer = kDefaultAnswer;
        else if (XP_HasSwitch(switches, "-showplugininfo"))
            answer = kPlatformInfo;
        else
            ApplySettingSwitches(switches, answer);
    }
    XP7_CStrToData(answer.c_str(), result, fmx::Text::kEncoding_ASCII_Mac);
    return 0;
}

fmx::errcode ZbFile7_DoControl(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                               fmx::Data &result) {
    char switches[kZbSwitchesCapacity] = "";
    char password[kZbSwitchesCapacity] = "";
    unsigned long cursor = 0;
    XP7_GetNextCStringFromVect(parameters, switches, sizeof switches, &cursor, fmx::Text::kEncoding_Native);
    XP7_GetNextCStringFromVect(parameters, password, sizeof password, &cursor, fmx::Text::kEncoding_Native);

    long code = 0;
    const bool disable = XP_HasSwitch(switches, "DisableAllFunctions");
    const bool enable = XP_HasSwitch(switches, "EnableAllFunctions");
    const bool status = XP_HasSwitch(switches, "CurrentEnabledStatus");
    const size_t passwordLength = std::strlen(password);
    {
        ZbFrameLock lock(gFrameMutex);
        if (parameters.Size() == 0 || disable + enable + status != 1) {
            code = kParamErr;
        } else if (status) {
            XP7_CStrToData(gPassword.empty() ? "1" : "0", result);
            return 0;
        } else if (enable && gPassword.empty()) {
            code = kZbErrCannotProceed;
        } else if (passwordLength < 3 || passwordLength > 64) {
            code = kLengthErr;
        } else if (disable) {
            if (gPassword.empty())
                gPassword = password;
            else
                code = kZbErrAlreadyDisabled;
        } else if (gPassword == password) {  // byte for byte, letter case included
            gPassword.clear();
        } else {
            code = kZbErrCannotProceed;
        }
    }
    XP7_OSErrLToData(code, result);
    return 0;
}
