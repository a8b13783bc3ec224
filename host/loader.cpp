// Loading a plug-in the way the host does: dlopen, entry point, options and name strings, init
// with an extension version, and shut-down at the end.
#include <dlfcn.h>

#include <algorithm>
#include <cstring>

#include "FMWrapper/FMXText.h"
#include "FMWrapper/FMXTypes.h"
#include "host/host_api.h"
#include "host/objects.h"

namespace zhost {
namespace {

fmx::errcode StartScriptUnavailable(const FMX_Text *, const FMX_Text *, FMX_ScriptControl, const FMX_Data *) {
    return 3;  // the emulator runs no scripts
}

fmx::errcode CurrentEnv(FMX_ExprEnv *) { return 0; }

std::string Narrow(const std::u16string &s) { return ToUtf8(s); }

}  // namespace

uint64_t Plugin::Send(uint8_t whichCall, uint8_t parm1, uint64_t parm2, uint64_t parm3, uint64_t result) {
    FMX_ExternCallStruct block;
    std::memset(&block, 0, sizeof block);
    block.extnVersion = extnVersion_;
    block.unusedID = -1;
    block.entryPoint = entry_;
    block.whichCall = whichCall;
    block.parm1 = parm1;
    block.parm2 = parm2;
    block.parm3 = parm3;
    block.instanceID = reinterpret_cast<FMX_PtrType>(handle_);
    block.result = result;
    block.cStartScript = StartScriptUnavailable;
    block.cCurrentEnv = CurrentEnv;
    entry_(&block);
    return block.result;
}

std::u16string Plugin::GetString(uint8_t id, uint32_t capacity) {
    std::vector<char16_t> buffer(capacity + 1, 0);
    Send(kFMXT_GetString, id, 0x0409 /* English */, capacity, reinterpret_cast<uint64_t>(buffer.data()));
    buffer[capacity] = 0;  // never trust the plug-in to terminate
    return std::u16string(buffer.data());
}

int64_t Plugin::Init() {
    initResult_ = static_cast<int64_t>(
        Send(kFMXT_Init, kFMXT_SASE, reinterpret_cast<uint64_t>(kHostVersionText), 0, 0));
    running_ = initResult_ >= 0;
    return initResult_;
}

void Plugin::Shutdown() {
    if (!running_) return;
    Send(kFMXT_Shutdown);
    running_ = false;
}

Plugin::~Plugin() {
    Shutdown();
    if (handle_) dlclose(handle_);
}

std::unique_ptr<Plugin> Plugin::Load(const std::string &path, int16_t extnVersion, std::string &error) {
    std::unique_ptr<Plugin> p(new Plugin);
    p->extnVersion_ = extnVersion;
    p->handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!p->handle_) {
        const char *why = dlerror();
        error = std::string("Could not load plug-in code, dlerror: ") + (why ? why : "unknown");
        return nullptr;
    }
    p->entry_ = reinterpret_cast<FMX_ExternCallProc>(dlsym(p->handle_, "FMExternCallProc"));
    if (!p->entry_) {
        error = "Plug-in entry point not found: " + path;
        return nullptr;
    }
    // Options: four-character id, "1", configure flag, "n" (new-style registration), init/shut-down
    // flag, idle flag, session flag, "n".
    p->options_ = p->GetString(kFMXT_OptionsStr);
    const auto &o = p->options_;
    if (o.size() < 11 || o[4] != u'1' || o[6] != u'n') {
        error = "Invalid plug-in options: \"" + Narrow(o) + "\"";
        return nullptr;
    }
    p->name_ = p->GetString(kFMXT_NameStr);
    if (p->name_.empty()) {
        error = "Missing plug-in name";
        return nullptr;
    }
    p->description_ = p->GetString(kFMXT_AppConfigStr);
    if (o[7] == u'Y') {
        const int64_t r = p->Init();
        if (r < 0) {
            error = "The plug-in did not start (init answered " + std::to_string(r) + ")";
            return nullptr;
        }
    }
    return p;
}

}  // namespace zhost

// For a program that does not link the emulator but gets it as the plug-in's dependency, the way
// a server process that has not loaded the server's library finds it through the plug-in's run
// path: loads and starts the plug-in at `path` (message 0), calls the function `name` with one text
// parameter and copies the answer, as UTF-8, into `answer`. 0, or -1 with the reason in `answer`.
extern "C" __attribute__((visibility("default"))) int zhost_LoadAndCall(const char *path, const char *name,
                                                                        const char *parameter, char *answer,
                                                                        size_t capacity) {
    std::string text;
    int status = -1;
    try {
        std::string error;
        auto plugin = zhost::Plugin::Load(path, kCurrentExtnVersion, error);
        if (!plugin) {
            text = error;
        } else {
            fmx::TextUniquePtr t;
            t->Assign(parameter, fmx::Text::kEncoding_UTF8);
            fmx::LocaleUniquePtr locale;
            fmx::DataUniquePtr value;
            value->SetAsText(*t, *locale);
            fmx::DataVectUniquePtr parameters;
            parameters->PushBack(*value);
            fmx::DataUniquePtr result;
            if (zhost::CallFunction(zhost::FromUtf8(name), *parameters, *result) != zhost::CallStatus::ok) {
                text = std::string("no such function: ") + name;
            } else {
                const fmx::Text &r = result->GetAsText();
                std::u16string units(r.GetSize(), u'\0');
                if (!units.empty()) r.GetUnicode(reinterpret_cast<fmx::uint16 *>(units.data()), 0, r.GetSize());
                text = zhost::ToUtf8(units);
                status = 0;
            }
        }
    } catch (const std::exception &e) {
        text = e.what();
    }
    if (capacity > 0) {
        const size_t n = std::min(text.size(), capacity - 1);
        std::memcpy(answer, text.data(), n);
        answer[n] = '\0';
    }
    return status;
}
