// The plug-in's one entry point and its lifecycle: init, get string, shut-down.
#include <cstring>

#include "files/command_jobs.h"
#include "platform/forks.h"
#include "platform/volumes.h"
#include "core/globals.h"
#include "core/policy.h"
#include "plugin/registry.h"
#include "core/results.h"
#include "plugin/strings.h"

namespace {

constexpr short kZbLowestHostVersion = k70ExtnVersion;  // 50
constexpr short kZbHighestHostVersion = kMaxExtnVersion;  // 255
constexpr FMX_PtrType kZbSpokenExtnVersion = k80ExtnVersion;  // 51

// Start-up of the file layer. Answers an error number, 0 on success.
long ZbFileLayerStartup() {
    gStartupDiskNameAndColon = Zb7_PlatformStartupVolumeName() + ":";
    gDefaultCreator = ZbFourCharCode("ttxt");
    try {
        gDefaultFTypeListPtr = std::make_unique<std::array<uint32_t, kMaxDefaultTypes>>();
        (*gDefaultFTypeListPtr)[0] = ZbFourCharCode("TEXT");
        (*gDefaultFTypeListPtr)[1] = ZbFourCharCode("ttro");
        gNumTypes = 2;
    } catch (const std::bad_alloc &) {
        // Start-up still succeeds; the list stays empty.
    }
    return 0;
}

// Answers false when the plug-in must not be enabled. Every Linux system this build loads on has
// what the plug-in needs, so only the file layer's start-up can fail, and it is reported.
bool ZbFirstStartup() {
    if (const long err = ZbFileLayerStartup()) XP_DisplayMessage(kZbAlertStartupFailed, int(err));
    return true;
}

FMX_PtrType ZbInit(FMX_ExternCallPtr pb) {
    if (pb->extnVersion < kZbLowestHostVersion || pb->extnVersion > kZbHighestHostVersion)
        return FMX_PtrType(kBadExtnVersion);
    bool started = true;
    {
        ZbFrameLock lock(gFrameMutex);
        if (gXP_StartupCount == 0) started = ZbFirstStartup();
        ++gXP_StartupCount;
    }
    if (!started) return FMX_PtrType(kDoNotEnable);
    ZbPolicyLoad();  // a policy that cannot be used is reported to the system log now, not at the first call
    ZbRegisterAllFunctions();
    return kZbSpokenExtnVersion;
}

void ZbShutdown() {
    ZbUnregisterAllFunctions();
    Zb7_PlatformFinishBackgroundCloses();
    Zb7_EndAllJobs();  // the jobs' thread runs the plug-in's code, which goes away after this
    ZbFrameLock lock(gFrameMutex);
    gDefaultFTypeListPtr.reset();  // not rebuilt by a later init in this process
    gNumTypes = 0;
}

void ZbGetString(FMX_ExternCallPtr pb) {
    auto *buffer = reinterpret_cast<unsigned short *>(pb->result);
    if (!buffer || pb->parm3 == 0) return;
    buffer[0] = 0;
    // The host's size counts UTF-16 units; one is kept back for the terminating zero.
    const long capacity = long(std::min<FMX_PtrType>(pb->parm3 - 1, 0x7FFFFFFF));
    XP7_Do_GetStringUni(kZbStringTable, kZbStringKeyFormat, pb->parm1, static_cast<unsigned long>(pb->parm2),
                        capacity, buffer);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void FMExternCallProc(FMX_ExternCallPtr pb) {
    if (!pb) return;
    try {
        gFMX_ExternCallPtr = pb;
        switch (pb->whichCall) {
        case kFMXT_Init:
            pb->result = ZbInit(pb);
            break;
        case kFMXT_Shutdown:
            ZbShutdown();
            break;
        case kFMXT_GetString:
            ZbGetString(pb);
            break;
        case kFMXT_DoAppPreferences:  // the plug-in keeps no preferences
        default:
            break;
        }
    } catch (...) {
        // Nothing may reach the host as an exception; a failed init does not enable the plug-in.
        if (pb->whichCall == kFMXT_Init) pb->result = FMX_PtrType(kDoNotEnable);
    }
}
