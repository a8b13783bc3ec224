// Registration of the external functions with the host, and the one dispatcher every call
// goes through.
#ifndef ZERB_PLUGIN_REGISTRY_H
#define ZERB_PLUGIN_REGISTRY_H

#include "plugin/fmx.h"

constexpr uint32_t kZbFileFunctionFlags = 0xE900;
constexpr uint32_t kZbVersionFunctionFlags = 0xFF01;

// Optional groups, registered at init (4287, 4291) or by a Version switch.
enum : short {
    kZbGroupSetMetaData = 4287,
    kZbGroupLastAccessed = 4291,
    kZbGroupAsciiValueToText = 4294,
    kZbGroupExecuteShell = 4295,
    kZbGroupCopyFolder = 4296,
};

void ZbRegisterAllFunctions();
// Registers one optional group; answers the host's code of its last registration, or 0 when the
// group was registered before or is not a group.
fmx::errcode ZbRegisterExtraFunctions(short functionId);
void ZbUnregisterAllFunctions();

fmx::errcode ZbDispatchFunction(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                fmx::Data &result);

#endif
