// Launch and ExecuteShell: handing work to the system.
#include <cerrno>
#include <string>

#include "filecore/fsspec.h"
#include "filecore/paths.h"
#include "platform/errors.h"
#include "platform/launch.h"
#include "platform/processes.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "text/encoding.h"
#include "text/line_ends.h"

namespace {

constexpr size_t kLongNames = 255;

long Launch(const fmx::DataVect &parameters) {
    char switches[kZbSwitchesCapacity + 1] = "";
    fmx::TextUniquePtr pathText;
    unsigned long cursor = 0;
    if (!Zb7_ReadSwitchesAndPath(parameters, switches, pathText, cursor) || pathText->GetSize() == 0)
        return kParamErr;
    FSSpec ref;
    if (const long err = XP7_TxtToItem(*pathText, ref, kLongNames)) return err;
    std::string path;
    if (const long err = Zb7_FSSpecToPOSIXPath(ref, path)) return err;
    return Zb7_PlatformOpenItem(path);
}

// The command's output as host text, or an error. An empty command runs nothing.
long ExecuteShell(const fmx::DataVect &parameters, fmx::TextUniquePtr &text) {
    if (parameters.Size() < 2) return kParamErr;
    char switches[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 0;
    XP7_GetNextCStringFromVect(parameters, switches, sizeof switches, &cursor, fmx::Text::kEncoding_Native);
    // The shell speaks UTF-8, so that is the default here.
    const ZbTextEncoding encoding = XP7_GetEncodingSwitch(switches, fmx::Text::kEncoding_UTF8);
    long timeoutSeconds = 0;
    XP_GetTaggedLong(switches, "-TimeoutSeconds=", &timeoutSeconds);
    fmx::TextUniquePtr commandText;
    XP7_GetNextTxtFromVect(parameters, commandText, &cursor);
    char command[kZbSwitchesCapacity + 1] = "";
    XP7_TxtToCStr(commandText, 0, 0xFFFFFFFF, kZbSwitchesCapacity, command, encoding);
    if (!*command) return 0;

    std::string output;
    bool started = false, timedOut = false;
    const int error = Zb7_PlatformRunShell(command, timeoutSeconds, output, started, timedOut);
    if (!started) return kZbErrCannotProceed;
    if (error == ENOMEM) return kMemFullErr;
    if (error) return error;  // a read error: its errno, positive
    if (timedOut && output.empty()) return kTimeoutErr;
    XP7_BlockToTxt(output.data(), output.size(), text, encoding, 0);
    XP7_ChangeLineEndsTxt(text, kZbLineEndsToHost);
    return 0;
}

}  // namespace

fmx::errcode ZbFile7_DoLaunch(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                              fmx::Data &result) {
    XP7_OSErrLToData(Launch(parameters), result);
    return 0;
}

fmx::errcode ZbFile7_DoExecuteShell(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                    fmx::Data &result) {
    fmx::TextUniquePtr text;
    XP7_TxtOrErrorToData(ExecuteShell(parameters, text), text, parameters, result);
    return 0;
}
