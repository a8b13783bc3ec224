#include "plugin/registry.h"

#include <array>
#include <iterator>
#include <new>

#include "core/globals.h"
#include "core/functions.h"
#include "core/policy.h"
#include "core/results.h"
#include "platform/errors.h"
#include "plugin/strings.h"

namespace {

struct ZbFunctionEntry {
    short id;
    ZbGroup group;
    short minParameters;
    short maxParameters;
    ZbHandler handler;
};

// Every function, in the order of core/functions.def, which is the registration order of the
// main group: it is not that of the ids, and it is visible, as registration stops at the first
// function the host refuses.
constexpr ZbFunctionEntry kFunctions[] = {
#define ZB_FUNCTION(id, name, group, minimum, maximum, handler, signature) \
    {id, ZbGroup::group, minimum, maximum, handler},
#include "core/functions.def"
#undef ZB_FUNCTION
};

constexpr short kFirstFunctionId = kZbFnAppendContents;

constexpr short LastFunctionId() {
    short last = 0;
    for (const auto &e : kFunctions) last = e.id > last ? e.id : last;
    return last;
}
// Routes for every id from the first to the last; the ids between that no function has route
// nowhere.
constexpr unsigned kFunctionSlots = unsigned(LastFunctionId() - kFirstFunctionId + 1);

// Each id once; 0 and 1 for the Version functions only, every other id from the first on.
constexpr bool IdsAreSound() {
    for (size_t a = 0; a < std::size(kFunctions); ++a) {
        const short id = kFunctions[a].id;
        if ((kFunctions[a].group == ZbGroup::Version) != (id == 0 || id == 1)) return false;
        if (id > 1 && id < kFirstFunctionId) return false;
        for (size_t b = a + 1; b < std::size(kFunctions); ++b)
            if (kFunctions[b].id == id) return false;
    }
    return true;
}
static_assert(IdsAreSound(), "a function id is repeated or out of range in core/functions.def");

// One flag per optional group, set after its registration attempt and never cleared.
bool gExtraRegistered[size_t(ZbGroup::CopyFolder) + 1] = {};

// Handler by id - 4201; null for ids no function has.
constexpr std::array<ZbHandler, kFunctionSlots> MakeRoutes() {
    std::array<ZbHandler, kFunctionSlots> routes{};
    for (const auto &e : kFunctions)
        if (e.group != ZbGroup::Version) routes[size_t(e.id - kFirstFunctionId)] = e.handler;
    return routes;
}
constexpr auto kRoutes = MakeRoutes();

fmx::errcode ZbRegister(short functionId, short key, short minParameters, short maxParameters,
                        uint32_t flags) noexcept try {
    fmx::QuadCharUniquePtr pluginId('Z', '7', 'f', 'i');
    fmx::TextUniquePtr name, prototype;
    XP7_Do_GetString(kZbStringTable, kZbStringKeyFormat, static_cast<unsigned long>(key), prototype, false);
    XP7_Do_GetString(kZbStringTable, kZbStringKeyFormat, static_cast<unsigned long>(key), name, true);
    return fmx::ExprEnv::RegisterExternalFunction(*pluginId, functionId, *name, *prototype, minParameters,
                                                  maxParameters, flags, ZbDispatchFunction);
} catch (...) {
    return kMemFullErr;  // the host could not build the texts: count it as a refused registration
}

fmx::errcode ZbRegister(const ZbFunctionEntry &e) {
    return ZbRegister(e.id, short(ZbStringKeyOf(e.id)), e.minParameters, e.maxParameters,
                      e.group == ZbGroup::Version ? kZbVersionFunctionFlags : kZbFileFunctionFlags);
}

void ZbUnregister(short functionId) {
    try {
        fmx::QuadCharUniquePtr pluginId('Z', '7', 'f', 'i');
        fmx::ExprEnv::UnRegisterExternalFunction(*pluginId, functionId);
    } catch (...) {
        // errors of unregistration are ignored
    }
}

}  // namespace

fmx::errcode ZbRegisterExtraFunctions(ZbGroup group) {
    if (group == ZbGroup::Main || group == ZbGroup::Version || group == ZbGroup::Extension) return 0;
    ZbFrameLock lock(gFrameMutex);
    bool &registered = gExtraRegistered[size_t(group)];
    if (registered) return 0;
    fmx::errcode rc = 0;
    for (const auto &e : kFunctions)
        if (e.group == group) rc = ZbRegister(e);
    registered = true;
    return rc;
}

void ZbRegisterAllFunctions() {
    bool mainComplete = true;
    for (const auto &e : kFunctions) {
        if (e.group != ZbGroup::Main) continue;
        if (ZbRegister(e) != 0) {
            mainComplete = false;
            break;
        }
    }
    if (mainComplete && ZbRegisterExtraFunctions(ZbGroup::SetMetaData) == 0)
        ZbRegisterExtraFunctions(ZbGroup::LastAccessed);
    for (ZbGroup group : {ZbGroup::Version, ZbGroup::Extension})
        for (const auto &e : kFunctions)
            if (e.group == group) ZbRegister(e);
}

void ZbUnregisterAllFunctions() {
    // CopyFolder is left out on purpose: once registered, it stays with the host.
    for (ZbGroup group : {ZbGroup::Version, ZbGroup::Main, ZbGroup::Extension, ZbGroup::SetMetaData,
                          ZbGroup::LastAccessed, ZbGroup::AsciiValueToText, ZbGroup::ExecuteShell})
        for (const auto &e : kFunctions)
            if (e.group == group) ZbUnregister(e.id);
}

namespace {

void AnswerError(long err, fmx::Data &result) {
    try {
        XP7_OSErrLToData(err, result);
    } catch (...) {
    }
}

// A host failure inside a handler arrives as an exception; it becomes the call's error result.
fmx::errcode RunHandler(ZbHandler handler, short functionId, const fmx::ExprEnv &env,
                        const fmx::DataVect &parameters, fmx::Data &result) {
    try {
        return handler(functionId, env, parameters, result);
    } catch (const std::bad_alloc &) {
        AnswerError(kMemFullErr, result);
    } catch (...) {
        AnswerError(kIoErr, result);
    }
    return 0;
}

}  // namespace

fmx::errcode ZbDispatchFunction(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                fmx::Data &result) {
    if (functionId == kZbFnVersionNoParams || functionId == kZbFnVersion)
        return RunHandler(ZbFile7_DoVersion, functionId, env, parameters, result);
    if (functionId == kZbFnControl) return RunHandler(ZbFile7_DoControl, functionId, env, parameters, result);
    try {
        // The server's policy comes first: what the administrator refuses stays refused whatever
        // the calculation has switched.
        ZbPolicyCall policy(functionId, env, parameters);
        if (policy.Refused()) {
            AnswerError(kZbErrPolicy, result);
            return 0;
        }
        bool disabled;
        {
            ZbFrameLock lock(gFrameMutex);
            disabled = !gPassword.empty();
        }
        if (disabled) {
            AnswerError(kZbErrDisabled, result);
            return 0;
        }
        const auto index = static_cast<unsigned short>(functionId - kFirstFunctionId);
        if (index >= kFunctionSlots || !kRoutes[index]) return 0;
        // A call that touched something outside its folders was stopped there, before it changed
        // anything outside; it answers the policy error whatever the handler made of that.
        fmx::errcode rc;
        bool outside;
        {
            const ZbConfinedCall confined(policy.Folders());
            rc = RunHandler(kRoutes[index], functionId, env, parameters, result);
            outside = confined.Refused();
        }
        if (outside) AnswerError(kZbErrPolicy, result);
        policy.Finished(outside);
        return outside ? 0 : rc;
    } catch (...) {
        AnswerError(kMemFullErr, result);
    }
    return 0;
}
