// The functions of the plug-in as the code names them, from the one list in core/functions.def:
// their ids (kZbFnGetFileSizeTotal ...), their groups, and their handlers' declarations.
#ifndef ZERB_CORE_FUNCTIONS_H
#define ZERB_CORE_FUNCTIONS_H

#include "fmx/fmx.h"

enum ZbFunctionId : short {
#define ZB_FUNCTION(id, name, group, minimum, maximum, handler, signature) kZbFn##name = id,
#include "core/functions.def"
#undef ZB_FUNCTION
};

// How a function comes to be registered (see core/functions.def).
enum class ZbGroup { Main, Version, Extension, SetMetaData, LastAccessed, AsciiValueToText, ExecuteShell, CopyFolder };

// Each handler sets its value or its error text in the result and answers 0 to the host. A
// handler that serves several functions tells them apart by the id it receives.
using ZbHandler = fmx::errcode (*)(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                   fmx::Data &result);
#define ZB_FUNCTION(id, name, group, minimum, maximum, handler, signature) \
    fmx::errcode handler(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters, fmx::Data &result);
#include "core/functions.def"
#undef ZB_FUNCTION

// The key of a function's name and prototype in the string table: its id, or for the two Version
// functions (ids 0 and 1) 9000 and 9001.
constexpr int ZbStringKeyOf(int functionId) { return functionId < 2 ? 9000 + functionId : functionId; }

#endif
