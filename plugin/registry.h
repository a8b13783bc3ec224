// Registration of the external functions with the host, and the one dispatcher every call
// goes through.
#ifndef ZERB_PLUGIN_REGISTRY_H
#define ZERB_PLUGIN_REGISTRY_H

#include "fmx/fmx.h"
#include "core/functions.h"

constexpr uint32_t kZbFileFunctionFlags = 0xE900;
constexpr uint32_t kZbVersionFunctionFlags = 0xFF01;

void ZbRegisterAllFunctions();
// Registers one optional group; answers the host's code of its last registration, or 0 when the
// group was registered before or is not an optional group.
fmx::errcode ZbRegisterExtraFunctions(ZbGroup group);
void ZbUnregisterAllFunctions();

fmx::errcode ZbDispatchFunction(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                fmx::Data &result);

#endif
