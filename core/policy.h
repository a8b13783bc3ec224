// The server's policy: an administrator's file, /etc/zerbfile/policy.json, that confines the
// plug-in. It denies functions, for every database or for one database file, lists the folders
// that may be read and written, and asks for a system log line for each refused call and each
// call that deletes, moves, overwrites, rewrites or runs something.
//
// Without the file the plug-in works as it always did. A file that is unsafe (not root's, or
// writable by others, or in such a folder) or malformed fails closed: every function but Version
// and Control is refused, and the reason goes to the system log once. The file is read at init and
// again when it changes, looked at no more than once a second.
#ifndef ZERB_CORE_POLICY_H
#define ZERB_CORE_POLICY_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fmx/fmx.h"
#include "platform/confinement.h"

constexpr char kZbPolicyPath[] = "/etc/zerbfile/policy.json";

// The rules of one scope: the whole server, or one database file.
struct ZbPolicyRules {
    std::vector<std::string> read, write;  // absolute folder paths, as written
    bool limitsFolders = false;            // "read" or "write" is given (a missing one lists nothing)
    std::vector<short> denied;             // function ids, sorted
    // The folders a call of this scope may touch, as real paths (for a database, met with the
    // global ones); none when neither this scope nor the global one limits folders.
    std::optional<ZbConfinement> folders;
    bool Denies(short functionId) const;
};

struct ZbPolicy {
    ZbPolicyRules global;
    bool hasDatabases = false;  // the file has a "databases" key: calls must name their database
    std::map<std::string, ZbPolicyRules> databases;  // by database name in lower case, extension dropped
    bool log = false;
    // The rules of a database, or null when it has no entry of its own.
    const ZbPolicyRules *RulesOf(const std::string &database) const;
};

// Reads a policy's text. 0, or kZbErrPolicy with what is wrong in `reason`.
[[nodiscard]] long ZbParsePolicy(std::string_view json, ZbPolicy &policy, std::string &reason);

// The function id of a name, with or without the "ZbFile_" prefix, case ignored; -1 for none.
// "Version" names id 1.
short ZbFunctionIdOfName(std::string_view name);

// Reads the policy file now (at init), whatever the time of the last look.
void ZbPolicyLoad();

// The policy's word on one call, taken when the call begins and held to its end (a policy read
// again meanwhile applies from the next call). Version and Control are never asked about.
class ZbPolicyCall {
public:
    ZbPolicyCall(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters);
    // Whether the call is refused outright: a denied function, or a policy failing closed.
    // Logged when the policy asks for it.
    bool Refused() const { return refused_; }
    // The folders the call may touch; null when the policy limits none.
    const ZbConfinement *Folders() const;
    // After the call: logs it when the policy asks for it and the call was refused for touching
    // something outside its folders, or deletes, moves, overwrites, rewrites or runs something.
    void Finished(bool refusedByFolders);

private:
    short functionId_;
    const fmx::ExprEnv &env_;
    const fmx::DataVect &parameters_;
    std::shared_ptr<const ZbPolicy> policy_;
    const ZbPolicyRules *rules_ = nullptr;  // the database's, or the global ones
    std::string database_;
    bool refused_ = false;
};

#endif
