// The server's policy: an administrator's file, /etc/zerbfile/policy.json, that confines the
// plug-in. It denies functions, for every database or for one database file, lists the folders
// that may be read and written (read and checked for form; not yet enforced), and asks for a
// system log line for each refused call.
//
// Without the file the plug-in works as it always did. A file that is unsafe (not root's, or
// writable by others, or in such a folder) or malformed fails closed: every function but Version
// and Control is refused, and the reason goes to the system log once. The file is read at init and
// again when it changes, looked at no more than once a second.
#ifndef ZERB_CORE_POLICY_H
#define ZERB_CORE_POLICY_H

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "fmx/fmx.h"

constexpr char kZbPolicyPath[] = "/etc/zerbfile/policy.json";

// The rules of one scope: the whole server, or one database file.
struct ZbPolicyRules {
    std::vector<std::string> read, write;  // absolute folder paths
    std::vector<short> denied;             // function ids, sorted
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

// True when the policy refuses this call; a refused call is logged when the policy asks for it.
// Version and Control are never refused (the dispatcher does not ask for them).
bool ZbPolicyRefuses(short functionId, const fmx::ExprEnv &env, const fmx::DataVect &parameters);

#endif
