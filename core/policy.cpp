#include "core/policy.h"

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>

#include "core/functions.h"
#include "core/rapidjson.h"
#include "platform/errors.h"
#include "platform/file_system.h"
#include "platform/protected_file.h"
#include "platform/system_log.h"

namespace {

// ---- names ----

struct ZbNamedFunction {
    std::string_view name;  // after "ZbFile_"
    short id;
    std::string_view signature;
};

constexpr ZbNamedFunction kNames[] = {
#define ZB_FUNCTION(id, name, group, minimum, maximum, handler, signature) \
    {#name, id, signature},
#include "core/functions.def"
#undef ZB_FUNCTION
};

// The functions whose every call is logged (with "log": true): they delete, move, overwrite,
// rewrite contents in place, or run something.
constexpr short kChangingFunctions[] = {
    kZbFnDeleteFile,  kZbFnDeleteFolder,   kZbFnMoveFile,   kZbFnCopyFile,    kZbFnCopyFolder,
    kZbFnSetContents, kZbFnAppendContents, kZbFnSubstitute, kZbFnSetMetaData, kZbFnExecuteShell,
    kZbFnRunCommand,  kZbFnLaunch,         kZbFnMountDisk,  kZbFnUnmountDisk,
};

bool SameIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string LowerCase(std::string s) {
    for (char &c : s) c = c >= 'A' && c <= 'Z' ? char(c + 32) : c;  // ASCII only: names are UTF-8
    return s;
}

// The key a database is kept under: its name in lower case, without ".fmp12".
std::string DatabaseKey(std::string name) {
    name = LowerCase(std::move(name));
    constexpr std::string_view kExtension = ".fmp12";
    if (name.size() > kExtension.size() && name.ends_with(kExtension)) name.resize(name.size() - kExtension.size());
    return name;
}

const ZbNamedFunction *FunctionOfId(short id) {
    for (const auto &f : kNames)
        if (f.id == id) return &f;
    return nullptr;
}

// ---- reading ----

using JsonValue = rapidjson::Value;

bool ReadFolders(const JsonValue &value, const std::string &where, std::vector<std::string> &folders,
                 std::string &reason) {
    if (!value.IsArray()) {
        reason = where + " must be a list of folder paths";
        return false;
    }
    for (const auto &item : value.GetArray()) {
        if (!item.IsString() || item.GetStringLength() == 0 || item.GetString()[0] != '/' ||
            std::strlen(item.GetString()) != item.GetStringLength()) {
            reason = where + " must hold absolute folder paths (beginning with /)";
            return false;
        }
        folders.emplace_back(item.GetString(), item.GetStringLength());
    }
    return true;
}

bool ReadDenials(const JsonValue &value, const std::string &where, std::vector<short> &denied, std::string &reason) {
    if (!value.IsArray()) {
        reason = where + " must be a list of function names";
        return false;
    }
    for (const auto &item : value.GetArray()) {
        const short id = item.IsString() ? ZbFunctionIdOfName({item.GetString(), item.GetStringLength()}) : -1;
        if (id < 0) {
            reason = where + " names an unknown function" +
                     (item.IsString() ? ": " + std::string(item.GetString(), item.GetStringLength()) : std::string());
            return false;
        }
        // Version and Control stay available whatever the policy says (the dispatcher does not ask
        // about them).
        if (id != kZbFnVersion && id != kZbFnControl) denied.push_back(id);
    }
    return true;
}

// The members of one scope; `global` allows "databases" and "log".
bool ReadRules(const JsonValue &object, const std::string &where, bool global, ZbPolicy &policy,
               ZbPolicyRules &rules, std::string &reason) {
    if (!object.IsObject()) {
        reason = where + " must be an object";
        return false;
    }
    std::set<std::string> seen;
    for (const auto &member : object.GetObject()) {
        const std::string key(member.name.GetString(), member.name.GetStringLength());
        const std::string at = where.empty() ? "\"" + key + "\"" : where + " \"" + key + "\"";
        if (!seen.insert(key).second) {
            reason = at + " appears twice";
            return false;
        }
        if (key == "read") {
            if (!ReadFolders(member.value, at, rules.read, reason)) return false;
            rules.limitsFolders = true;
        } else if (key == "write") {
            if (!ReadFolders(member.value, at, rules.write, reason)) return false;
            rules.limitsFolders = true;
        } else if (key == "deny") {
            if (!ReadDenials(member.value, at, rules.denied, reason)) return false;
        } else if (global && key == "log") {
            if (!member.value.IsBool()) {
                reason = at + " must be true or false";
                return false;
            }
            policy.log = member.value.GetBool();
        } else if (global && key == "databases") {
            if (!member.value.IsObject()) {
                reason = at + " must be an object of database names";
                return false;
            }
            policy.hasDatabases = true;
            for (const auto &database : member.value.GetObject()) {
                const std::string name(database.name.GetString(), database.name.GetStringLength());
                const std::string dbWhere = "database \"" + name + "\"";
                if (name.empty()) {
                    reason = "a database name is empty";
                    return false;
                }
                auto [entry, isNew] = policy.databases.try_emplace(DatabaseKey(name));
                if (!isNew) {
                    reason = dbWhere + " appears twice";
                    return false;
                }
                if (!ReadRules(database.value, dbWhere, false, policy, entry->second, reason)) return false;
            }
        } else {
            reason = "unknown key " + at;
            return false;
        }
    }
    std::sort(rules.denied.begin(), rules.denied.end());
    rules.denied.erase(std::unique(rules.denied.begin(), rules.denied.end()), rules.denied.end());
    return true;
}

// ---- folders ----

// A folder as the kernel finds it (links and ".." resolved); one that does not exist yet is kept
// as written, without "." components and trailing "/".
std::string RealFolder(const std::string &folder) {
    std::string real;
    if (Zb7_PlatformRealPath(folder, real) == 0) return real;
    std::string clean;
    size_t at = 0;
    while (at < folder.size()) {
        size_t end = folder.find('/', at);
        if (end == std::string::npos) end = folder.size();
        const std::string_view part = std::string_view(folder).substr(at, end - at);
        if (part == "..") {
            const size_t slash = clean.rfind('/');
            clean.resize(slash == std::string::npos ? 0 : slash);
        } else if (!part.empty() && part != ".") {
            clean.append("/").append(part);
        }
        at = end + 1;
    }
    return clean.empty() ? "/" : clean;
}

// The part of the folders `a` that also lies in the folders `b`.
std::vector<std::string> Meet(const std::vector<std::string> &a, const std::vector<std::string> &b) {
    std::vector<std::string> out;
    const auto withinOneOf = [](const std::string &path, const std::vector<std::string> &folders) {
        return std::any_of(folders.begin(), folders.end(),
                           [&](const std::string &f) { return Zb7_PathWithin(path, f); });
    };
    for (const std::string &f : a)
        if (withinOneOf(f, b)) out.push_back(f);
    for (const std::string &g : b)
        if (withinOneOf(g, a)) out.push_back(g);
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
    return out;
}

ZbConfinement FoldersOf(const ZbPolicyRules &rules) {
    ZbConfinement c;
    for (const std::string &f : rules.write) c.write.push_back(RealFolder(f));
    c.read = c.write;
    for (const std::string &f : rules.read) c.read.push_back(RealFolder(f));
    return c;
}

// Each scope's folders, a database's met with the global ones.
void ResolveFolders(ZbPolicy &policy) {
    if (policy.global.limitsFolders) policy.global.folders = FoldersOf(policy.global);
    for (auto &[name, rules] : policy.databases) {
        if (!rules.limitsFolders) {
            rules.folders = policy.global.folders;
        } else if (!policy.global.folders) {
            rules.folders = FoldersOf(rules);
        } else {
            const ZbConfinement own = FoldersOf(rules);
            rules.folders = ZbConfinement{Meet(own.read, policy.global.folders->read),
                                          Meet(own.write, policy.global.folders->write)};
        }
    }
}

// ---- the process's policy ----

constexpr size_t kMaxPolicyBytes = 1 << 20;
constexpr auto kLookInterval = std::chrono::seconds(1);
constexpr int kLogLinesPerSecond = 20;

struct PolicyState {
    std::mutex mutex;
    bool looked = false;
    std::chrono::steady_clock::time_point lastLook;
    bool present = false;  // a file exists (usable or not)
    ZbFileStamp stamp;
    std::shared_ptr<const ZbPolicy> policy;  // null without a file, and while failing closed
    bool failingClosed = false;
    std::set<std::string> reasonsLogged;
    // The refusal log's rate limit: lines written in the current second, and those dropped.
    std::chrono::steady_clock::time_point logSecond;
    int logLines = 0;
    long dropped = 0;
};

// A static object, not one on the heap: an unloaded plug-in leaves nothing behind (the host calls
// no function once it has told the plug-in to shut down).
PolicyState &State() {
    static PolicyState state;
    return state;
}

void FailClosed(PolicyState &s, const std::string &reason) {
    s.policy.reset();
    s.failingClosed = true;
    if (s.reasonsLogged.insert(reason).second)
        Zb7_PlatformSystemLog(ZbLogLevel::warning, "policy " + std::string(kZbPolicyPath) +
                                                       " refused, every function but Version and Control is "
                                                       "refused: " + reason);
}

// Reads the file again. Called with the mutex held.
void Reload(PolicyState &s) {
    std::string text, problem;
    ZbFileStamp stamp;
    const int err = Zb7_PlatformReadProtectedFile(kZbPolicyPath, kMaxPolicyBytes, text, stamp, problem);
    if (err == ENOENT) {
        s.present = false;
        s.policy.reset();
        s.failingClosed = false;
        return;
    }
    s.present = true;
    s.stamp = stamp;
    if (err != 0) return FailClosed(s, problem.empty() ? "cannot be read" : problem);
    try {
        auto policy = std::make_shared<ZbPolicy>();
        std::string reason;
        if (ZbParsePolicy(text, *policy, reason) != 0) return FailClosed(s, reason);
        ResolveFolders(*policy);
        s.policy = std::move(policy);
        s.failingClosed = false;
    } catch (...) {
        FailClosed(s, "not enough memory to read it");
    }
}

// Looks at the file when a second has passed since the last look, and reads it when it changed.
void Refresh(PolicyState &s, bool force) {
    const auto now = std::chrono::steady_clock::now();
    if (!force && s.looked && now - s.lastLook < kLookInterval) return;
    s.looked = true;
    s.lastLook = now;
    if (!force) {
        ZbFileStamp stamp;
        const int err = Zb7_PlatformFileStamp(kZbPolicyPath, stamp);
        if (err == ENOENT && !s.present) return;
        if (err == 0 && s.present && stamp == s.stamp) return;
    }
    Reload(s);
}

std::string Utf8Of(const fmx::Text &text) {
    std::string bytes(size_t(text.GetSize()) * 4 + 1, '\0');
    text.GetBytes(bytes.data(), fmx::uint32(bytes.size()), 0, fmx::Text::kSize_End, fmx::Text::kEncoding_UTF8);
    bytes.resize(std::strlen(bytes.c_str()));
    return bytes;
}

// The name of the database the calculation runs in, "" when the host cannot say.
std::string DatabaseOf(const fmx::ExprEnv &env) {
    try {
        fmx::TextUniquePtr expression;
        expression->Assign("Get ( FileName )", fmx::Text::kEncoding_UTF8);
        fmx::DataUniquePtr value;
        if (env.Evaluate(*expression, *value) != 0) return "";
        return Utf8Of(value->GetAsText());
    } catch (...) {
        return "";
    }
}

// Writes one line, unless kLogLinesPerSecond were written in this second already; the number
// dropped is told with the next line written.
void LogLine(const std::string &line) {
    PolicyState &s = State();
    long dropped = 0;
    {
        std::lock_guard lock(s.mutex);
        const auto now = std::chrono::steady_clock::now();
        if (now - s.logSecond >= std::chrono::seconds(1)) {
            s.logSecond = now;
            s.logLines = 0;
            dropped = s.dropped;
            s.dropped = 0;
        }
        if (s.logLines >= kLogLinesPerSecond) {
            ++s.dropped;
            return;
        }
        ++s.logLines;
    }
    if (dropped > 0)
        Zb7_PlatformSystemLog(ZbLogLevel::notice, std::to_string(dropped) + " log lines dropped (more than " +
                                                      std::to_string(kLogLinesPerSecond) + " a second)");
    Zb7_PlatformSystemLog(ZbLogLevel::notice, line);
}

// Whether a parameter of this name may be shown in the log: the paths and volumes a function
// touches, never a password, a command or a command's input.
bool Logged(std::string_view parameter) {
    return parameter == "path" || parameter == "source" || parameter == "destination" || parameter == "location" ||
           parameter == "volume" || parameter == "volumeName";
}

// `what` ("refused" or "called"), the database, the function and the parameters it may show,
// each with its name.
void LogCall(const char *what, short functionId, const std::string &database, const fmx::DataVect &parameters) {
    std::string line = std::string(what) + ": database ";
    line += database.empty() ? "-" : database;
    const ZbNamedFunction *f = FunctionOfId(functionId);
    line += ", function ZbFile_" + std::string(f ? f->name : "?");
    const std::string_view signature = f ? f->signature : std::string_view();
    fmx::uint32 index = 0;
    for (size_t at = 0; at < signature.size() && index < parameters.Size(); ++index) {
        size_t end = signature.find(';', at);
        if (end == std::string_view::npos) end = signature.size();
        std::string_view word = signature.substr(at, end - at);
        at = end + 1;
        const auto first = word.find_first_not_of(" (){}");
        const auto last = word.find_last_not_of(" (){}");
        word = first == std::string_view::npos ? std::string_view() : word.substr(first, last - first + 1);
        if (!Logged(word)) continue;
        try {
            std::string text = Utf8Of(parameters.AtAsText(index));
            if (text.size() > 1024) text = text.substr(0, 1024) + "...";
            for (char &c : text) c = c == '\n' || c == '\r' ? ' ' : c;  // one line in the log
            line += ", " + std::string(word) + " " + text;
        } catch (...) {
        }
    }
    LogLine(line);
}

}  // namespace

bool ZbPolicyRules::Denies(short functionId) const {
    return std::binary_search(denied.begin(), denied.end(), functionId);
}

const ZbPolicyRules *ZbPolicy::RulesOf(const std::string &database) const {
    const auto it = databases.find(DatabaseKey(database));
    return it == databases.end() ? nullptr : &it->second;
}

short ZbFunctionIdOfName(std::string_view name) {
    constexpr std::string_view kPrefix = "ZbFile_";
    if (name.size() > kPrefix.size() && SameIgnoringCase(name.substr(0, kPrefix.size()), kPrefix))
        name.remove_prefix(kPrefix.size());
    for (const auto &f : kNames)
        if (f.id != kZbFnVersionNoParams && SameIgnoringCase(f.name, name)) return f.id;
    return -1;
}

long ZbParsePolicy(std::string_view json, ZbPolicy &policy, std::string &reason) {
    policy = ZbPolicy();
    rapidjson::Document document;
    document.Parse(json.data(), json.size());
    if (document.HasParseError()) {
        reason = std::string("malformed JSON at byte ") + std::to_string(document.GetErrorOffset()) + ": " +
                 rapidjson::GetParseError_En(document.GetParseError());
        return kZbErrPolicy;
    }
    if (!document.IsObject()) {
        reason = "the policy must be a JSON object";
        return kZbErrPolicy;
    }
    if (!ReadRules(document, "", true, policy, policy.global, reason)) return kZbErrPolicy;
    return 0;
}

void ZbPolicyLoad() {
    PolicyState &s = State();
    std::lock_guard lock(s.mutex);
    Refresh(s, true);
}

ZbPolicyCall::ZbPolicyCall(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters)
    : functionId_(functionId), env_(env), parameters_(parameters) {
    {
        PolicyState &s = State();
        std::lock_guard lock(s.mutex);
        Refresh(s, false);
        if (s.failingClosed) {
            refused_ = true;
            return;
        }
        if (!s.policy) return;
        policy_ = s.policy;
    }
    rules_ = &policy_->global;
    bool named = false;
    if (policy_->hasDatabases) {
        database_ = DatabaseOf(env);
        named = true;
        if (const ZbPolicyRules *own = database_.empty() ? nullptr : policy_->RulesOf(database_)) rules_ = own;
    }
    refused_ = policy_->global.Denies(functionId) || rules_->Denies(functionId);
    if (refused_ && policy_->log) {
        if (!named) database_ = DatabaseOf(env);
        LogCall("refused", functionId, database_, parameters);
    }
}

const ZbConfinement *ZbPolicyCall::Folders() const {
    // FindFolder and GetPathTo only answer where a system folder or the application is: they read
    // and change nothing, so the paths they answer give no access the folders do not.
    if (functionId_ == kZbFnFindFolder || functionId_ == kZbFnGetPathTo) return nullptr;
    return rules_ && rules_->folders ? &*rules_->folders : nullptr;
}

void ZbPolicyCall::Finished(bool refusedByFolders) {
    if (!policy_ || !policy_->log) return;
    const bool changing = std::find(std::begin(kChangingFunctions), std::end(kChangingFunctions), functionId_) !=
                          std::end(kChangingFunctions);
    if (!refusedByFolders && !changing) return;
    if (!policy_->hasDatabases) database_ = DatabaseOf(env_);
    LogCall(refusedByFolders ? "refused" : "called", functionId_, database_, parameters_);
}
