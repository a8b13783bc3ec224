// The host's function registry: FM_ExprEnv_* and the call path of the calculation engine.
#include <algorithm>
#include <map>
#include <mutex>

#include "FMWrapper/FMXTypes.h"
#include "FMWrapper/FMXText.h"
#include "FMWrapper/FMXData.h"
#include "FMWrapper/FMXCalcEngine.h"
#include "host/host_api.h"
#include "host/objects.h"

using namespace zhost;

namespace {
std::mutex gRegistryLock;
std::vector<RegisteredFunction> gFunctions;  // registration order
std::map<int16_t, int16_t> gFailingIds;
std::optional<std::u16string> gFileName;  // under gRegistryLock

uint32_t MacType(const fmx::QuadChar &q) {
    const auto &c = Of<QuadCharObj>(q).c;
    return uint32_t(c[0]) << 24 | uint32_t(c[1]) << 16 | uint32_t(c[2]) << 8 | c[3];
}

bool SameNameIgnoringAsciiCase(std::u16string_view a, std::u16string_view b) {
    auto lower = [](char16_t c) { return (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c; };
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                              [&](char16_t x, char16_t y) { return lower(x) == lower(y); });
}
}  // namespace

namespace zhost {

std::vector<RegisteredFunction> RegisteredFunctions() {
    std::lock_guard lock(gRegistryLock);
    return gFunctions;
}

std::optional<RegisteredFunction> FindFunction(std::u16string_view name) {
    std::lock_guard lock(gRegistryLock);
    for (const auto &f : gFunctions)
        if (SameNameIgnoringAsciiCase(f.name, name)) return f;
    return std::nullopt;
}

void ForgetAllFunctions() {
    std::lock_guard lock(gRegistryLock);
    gFunctions.clear();
}

void SetFileName(std::optional<std::u16string> name) {
    std::lock_guard lock(gRegistryLock);
    gFileName = std::move(name);
}

void FailRegistrationOf(int16_t functionId, int16_t error) {
    std::lock_guard lock(gRegistryLock);
    if (error == 0)
        gFailingIds.erase(functionId);
    else
        gFailingIds[functionId] = error;
}

static CallStatus Dispatch(const RegisteredFunction &f, const fmx::DataVect &parameters, fmx::Data &result,
                           fmx::errcode *returned) {
    const auto count = static_cast<int64_t>(parameters.Size());
    if (count < f.minArgs) return CallStatus::tooFewParameters;
    if (f.maxArgs >= 0 && count > f.maxArgs) return CallStatus::tooManyParameters;
    ExprEnvObj env;
    const fmx::errcode rc = f.callback(f.id, *As<fmx::ExprEnv>(&env), parameters, result);
    if (returned) *returned = rc;
    return CallStatus::ok;
}

CallStatus CallFunction(std::u16string_view name, const fmx::DataVect &parameters, fmx::Data &result,
                        fmx::errcode *returned) {
    const auto f = FindFunction(name);
    if (!f) return CallStatus::unknownFunction;
    return Dispatch(*f, parameters, result, returned);
}

CallStatus CallFunctionId(int16_t id, const fmx::DataVect &parameters, fmx::Data &result, fmx::errcode *returned) {
    std::optional<RegisteredFunction> f;
    {
        std::lock_guard lock(gRegistryLock);
        for (const auto &g : gFunctions)
            if (g.id == id) f = g;
    }
    if (!f) return CallStatus::unknownFunction;
    return Dispatch(*f, parameters, result, returned);
}

}  // namespace zhost

extern "C" {

fmx::ExprEnv *FM_ExprEnv_Constructor1(fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [] { return As<fmx::ExprEnv>(new ExprEnvObj); });
}

// The emulator's calculation engine knows one expression, Get(FileName) (spaces and case as the
// host allows them), which answers the name fmxhost --file-name set. Any other expression, and
// Get(FileName) without a file, answers 3, "command unavailable".
fmx::errcode FM_ExprEnv_Evaluate(const void *, const fmx::Text &expression, fmx::Data &result,
                                 fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&]() -> fmx::errcode {
        std::u16string compact;
        for (char16_t c : Of<TextObj>(expression).s)
            if (c != u' ' && c != u'\t' && c != u'\r' && c != u'\n') compact += c;
        if (!SameNameIgnoringAsciiCase(compact, u"Get(FileName)")) return 3;
        std::optional<std::u16string> name;
        {
            std::lock_guard lock(gRegistryLock);
            name = gFileName;
        }
        if (!name) return 3;
        fmx::TextUniquePtr text;
        text->AssignUnicodeWithLength(reinterpret_cast<const fmx::uint16 *>(name->data()), fmx::uint32(name->size()));
        fmx::LocaleUniquePtr locale;
        result.SetAsText(*text, *locale);
        return 0;
    });
}

fmx::errcode FM_ExprEnv_RegisterExternalFunction(const fmx::QuadChar &pluginId, short functionId,
                                                 const fmx::Text &functionName, const fmx::Text &functionPrototype,
                                                 short minArgs, short maxArgs, fmx::uint32 compatibleOnFlags,
                                                 fmx::ExtPluginType funcPtr, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&]() -> fmx::errcode {
        RegisteredFunction f;
        f.pluginId = MacType(pluginId);
        f.id = functionId;
        f.name = Of<TextObj>(functionName).s;
        f.prototype = Of<TextObj>(functionPrototype).s;
        f.minArgs = minArgs;
        f.maxArgs = maxArgs;
        f.flags = compatibleOnFlags;
        f.callback = funcPtr;
        if (f.name.empty() || !funcPtr || minArgs < 0 || (maxArgs >= 0 && maxArgs < minArgs)) return 960;
        std::lock_guard lock(gRegistryLock);
        if (auto it = gFailingIds.find(functionId); it != gFailingIds.end()) return it->second;
        // A second registration of the same plug-in and id replaces the first in place.
        auto same = std::find_if(gFunctions.begin(), gFunctions.end(),
                                 [&](const RegisteredFunction &g) { return g.pluginId == f.pluginId && g.id == f.id; });
        if (same != gFunctions.end())
            *same = f;
        else
            gFunctions.push_back(f);
        return 0;
    });
}

fmx::errcode FM_ExprEnv_UnRegisterExternalFunction(const fmx::QuadChar &pluginId, short functionId,
                                                   fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&]() -> fmx::errcode {
        const uint32_t id = MacType(pluginId);
        std::lock_guard lock(gRegistryLock);
        auto it = std::find_if(gFunctions.begin(), gFunctions.end(),
                               [&](const RegisteredFunction &g) { return g.pluginId == id && g.id == functionId; });
        if (it == gFunctions.end()) return 960;  // not registered
        gFunctions.erase(it);
        return 0;
    });
}

fmx::ptrtype FM_ExprEnv_SessionID(const void *_self, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return fmx::ptrtype(Self<ExprEnvObj>(_self).sessionId); });
}

fmx::ptrtype FM_ExprEnv_FileID(const void *_self, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return fmx::ptrtype(Self<ExprEnvObj>(_self).fileId); });
}

void FM_ExprEnv_Delete(void *_self, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] { delete static_cast<ExprEnvObj *>(_self); });
}
}
