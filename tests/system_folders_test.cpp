// The system's folders as FindFolder finds them, under a home folder made for the test: the XDG
// settings in the environment and in user-dirs.dirs, and folders that do not exist.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "platform/system_folders.h"
#include "core/globals.h"

namespace fs = std::filesystem;

namespace {

// Sets an environment variable for the life of the object, then puts the old value back.
struct ScopedEnv {
    std::string name;
    std::optional<std::string> old;
    ScopedEnv(const char *n, const std::optional<std::string> &value) : name(n) {
        if (const char *v = std::getenv(n)) old = v;
        value ? setenv(n, value->c_str(), 1) : unsetenv(n);
    }
    ~ScopedEnv() { old ? setenv(name.c_str(), old->c_str(), 1) : unsetenv(name.c_str()); }
};

std::string Find(const char (&kind)[5]) {
    std::string path;
    const long err = Zb7_PlatformFindFolder(ZbFourCharCode(kind), path);
    return err ? "$$" + std::to_string(err) : path;
}

}  // namespace

TEST(SystemFolders, UserFoldersComeFromTheXdgSettingsOfTheHome) {
    const std::string home = (fs::temp_directory_path() / ("zerb-home-" + std::to_string(getpid()))).string();
    fs::create_directories(home + "/.config/autostart");
    fs::create_directories(home + "/Schreibtisch");
    fs::create_directories(home + "/.local/share/Trash/files");
    std::ofstream(home + "/.config/user-dirs.dirs") << "# written by xdg-user-dirs-update\n"
                                                    << "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n"
                                                    << "XDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n";
    const ScopedEnv h("HOME", home), d("XDG_DESKTOP_DIR", std::nullopt), c("XDG_CONFIG_HOME", std::nullopt),
        s("XDG_DATA_HOME", std::nullopt), t("TMPDIR", home + "/.config/");
    EXPECT_EQ(Find("desk"), home + "/Schreibtisch");
    EXPECT_EQ(Find("strt"), home + "/.config/autostart");
    EXPECT_EQ(Find("pref"), home + "/.config");
    EXPECT_EQ(Find("trsh"), home + "/.local/share/Trash/files");
    EXPECT_EQ(Find("temp"), home + "/.config");  // the trailing "/" of the setting is dropped
    EXPECT_EQ(Find("macs"), "/usr");
    EXPECT_EQ(Find("root"), "/");
    EXPECT_TRUE(fs::is_directory(Find("extn"))) << Find("extn");

    // The environment wins over the file; a relative setting is ignored; folders are not made.
    {
        const ScopedEnv env("XDG_DESKTOP_DIR", home + "/.config");
        EXPECT_EQ(Find("desk"), home + "/.config");
    }
    {
        const ScopedEnv env("XDG_CONFIG_HOME", "relative/config");
        EXPECT_EQ(Find("pref"), home + "/.config");
    }
    fs::remove_all(home + "/Schreibtisch");
    EXPECT_EQ(Find("desk"), "$$-43");
    EXPECT_FALSE(fs::exists(home + "/Schreibtisch"));
    EXPECT_EQ(Find("shdf") + Find("amnu") + Find("ctrl"), "$$-43$$-43$$-43");  // none on this system
    fs::remove_all(home);
}
