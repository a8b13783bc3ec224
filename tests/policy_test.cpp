// The server's policy: reading the file, denied functions, per-database narrowing, failing closed,
// reloading, and the refusal log. The plug-in reads /etc/zerbfile/policy.json; the tests give it
// one in a private mount namespace (an overlay over /etc), never touching the real /etc.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>
#include <string>
#include <vector>

#include "core/functions.h"
#include "core/policy.h"
#include "platform/errors.h"
#include "tests/plugin_harness.h"

namespace {

using zerbtest::RunInPrivateMounts;

// ---- reading the text ----

TEST(PolicyParse, ReadsEveryKeyAndNamesWithOrWithoutPrefix) {
    ZbPolicy p;
    std::string reason;
    ASSERT_EQ(ZbParsePolicy(R"({"read": ["/srv/in"], "write": ["/srv/out", "/home/x"],
        "deny": ["zbfile_executeshell", "MountDisk", "ZbFile_LAUNCH", "Version"],
        "databases": {"Sales.fmp12": {"deny": ["Exists"], "read": ["/a"]}, "HR": {}}, "log": true})",
                            p, reason), 0)
        << reason;
    EXPECT_EQ(p.global.read, std::vector<std::string>{"/srv/in"});
    EXPECT_EQ(p.global.write.size(), 2u);
    EXPECT_TRUE(p.global.Denies(kZbFnExecuteShell));
    EXPECT_TRUE(p.global.Denies(kZbFnMountDisk));
    EXPECT_TRUE(p.global.Denies(kZbFnLaunch));
    EXPECT_FALSE(p.global.Denies(kZbFnVersion));  // Version is never denied
    EXPECT_FALSE(p.global.Denies(kZbFnExists));
    EXPECT_TRUE(p.log);
    EXPECT_TRUE(p.hasDatabases);
    ASSERT_NE(p.RulesOf("sales"), nullptr);  // case and extension ignored
    EXPECT_TRUE(p.RulesOf("SALES")->Denies(kZbFnExists));
    EXPECT_EQ(p.RulesOf("Sales")->read, std::vector<std::string>{"/a"});
    EXPECT_EQ(p.RulesOf("Other"), nullptr);

    ASSERT_EQ(ZbParsePolicy("{}", p, reason), 0);
    EXPECT_FALSE(p.hasDatabases);
    EXPECT_FALSE(p.log);
}

TEST(PolicyParse, RefusesWhatIsNotAPolicy) {
    for (const char *text : {
             "",                                            // empty
             "{\"deny\": [\"Exists\"]",                     // malformed
             "[]",                                          // not an object
             "{\"denied\": []}",                            // unknown key
             "{\"deny\": \"Exists\"}",                      // wrong type
             "{\"deny\": [\"NoSuchFunction\"]}",            // unknown function
             "{\"deny\": [42]}",                            // not a name
             "{\"read\": [\"relative/folder\"]}",           // not absolute
             "{\"write\": [\"/a\", 3]}",                    // not a path
             "{\"log\": 1}",                                // not a boolean
             "{\"log\": true, \"log\": false}",             // twice
             "{\"databases\": []}",                         // not an object
             "{\"databases\": {\"A\": {\"log\": true}}}",   // log only at the top
             "{\"databases\": {\"A\": {\"databases\": {}}}}",  // no nested databases
             "{\"databases\": {\"A\": {\"deny\": [\"Bogus\"]}}}",
             "{\"databases\": {\"A\": {}, \"a\": {}}}",     // the same database twice
         }) {
        ZbPolicy p;
        std::string reason;
        EXPECT_EQ(ZbParsePolicy(text, p, reason), kZbErrPolicy) << text;
        EXPECT_FALSE(reason.empty()) << text;
    }
}

// ---- the plug-in with a policy file ----

class PolicyTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir = (std::filesystem::temp_directory_path() / ("zerb-policy-" + std::to_string(getpid()))).string();
        std::filesystem::remove_all(dir);
        std::filesystem::create_directories(dir + "/up");
        std::filesystem::create_directories(dir + "/work");
        // The probe: can this machine give a test its own /etc?
        if (RunInPrivateMounts(Overlay(), {"ZbFile_Version(\"-getversionnumber\")"}).empty())
            GTEST_SKIP() << "a private mount namespace with an overlay over /etc is refused here "
                            "(needs root and overlayfs); the policy is not tested";
    }
    void TearDown() override { std::filesystem::remove_all(dir); }

    std::string Overlay() const {
        return "mount -t overlay overlay -o lowerdir=/etc,upperdir=" + dir + "/up,workdir=" + dir + "/work /etc\n"
               "mkdir -p /etc/zerbfile\nchown 0:0 /etc/zerbfile\nchmod 755 /etc/zerbfile\n";
    }
    // Shell commands that write the policy (root's, mode 644), then `extra` commands.
    std::string WithPolicy(const std::string &json, const std::string &extra = "") const {
        return Overlay() + "cat >/etc/zerbfile/policy.json <<'ZBEOF'\n" + json +
               "\nZBEOF\nchown 0:0 /etc/zerbfile/policy.json\nchmod 644 /etc/zerbfile/policy.json\n" + extra;
    }
    std::vector<std::string> Run(const std::string &mounts, const std::vector<std::string> &calculations) {
        return RunInPrivateMounts(mounts, calculations);
    }

    std::string dir;
};

constexpr char kExists[] = "ZbFile_Exists(\"\";\"/\")";
constexpr char kSize[] = "ZbFile_GetFileSize(\"\";\"/etc/hostname\")";
constexpr char kVersion[] = "ZbFile_Version(\"-getversionnumber\")";
constexpr char kControl[] = "ZbFile_Control(\"CurrentEnabledStatus\")";
constexpr char kRefused[] = "$$-4230";

TEST_F(PolicyTest, WithoutAFileEverythingWorks) {
    const auto out = Run(Overlay(), {kExists, kVersion, kControl});
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[0], "1");
    EXPECT_NE(out[1].rfind("$$", 0), 0u);
    EXPECT_EQ(out[2], "1");
}

TEST_F(PolicyTest, DeniedFunctionsAnswerThePolicyError) {
    // With and without the prefix, case ignored; Version and Control cannot be denied.
    const auto out = Run(WithPolicy(R"({"deny": ["zbfile_EXISTS", "getfilesize", "Version", "Control"]})"),
                         {kExists, kSize, "ZbFile_Version(\"\")", kVersion, kControl, "ZbFile_GetFileSizeTotal(\"\";\"/etc/hostname\")"});
    ASSERT_EQ(out.size(), 6u);
    EXPECT_EQ(out[0], kRefused);
    EXPECT_EQ(out[1], kRefused);
    EXPECT_NE(out[2].rfind("$$", 0), 0u);
    EXPECT_NE(out[3].rfind("$$", 0), 0u);
    EXPECT_EQ(out[4], "1");
    EXPECT_NE(out[5], kRefused);  // a function not named works
}

TEST_F(PolicyTest, ADatabaseEntryNarrowsTheGlobalRules) {
    const std::string policy = WithPolicy(R"({"deny": ["GetFileSize"], "databases": {"Sales": {"deny": ["Exists"]}, "HR": {}}})");
    // Sales: its own denial and the global one.
    auto out = Run(policy, {"--file-name", "Sales", kExists, kSize});
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0], kRefused);
    EXPECT_EQ(out[1], kRefused);
    // HR's empty entry cannot lift the global denial.
    out = Run(policy, {"--file-name", "hr", kExists, kSize});
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0], "1");
    EXPECT_EQ(out[1], kRefused);
    // A database without an entry, and a call whose database cannot be named: the global rules.
    for (const std::vector<std::string> &args : {std::vector<std::string>{"--file-name", "Other", kExists, kSize},
                                                 std::vector<std::string>{kExists, kSize}}) {
        out = Run(policy, args);
        ASSERT_EQ(out.size(), 2u);
        EXPECT_EQ(out[0], "1");
        EXPECT_EQ(out[1], kRefused);
    }
}

TEST_F(PolicyTest, AnUnsafeOrMalformedPolicyFailsClosed) {
    const std::string good = R"({"deny": ["Launch"]})";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"group-writable", WithPolicy(good, "chmod 664 /etc/zerbfile/policy.json")},
        {"other-writable", WithPolicy(good, "chmod 646 /etc/zerbfile/policy.json")},
        {"not root's", WithPolicy(good, "chown 1234 /etc/zerbfile/policy.json")},
        {"folder group-writable", WithPolicy(good, "chmod 775 /etc/zerbfile")},
        {"folder not root's", WithPolicy(good, "chown 1234 /etc/zerbfile")},
        {"symbolic link", WithPolicy(good, "mv /etc/zerbfile/policy.json /etc/zerbfile/real.json\n"
                                           "ln -s real.json /etc/zerbfile/policy.json")},
        {"malformed", WithPolicy("{\"deny\": [")},
    };
    for (const auto &[what, mounts] : cases) {
        const auto out = Run(mounts, {kExists, kSize, kVersion, "ZbFile_Version(\"\")", kControl});
        ASSERT_EQ(out.size(), 5u) << what;
        EXPECT_EQ(out[0], kRefused) << what;
        EXPECT_EQ(out[1], kRefused) << what;
        EXPECT_NE(out[2].rfind("$$", 0), 0u) << what;
        EXPECT_NE(out[3].rfind("$$", 0), 0u) << what;
        EXPECT_EQ(out[4], "1") << what;
    }
}

TEST_F(PolicyTest, AChangedPolicyIsTakenAfterASecond) {
    // The shell (allowed) replaces the policy with one that denies Exists, then waits past the
    // once-a-second look; then the policy is removed again, and everything works as without one.
    const std::string mounts = WithPolicy(R"({"deny": ["Launch"]})",
                                          "printf '{\"deny\": [\"Exists\"]}' >/etc/zerbfile/next.json\n"
                                          "chmod 644 /etc/zerbfile/next.json\n");
    const auto out = Run(mounts, {
        kExists,
        "ZbFile_Version(\"-RegisterExecuteShellFunction\")",
        "ZbFile_ExecuteShell(\"\";\"mv /etc/zerbfile/next.json /etc/zerbfile/policy.json; sleep 1.2\")",
        kExists,
        "ZbFile_ExecuteShell(\"\";\"rm /etc/zerbfile/policy.json; sleep 1.2\")",
    });
    ASSERT_EQ(out.size(), 5u);
    EXPECT_EQ(out[0], "1");
    EXPECT_EQ(out[3], kRefused);
    const auto after = Run(mounts, {kExists});
    ASSERT_EQ(after.size(), 1u);
    EXPECT_EQ(after[0], "1");
}

// ---- folders ----

// The policy the administrators' page gives as its example (read from the page, so the two stay
// alike), with each family of functions inside its folders and outside them: inside works, outside
// answers the policy error, and the tree outside stays as it was. The test's own tree is mounted
// at /srv, where the example's folders lie.
std::string ExamplePolicy() {
    std::ifstream page(ZERB_SECURING_DOC);
    const std::string text{std::istreambuf_iterator<char>(page), {}};
    const size_t section = text.find("## An example for a typical server");
    const size_t start = text.find("```json\n", section);
    const size_t end = text.find("```", start + 8);
    return section == std::string::npos || start == std::string::npos || end == std::string::npos
               ? ""
               : text.substr(start + 8, end - start - 8);
}

TEST_F(PolicyTest, TheExamplePolicyConfinesEveryFamily) {
    const std::string example = ExamplePolicy();
    ASSERT_NE(example.find("/srv/exchange"), std::string::npos) << "the page's example changed: " << example;
    const std::string t = dir + "/srv";  // seen as /srv by the plug-in
    std::filesystem::create_directories(t + "/templates/sub");
    std::filesystem::create_directories(t + "/exchange/sales");
    std::filesystem::create_directories(t + "/secret/deep");
    for (const std::string f : {"/templates/a.txt", "/exchange/b.txt", "/secret/s.txt", "/secret/deep/d.txt"})
        std::ofstream(t + f) << "text of " << f;
    std::filesystem::create_symlink("/srv/secret", t + "/exchange/leak");
    const std::string srv = "mount --bind " + t + " /srv\n";
    const std::string policy = WithPolicy(example, srv);
    const auto q = [](const std::string &path) { return "\"" + path + "\""; };
    // Pairs: a call inside the folders and its twin that reaches outside.
    const std::vector<std::pair<std::string, std::string>> calls = {
        {"ZbFile_GetContents(\"\";" + q("/srv/templates/a.txt") + ")", "ZbFile_GetContents(\"\";" + q("/srv/secret/s.txt") + ")"},
        {"ZbFile_GetContents(\"\";" + q("/srv/templates/../templates/a.txt") + ")",
         "ZbFile_GetContents(\"\";" + q("/srv/templates/../secret/s.txt") + ")"},
        {"ZbFile_Exists(\"\";" + q("/srv/templates/a.txt") + ")", "ZbFile_Exists(\"\";" + q("/srv/exchange/leak/s.txt") + ")"},
        {"ZbFile_GetFileSize(\"\";" + q("/srv/exchange/b.txt") + ")", "ZbFile_GetFileSize(\"\";" + q("/srv/secret/s.txt") + ")"},
        {"ZbFile_FileInfoJSON(\"\";" + q("/srv/templates/a.txt") + ")", "ZbFile_FileInfoJSON(\"\";" + q("/srv/secret/s.txt") + ")"},
        {"ZbFile_ListFolder(\"folders\";" + q("/srv/templates") + ")", "ZbFile_ListFolder(\"files folders\";" + q("/srv/exchange/leak") + ")"},
        {"ZbFile_ListFolderJSON(\"-Recursive\";" + q("/srv/templates") + ")", "ZbFile_ListFolderJSON(\"-Recursive\";" + q("/srv") + ")"},
        {"ZbFile_Hash(\"\";" + q("/srv/templates/a.txt") + ")", "ZbFile_Hash(\"\";" + q("/srv/exchange/leak/s.txt") + ")"},
        {"ZbFile_MetaDataJSON(\"\";" + q("/srv/templates/a.txt") + ")", "ZbFile_MetaDataJSON(\"\";" + q("/srv/secret/s.txt") + ")"},
        {"ZbFile_CopyFile(\"\";" + q("/srv/templates/a.txt") + ";" + q("/srv/exchange/c.txt") + ")",
         "ZbFile_CopyFile(\"\";" + q("/srv/templates/a.txt") + ";" + q("/srv/exchange/leak/c.txt") + ")"},
        {"ZbFile_MoveFile(\"\";" + q("/srv/exchange/c.txt") + ";" + q("/srv/exchange/d.txt") + ")",
         "ZbFile_MoveFile(\"\";" + q("/srv/exchange/leak/s.txt") + ";" + q("/srv/exchange/s.txt") + ")"},
        {"ZbFile_CreateFolder(\"\";" + q("/srv/exchange/f") + ")", "ZbFile_CreateFolder(\"\";" + q("/srv/templates/f") + ")"},
        {"ZbFile_CreateFile(\"\";" + q("/srv/exchange/f/n.txt") + ")", "ZbFile_CreateFile(\"\";" + q("/srv/secret/n.txt") + ")"},
        {"ZbFile_SetTimestampModified(\"\";" + q("/srv/exchange/d.txt") + ";\"1/2/2020 3:04:05\")",
         "ZbFile_SetTimestampModified(\"\";" + q("/srv/templates/a.txt") + ";\"1/2/2020 3:04:05\")"},
        {"ZbFile_Substitute(\"\";" + q("/srv/templates/a.txt") + ";" + q("/srv/exchange/e.txt") + ";\"text\";\"words\")",
         "ZbFile_Substitute(\"\";" + q("/srv/exchange/leak/s.txt") + ";\"\";\"text\";\"words\")"},
        {"ZbFile_DeleteFile(\"\";" + q("/srv/exchange/d.txt") + ")", "ZbFile_DeleteFile(\"\";" + q("/srv/templates/a.txt") + ")"},
        {"ZbFile_DeleteFolder(\"\";" + q("/srv/exchange/f") + ")", "ZbFile_DeleteFolder(\"\";" + q("/srv/exchange/leak/deep") + ")"},
        {"ZbFile_DeleteFolder(\"\";" + q("/srv/exchange/sales") + ")", "ZbFile_DeleteFolder(\"\";" + q("/srv/exchange") + ")"},
    };
    std::vector<std::string> calculations;
    for (const auto &[inside, outside] : calls) {
        calculations.push_back(inside);
        calculations.push_back(outside);
    }
    calculations.push_back("ZbFile_FindFolder(\"temporary\")");  // answers a path, opens nothing
    calculations.insert(calculations.begin(), {"--file-name", "Invoices"});
    const auto out = Run(policy, calculations);
    calculations.erase(calculations.begin(), calculations.begin() + 2);
    ASSERT_EQ(out.size(), calculations.size());
    EXPECT_NE(out.back().find(":tmp:"), std::string::npos) << out.back();
    for (size_t k = 0; k < calls.size(); ++k) {
        EXPECT_NE(out[2 * k], kRefused) << calls[k].first;
        EXPECT_EQ(out[2 * k + 1], kRefused) << calls[k].second;
    }
    EXPECT_TRUE(std::filesystem::exists(t + "/exchange/e.txt"));
    EXPECT_TRUE(std::filesystem::exists(t + "/templates/a.txt"));
    EXPECT_FALSE(std::filesystem::exists(t + "/exchange/s.txt"));
    EXPECT_FALSE(std::filesystem::exists(t + "/templates/f"));
    std::vector<std::string> secret;
    for (const auto &e : std::filesystem::recursive_directory_iterator(t + "/secret")) secret.push_back(e.path().string());
    std::sort(secret.begin(), secret.end());
    EXPECT_EQ(secret, (std::vector<std::string>{t + "/secret/deep", t + "/secret/deep/d.txt", t + "/secret/s.txt"}));
    std::ifstream s(t + "/secret/s.txt");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(s), {}), "text of /secret/s.txt");

    // Search walks the startup volume only through the allowed folders (and the folders above
    // them, to reach them): the test's tree as it lies there, not at /srv (another mount).
    const auto found = Run(WithPolicy(R"({"read": [")" + t + R"(/templates"]})"),
                           {"ZbFile_Search(\"files exactname\";\"\";\"a.txt\")",
                            "ZbFile_Search(\"files exactname\";\"\";\"s.txt\")"});
    ASSERT_EQ(found.size(), 2u);
    EXPECT_NE(found[0].find("templates:a.txt"), std::string::npos) << found[0];
    EXPECT_EQ(found[1], "");

    // A database's folders narrow the global ones: Sales may write only in its own folder.
    const std::string narrowing = WithPolicy(R"({"write": ["/srv/exchange"], "databases": {"Sales": {"write": ["/srv/exchange/sales", "/srv/secret"]}}})", srv);
    std::filesystem::create_directories(t + "/exchange/sales");
    const std::string inSales = "ZbFile_CreateFolder(\"\";\"/srv/exchange/sales/x\")";
    const std::string beside = "ZbFile_CreateFolder(\"\";\"/srv/exchange/y\")";
    const std::string widened = "ZbFile_CreateFolder(\"\";\"/srv/secret/z\")";
    auto narrowed = Run(narrowing, {"--file-name", "Sales", inSales, beside, widened});
    ASSERT_EQ(narrowed.size(), 3u);
    EXPECT_EQ(narrowed[0], "0");
    EXPECT_EQ(narrowed[1], kRefused);
    EXPECT_EQ(narrowed[2], kRefused);  // never wider than the global folders
    narrowed = Run(narrowing, {"--file-name", "Other", beside});
    ASSERT_EQ(narrowed.size(), 1u);
    EXPECT_EQ(narrowed[0], "0");
}

// ---- the log ----

// A datagram socket that plays the system log: bound in the test's folder, and bind-mounted onto
// /dev/log (over an overlay of /dev) inside the namespace. A thread takes the lines as they come,
// as a log daemon does (the plug-in drops lines a full socket cannot take).
class LogListener {
public:
    explicit LogListener(const std::string &path) : path_(path) {
        fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un a{};
        a.sun_family = AF_UNIX;
        path.copy(a.sun_path, sizeof a.sun_path - 1);
        if (fd_ >= 0 && bind(fd_, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0) {
            close(fd_);
            fd_ = -1;
            return;
        }
        timeval wait{0, 50000};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
        reader_ = std::thread([this] {
            char buffer[4096];
            while (!stop_) {
                const ssize_t n = recv(fd_, buffer, sizeof buffer, 0);
                if (n <= 0) continue;
                std::lock_guard lock(mutex_);
                lines_.emplace_back(buffer, size_t(n));
            }
        });
    }
    ~LogListener() {
        stop_ = true;
        if (reader_.joinable()) reader_.join();
        if (fd_ >= 0) close(fd_);
        unlink(path_.c_str());
    }
    bool ok() const { return fd_ >= 0; }
    // The lines received so far (after a short wait for those still on their way).
    std::vector<std::string> Lines() {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        std::lock_guard lock(mutex_);
        return lines_;
    }

private:
    std::string path_;
    int fd_ = -1;
    std::atomic<bool> stop_{false};
    std::mutex mutex_;
    std::vector<std::string> lines_;
    std::thread reader_;
};

class PolicyLogTest : public PolicyTest {
protected:
    std::string DevLog() const {
        return "mkdir -p " + dir + "/devup " + dir + "/devwork\n"
               "mount -t overlay overlay -o lowerdir=/dev,upperdir=" + dir + "/devup,workdir=" + dir + "/devwork /dev\n"
               "rm -f /dev/log\ntouch /dev/log\nmount --bind " + dir + "/log.sock /dev/log\n";
    }
};

TEST_F(PolicyLogTest, RefusalsAndUnusablePoliciesAreLogged) {
    LogListener log(dir + "/log.sock");
    ASSERT_TRUE(log.ok());
    const std::string policy = R"({"log": true, "deny": ["GetFileSize"], "databases": {"Sales": {"deny": ["ExecuteShell", "RunCommand"]}}})";
    const auto out = Run(WithPolicy(policy, DevLog()),
                         {"--file-name", "Sales", "ZbFile_GetFileSize(\"\";\"/srv/secret report.txt\")", kExists,
                          "ZbFile_Version(\"-RegisterExecuteShellFunction\")",
                          "ZbFile_RunCommand(\"\";\"[\\\"/bin/echo\\\"]\";\"the input\")"});
    if (out.empty()) GTEST_SKIP() << "/dev cannot be overlaid here to give the plug-in a log socket";
    ASSERT_EQ(out.size(), 4u);
    EXPECT_EQ(out[0], kRefused);
    EXPECT_EQ(out[3], kRefused);
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].rfind("<13>", 0), 0u) << lines[0];  // LOG_USER, notice
    EXPECT_NE(lines[0].find("ZerbFile["), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("database Sales, function ZbFile_GetFileSize, path /srv/secret report.txt"),
              std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("function ZbFile_RunCommand"), std::string::npos) << lines[1];
    EXPECT_EQ(lines[1].find("input"), std::string::npos) << lines[1];  // never a command's input
    EXPECT_EQ(lines[1].find("echo"), std::string::npos) << lines[1];

    // An unusable policy: its reason, once, however many calls it refuses.
    LogListener again(dir + "/log2.sock");
    const std::string second = WithPolicy("{\"deny\": [", DevLog());
    std::filesystem::rename(dir + "/log2.sock", dir + "/log.sock");
    const auto closed = Run(second, {kExists, kExists, kSize});
    ASSERT_EQ(closed.size(), 3u);
    const auto reasons = again.Lines();
    ASSERT_EQ(reasons.size(), 1u);
    EXPECT_EQ(reasons[0].rfind("<12>", 0), 0u) << reasons[0];  // LOG_USER, warning
    EXPECT_NE(reasons[0].find("malformed JSON"), std::string::npos) << reasons[0];
}

TEST_F(PolicyLogTest, ChangingCallsAndTouchesOutsideAreLogged) {
    LogListener log(dir + "/log.sock");
    ASSERT_TRUE(log.ok());
    const std::string w = dir + "/w";
    std::filesystem::create_directories(w);
    std::ofstream(w + "/old.txt") << "old";
    const auto out = Run(WithPolicy(R"({"log": true, "write": [")" + w + R"("]})", DevLog()),
                         {"ZbFile_Exists(\"\";\"" + w + "/old.txt\")", "ZbFile_DeleteFile(\"\";\"" + w + "/old.txt\")",
                          "ZbFile_GetContents(\"\";\"/etc/hostname\")"});
    if (out.empty()) GTEST_SKIP() << "/dev cannot be overlaid here to give the plug-in a log socket";
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[1], "0");
    EXPECT_EQ(out[2], kRefused);
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 2u);  // nothing for Exists, which changes nothing
    EXPECT_NE(lines[0].find("called: database -, function ZbFile_DeleteFile, path " + w + "/old.txt"),
              std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("refused: database -, function ZbFile_GetContents, path /etc/hostname"),
              std::string::npos) << lines[1];
}

TEST_F(PolicyLogTest, ALoopingScriptCannotFloodTheLog) {
    LogListener log(dir + "/log.sock");
    ASSERT_TRUE(log.ok());
    std::vector<std::string> calls(25, kExists);
    calls.push_back("ZbFile_Version(\"-RegisterExecuteShellFunction\")");
    calls.push_back("ZbFile_ExecuteShell(\"\";\"sleep 1.1\")");
    calls.push_back(kExists);
    const auto out = Run(WithPolicy(R"({"log": true, "deny": ["Exists"]})", DevLog()), calls);
    if (out.empty()) GTEST_SKIP() << "/dev cannot be overlaid here to give the plug-in a log socket";
    ASSERT_EQ(out.size(), calls.size());
    const auto lines = log.Lines();
    // 26 refusals: at most 20 lines in the first second, then the count of those dropped, the
    // shell's call, and the last call's (a busy machine may spread the first 25 over two seconds,
    // or lose a datagram).
    ASSERT_GE(lines.size(), 2u);
    EXPECT_LE(lines.size(), 23u);
    if (lines.size() == 23u) {
        EXPECT_NE(lines[20].find("5 log lines dropped"), std::string::npos) << lines[20];
    }
    EXPECT_NE(lines.back().find("database -, function ZbFile_Exists, path /"), std::string::npos) << lines.back();
}

}  // namespace
