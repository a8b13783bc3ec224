// What tests learn from processes: what a shell command prints, and of this process its open
// descriptors, its children, its peak memory, and whether a process with some argument runs (for
// the tests that check what running commands leaves behind in the host).
#ifndef ZERB_TESTS_PROCESS_UTIL_H
#define ZERB_TESTS_PROCESS_UTIL_H

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace zerbtest {

// Runs a shell command: its standard output, and in `succeeded` whether it exited 0.
inline std::string RunForOutput(const std::string &command, bool &succeeded) {
    std::string out;
    succeeded = false;
    if (FILE *p = popen(command.c_str(), "r")) {
        char buffer[65536];
        for (size_t n; (n = fread(buffer, 1, sizeof buffer, p)) > 0;) out.append(buffer, n);
        succeeded = pclose(p) == 0;
    }
    return out;
}

// A shell command's standard output, whatever its exit status.
inline std::string Output(const std::string &command) {
    bool succeeded;
    return RunForOutput(command, succeeded);
}

// A shell command's standard output, with "<failed>" appended when it exits with an error.
inline std::string CommandOutput(const std::string &command) {
    bool succeeded;
    std::string out = RunForOutput(command, succeeded);
    if (!succeeded) out += "<failed>";
    return out;
}

// The first word a command prints (the digest, for the checksum tools).
inline std::string FirstWord(const std::string &command) {
    const std::string text = Output(command);
    return text.substr(0, text.find_first_of(" \n"));
}

inline int OpenDescriptors() {
    int count = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        (void)entry;
        ++count;
    }
    return count;
}

// Processes whose parent is this one, zombies included, as "pid (name) state".
inline std::vector<std::string> ChildrenOfThisProcess() {
    std::vector<std::string> children;
    const std::string me = std::to_string(getpid());
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream stat(entry.path() / "stat");
        std::string line;
        if (!std::getline(stat, line)) continue;
        // pid (comm) state ppid ...: the command may hold spaces and parentheses, the last ")" ends it.
        const size_t close = line.rfind(')');
        if (close == std::string::npos) continue;
        std::istringstream rest(line.substr(close + 2));
        std::string state, ppid;
        rest >> state >> ppid;
        if (ppid == me) children.push_back(line.substr(0, close + 1) + " " + state);
    }
    return children;
}

// Whether a process other than this one has the argument in its command line.
inline bool ProcessWithArgumentExists(const std::string &argument) {
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream cmdline(entry.path() / "cmdline", std::ios::binary);
        const std::string all((std::istreambuf_iterator<char>(cmdline)), std::istreambuf_iterator<char>());
        if (all.find(argument) != std::string::npos && entry.path().filename() != std::to_string(getpid()))
            return true;
    }
    return false;
}

// Waits up to two seconds for the processes with that argument to be gone.
inline bool GoneSoon(const std::string &argument) {
    for (int k = 0; k < 200 && ProcessWithArgumentExists(argument); ++k)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return !ProcessWithArgumentExists(argument);
}

// Peak resident memory of this process since the last ResetPeakMemory, in KiB.
inline long PeakMemoryKiB() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmHWM:", 0) == 0) return std::stol(line.substr(6));
    return -1;
}
inline void ResetPeakMemory() { std::ofstream("/proc/self/clear_refs") << "5"; }

}  // namespace zerbtest

#endif
