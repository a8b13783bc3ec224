// The file dialogs, driven for real: zenity on an Xvfb display, keys sent by xdotool. Without a
// display every dialog answers -1713 at once.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/plugin_harness.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

bool OnPath(const char *program) {
    return std::system(("command -v " + std::string(program) + " >/dev/null 2>&1").c_str()) == 0;
}

// Runs the shell text in the background of the test: the "hand" at the keyboard.
class Hand {
public:
    explicit Hand(const std::string &script) : thread([script] { std::system(script.c_str()); }) {}
    ~Hand() { thread.join(); }

private:
    std::thread thread;
};

class DialogTest : public zerbtest::PluginTest {
protected:
    static void SetUpTestSuite() {
        if (!OnPath("Xvfb") || !OnPath("zenity") || !OnPath("xdotool")) {
            skipReason = "Xvfb, zenity or xdotool is not installed";
            return;
        }
        display = 90 + getpid() % 100;
        std::system(("Xvfb :" + std::to_string(display) + " -nolisten tcp -screen 0 1280x1024x24 >/dev/null 2>&1 & echo $! >" +
                     PidFile())
                        .c_str());
        const std::string socket = "/tmp/.X11-unix/X" + std::to_string(display);
        for (int k = 0; k < 100 && !fs::exists(socket); ++k) std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (!fs::exists(socket)) skipReason = "Xvfb did not start";
    }
    static void TearDownTestSuite() {
        std::system(("kill $(cat " + PidFile() + ") 2>/dev/null; rm -f " + PidFile()).c_str());
    }
    static std::string PidFile() { return "/tmp/zerb-xvfb-" + std::to_string(getpid()); }

    void SetUp() override {
        if (!skipReason.empty()) GTEST_SKIP() << skipReason;
        PluginTest::SetUp();
        setenv("DISPLAY", (":" + std::to_string(display)).c_str(), 1);
        root = fs::temp_directory_path() / ("zerb-dialogs-" + std::to_string(getpid()));
        fs::remove_all(root);
        dir = root / "files";
        fs::create_directories(dir);
        fs::create_directories(root / "sub");
        for (const char *name : {"a.txt", "b.txt", "c.txt", ".hidden.txt"}) std::ofstream(dir / name) << "hello";
        std::ofstream(dir / "bin.dat", std::ios::binary) << std::string("\x00\x01\x02\x03PK", 6);
    }
    void TearDown() override {
        if (!skipReason.empty()) return;
        unsetenv("DISPLAY");
        fs::remove_all(root);
        PluginTest::TearDown();
    }

    // The keys to send once the dialog titled `title` is up. Whatever happens, the dialog is
    // closed after 20 seconds so that a test never hangs.
    static std::string Keys(const std::string &title, const std::string &actions) {
        const std::string running = "pgrep -f -- '--title=" + title + "( |$)' >/dev/null";
        return Focus(title) + "; sleep 1; " + actions + "; for i in $(seq 40); do " + running + " || exit 0; sleep 0.5; done; pkill -f -- '--title=" +
               title + "( |$)'";
    }
    static std::string Focus(const std::string &title) {
        return "timeout 20 xdotool search --sync --onlyvisible --name '^" + title + "$' windowfocus --sync %1 >/dev/null";
    }
    static std::string Type(const std::string &text) { return "xdotool type --delay 30 '" + text + "'; xdotool key Return"; }

    std::string ColonPath(const fs::path &p) { return Call("ZbFile_FileSpecToFullPath", {"", p.string()}); }

    static inline std::string skipReason;
    static inline int display = 0;
    fs::path root, dir;
};

}  // namespace

TEST_F(DialogTest, ChoosesOneFileByItsPathAndReadsItsContents) {
    {
        Hand hand(Keys("PickOne", Type((dir / "b.txt").string())));
        EXPECT_EQ(Call("ZbFile_SelectFileDialog", {"", "PickOne", dir.string()}), ColonPath(dir / "b.txt"));
    }
    {
        Hand hand(Keys("ReadOne", Type((dir / "c.txt").string())));
        EXPECT_EQ(Call("ZbFile_ContentsDialog", {"", "ReadOne", dir.string()}), "hello");
    }
    {
        Hand hand(Keys("Refused", "xdotool key Escape"));
        EXPECT_EQ(Call("ZbFile_SelectFileDialog", {"", "Refused", dir.string()}), "$$-128");
    }
}

TEST_F(DialogTest, SeveralFilesOnlyWhenAllowedAndOnlyThoseTheTypeListTakes) {
    {
        Hand hand(Keys("PickSingle", "xdotool key ctrl+a Return"));
        const std::string one = Call("ZbFile_SelectFileDialog", {"", "PickSingle", dir.string()});
        EXPECT_EQ(one.find('\r'), std::string::npos) << one;
        EXPECT_EQ(one, ColonPath(dir / "a.txt"));
    }
    // All are selected; the binary file is not text, so the type list drops it.
    {
        Hand hand(Keys("PickAll", "xdotool key ctrl+a Return"));
        EXPECT_EQ(Call("ZbFile_SelectFileDialog", {"-AllowMultipleFiles", "PickAll", dir.string()}),
                  ColonPath(dir / "a.txt") + "\r" + ColonPath(dir / "b.txt") + "\r" + ColonPath(dir / "c.txt"));
    }
    {
        Hand hand(Keys("PickHidden", "xdotool key ctrl+a Return"));
        EXPECT_EQ(Call("ZbFile_SelectFileDialog", {"-AllowMultipleFiles -ShowInvisibles", "PickHidden", dir.string()}),
                  ColonPath(dir / ".hidden.txt") + "\r" + ColonPath(dir / "a.txt") + "\r" + ColonPath(dir / "b.txt") +
                      "\r" + ColonPath(dir / "c.txt"));
    }
    // A file the type list refuses cannot be chosen: the dialog comes back.
    {
        Hand hand(Keys("PickTyped", Type((dir / "bin.dat").string()) + "; sleep 1.5; " + Focus("PickTyped") + "; sleep 1; " +
                                           Type((dir / "b.txt").string())));
        EXPECT_EQ(Call("ZbFile_SelectFileDialog", {"", "PickTyped", dir.string()}), ColonPath(dir / "b.txt"));
    }
}

TEST_F(DialogTest, ChoosesAFolderAndAPlaceToSave) {
    {
        Hand hand(Keys("PickFolder", "xdotool key Return"));
        const std::string folder = Call("ZbFile_SelectFolderDialog", {"", "PickFolder", (root / "sub").string()});
        EXPECT_EQ(folder, ColonPath(root / "sub"));
        EXPECT_EQ(folder.back(), ':');
    }
    {
        Hand hand(Keys("SaveAs", "xdotool key Return"));
        EXPECT_EQ(Call("ZbFile_SaveFileDialog", {"", "SaveAs", "new.txt", dir.string()}), ColonPath(dir) + "new.txt");
        EXPECT_FALSE(fs::exists(dir / "new.txt"));
    }
}

TEST_F(DialogTest, DisplayThatRefusesTheConnectionCountsAsNoDisplay) {
    // A display that answers but wants authorisation this process does not have (another user's
    // session): zenity cannot open it, which is not the user's cancel either.
    if (!OnPath("xauth")) GTEST_SKIP() << "xauth is not installed";
    const std::string number = std::to_string(display + 100), authority = root.string() + "/authority";
    ASSERT_EQ(std::system(("xauth -q -f " + authority + " add :" + number + " . 00112233445566778899aabbccddeeff").c_str()), 0);
    const std::string pidFile = root.string() + "/xvfb.pid";
    std::system(("Xvfb :" + number + " -auth " + authority + " -nolisten tcp >/dev/null 2>&1 & echo $! >" + pidFile).c_str());
    const std::string socket = "/tmp/.X11-unix/X" + number;
    for (int k = 0; k < 100 && !fs::exists(socket); ++k) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ASSERT_TRUE(fs::exists(socket));
    setenv("DISPLAY", (":" + number).c_str(), 1);
    const char *saved = std::getenv("XAUTHORITY");
    const std::string savedAuthority = saved ? saved : "";
    setenv("XAUTHORITY", "/dev/null", 1);
    EXPECT_EQ(Call("ZbFile_SelectFileDialog", {"", "Refused"}), "$$-1713");
    EXPECT_EQ(Call("ZbFile_SaveFileDialog", {"", "Refused", "name.txt"}), "$$-1713");
    saved ? setenv("XAUTHORITY", savedAuthority.c_str(), 1) : unsetenv("XAUTHORITY");
    std::system(("kill $(cat " + pidFile + ")").c_str());
}

namespace {

class HeadlessDialogTest : public zerbtest::PluginTest {
protected:
    void SetUp() override {
        for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY"}) {
            if (const char *value = std::getenv(name)) saved.emplace_back(name, value);
            unsetenv(name);
        }
        PluginTest::SetUp();
    }
    void TearDown() override {
        PluginTest::TearDown();
        for (const auto &[name, value] : saved) setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<std::pair<std::string, std::string>> saved;
};

}  // namespace

TEST_F(HeadlessDialogTest, EveryDialogAnswers1713AtOnce) {
    const auto started = Clock::now();
    EXPECT_EQ(Call("ZbFile_SelectFileDialog", {"", ""}), "$$-1713");
    EXPECT_EQ(Call("ZbFile_SelectFolderDialog", {"", ""}), "$$-1713");
    EXPECT_EQ(Call("ZbFile_SaveFileDialog", {"", "", "name.txt"}), "$$-1713");
    EXPECT_EQ(Call("ZbFile_ContentsDialog", {""}), "$$-1713");
    EXPECT_LT(Clock::now() - started, std::chrono::milliseconds(500));
}

TEST_F(HeadlessDialogTest, DisplayThatNoServerAnswersCountsAsNoDisplay) {
    // A display named but not there (a server whose session ended, a forwarding that is gone): the
    // dialogs cannot be shown, which is not the user's cancel.
    const std::string unused = std::to_string(4000 + getpid() % 1000);
    ASSERT_FALSE(fs::exists("/tmp/.X11-unix/X" + unused));
    const std::pair<const char *, std::string> displays[] = {
        {"DISPLAY", ":" + unused},           {"DISPLAY", "unix:" + unused + ".0"},
        {"DISPLAY", "127.0.0.1:" + unused},  {"WAYLAND_DISPLAY", "zerb-none-" + unused},
        {"WAYLAND_DISPLAY", "/tmp/zerb-none-" + unused},
    };
    for (const auto &[name, value] : displays) {
        setenv(name, value.c_str(), 1);
        const auto started = Clock::now();
        EXPECT_EQ(Call("ZbFile_SelectFileDialog", {"", ""}), "$$-1713") << name << "=" << value;
        EXPECT_EQ(Call("ZbFile_SelectFolderDialog", {"", ""}), "$$-1713") << name << "=" << value;
        EXPECT_EQ(Call("ZbFile_SaveFileDialog", {"", "", "name.txt"}), "$$-1713") << name << "=" << value;
        EXPECT_EQ(Call("ZbFile_ContentsDialog", {""}), "$$-1713") << name << "=" << value;
        EXPECT_LT(Clock::now() - started, std::chrono::milliseconds(500)) << name << "=" << value;
        unsetenv(name);
    }
}
