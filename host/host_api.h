// The loader side of the host emulator: function registry, plug-in loading and calling.
// Used by fmxhost and by the tests; part of libFMWrapper.so.
#ifndef ZERB_HOST_API_H
#define ZERB_HOST_API_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "FMWrapper/FMXExtern.h"
#include "FMWrapper/FMXTypes.h"  // QuadChar, which FMXCalcEngine.h uses without declaring it
#include "FMWrapper/FMXCalcEngine.h"
#include "FMWrapper/FMXData.h"

namespace zhost {

struct RegisteredFunction {
    uint32_t pluginId = 0;  // four characters, first in the high byte
    int16_t id = 0;
    std::u16string name;
    std::u16string prototype;
    int16_t minArgs = 0;
    int16_t maxArgs = 0;
    uint32_t flags = 0;
    fmx::ExtPluginType callback = nullptr;
};

// Functions currently registered, in the order they were first registered.
std::vector<RegisteredFunction> RegisteredFunctions();
// Look-up by name, ignoring the case of ASCII letters as the host's calculation engine does.
std::optional<RegisteredFunction> FindFunction(std::u16string_view name);
// Test hook: empties the registry, as a fresh host process starts.
void ForgetAllFunctions();
// Test hook: registering this function id answers the given host error (0 clears the hook).
void FailRegistrationOf(int16_t functionId, int16_t error);
// The name of the database file calculations run in, which Evaluate answers for Get(FileName);
// nullopt (the default) when there is none, and Get(FileName) answers an error.
void SetFileName(std::optional<std::u16string> name);
// Current application version text handed to the plug-in at init.
constexpr char16_t kHostVersionText[] = u"Server 22.1.1";

// One plug-in, loaded the way the host loads it: dlopen, entry point, options and name strings,
// init with an extension version; shut-down when destroyed.
class Plugin {
public:
    ~Plugin();
    Plugin(const Plugin &) = delete;
    Plugin &operator=(const Plugin &) = delete;

    // Loads and initialises a plug-in. On failure answers null and a message in `error`.
    static std::unique_ptr<Plugin> Load(const std::string &path, int16_t extnVersion, std::string &error);

    // Sends one message through the entry point and answers the block's result field.
    uint64_t Send(uint8_t whichCall, uint8_t parm1 = 0, uint64_t parm2 = 0, uint64_t parm3 = 0,
                  uint64_t result = 0);
    // Message 7: the string `id` read into a buffer of `capacity` UTF-16 units.
    std::u16string GetString(uint8_t id, uint32_t capacity = 1024);
    // Message 0 again (answers the init result) and message 4.
    int64_t Init();
    void Shutdown();

    int64_t initResult() const { return initResult_; }
    const std::u16string &name() const { return name_; }
    const std::u16string &options() const { return options_; }
    const std::u16string &description() const { return description_; }
    int16_t extnVersion() const { return extnVersion_; }
    void setExtnVersion(int16_t v) { extnVersion_ = v; }

private:
    Plugin() = default;
    void *handle_ = nullptr;
    FMX_ExternCallProc entry_ = nullptr;
    int16_t extnVersion_ = kCurrentExtnVersion;
    int64_t initResult_ = 0;
    bool running_ = false;
    std::u16string name_, options_, description_;
};

// The soname recorded in a module's file (64-bit ELF), "" when it has none or is no such module.
// The server shows it as the plug-in's version in Get(InstalledFMPlugins).
std::string ModuleSoname(const std::string &path);

enum class CallStatus { ok, unknownFunction, tooFewParameters, tooManyParameters };

// Calls a registered function the way the host's calculation engine does: the parameter count
// is checked against the registered minimum and maximum before the plug-in sees the call.
CallStatus CallFunction(std::u16string_view name, const fmx::DataVect &parameters, fmx::Data &result,
                        fmx::errcode *returned = nullptr);
// Same, by id, without the name look-up (the id must be registered).
CallStatus CallFunctionId(int16_t id, const fmx::DataVect &parameters, fmx::Data &result,
                          fmx::errcode *returned = nullptr);

}  // namespace zhost

#endif
