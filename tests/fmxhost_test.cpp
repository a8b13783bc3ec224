// The command-line host: evaluation, sessions on standard input, listing and its errors.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

struct Run {
    int status = -1;
    std::string out, err;
};

std::string Quote(const std::string &s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

std::string Slurp(const std::filesystem::path &p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// Runs fmxhost with the arguments and the given standard input.
Run Fmxhost(const std::string &arguments, const std::string &input = "") {
    const auto dir = std::filesystem::temp_directory_path() / ("zerb-fmxhost-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    std::ofstream(dir / "in", std::ios::binary) << input;
    const std::string command = std::string(ZERB_RUN_PREFIX) + " " + ZERB_FMXHOST_PATH + " --plugin " + ZERB_PLUGIN_PATH + " " + arguments +
                                " <" + Quote((dir / "in").string()) + " >" + Quote((dir / "out").string()) +
                                " 2>" + Quote((dir / "err").string());
    Run r;
    const int raw = std::system(command.c_str());
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    r.out = Slurp(dir / "out");
    r.err = Slurp(dir / "err");
    std::filesystem::remove_all(dir);
    return r;
}

}  // namespace

TEST(Fmxhost, EvaluatesCallsLiteralsAndConcatenation) {
    auto r = Fmxhost(Quote("ZbFile_Version(\"-getversionnumber\")") + " " + Quote("ZbFile_VersionNoParams") + " " +
                     Quote("ZbFile_VersionNoParams()") + " " +
                     Quote("\"a\\\"b\\\\\" & 12 & \"\xC2\xB6\" & ZbFile_Version( \"-get\" & \"versionnumber\" )"));
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "3610\nZerb File Plug-In 3.6.1\nZerb File Plug-In 3.6.1\na\"b\\12\n3610\n");
    r = Fmxhost("--raw " + Quote("\"x\xC2\xB6y\""));
    EXPECT_EQ(r.out, "x\ry\n");
}

TEST(Fmxhost, SessionOnStandardInputKeepsThePluginState) {
    const auto r = Fmxhost("",
                           "ZbFile_Version(\"-RegisterCopyFolderFunction\")\n"
                           "ZbFile_CopyFolder(\"\"; \"a\"; \"b\")\n"
                           "ZbFile_Control(\"DisableAllFunctions\"; \"abc\")\n"
                           "ZbFile_Exists(\"\"; \"/\")\n"
                           "ZbFile_Control(\"EnableAllFunctions\"; \"ABC\")\n"
                           "ZbFile_Control(\"EnableAllFunctions\"; \"abc\")\n");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "0\n$$-37\n0\n$$-4220\n$$-4218\n0\n");
}

TEST(Fmxhost, UserErrorsGoToStandardErrorWithStatus2) {
    auto r = Fmxhost(Quote("ZbFile_NoSuchThing(1)"));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("unknown function"), std::string::npos) << r.err;
    r = Fmxhost(Quote("ZbFile_Version(\"a\"; \"b\")"));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("takes 1 parameter"), std::string::npos) << r.err;
    r = Fmxhost(Quote("ZbFile_Exists(\"x\")"));
    EXPECT_EQ(r.status, 2);
    r = Fmxhost(Quote("ZbFile_Version(\"a\""));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("syntax error"), std::string::npos) << r.err;
    // In a session a bad line still gives its own (empty) output line.
    r = Fmxhost("", "ZbFile_Version(\"-getversionnumber\")\nbad(\nZbFile_VersionNoParams\n");
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "3610\n\nZerb File Plug-In 3.6.1\n");
    // A function's own error result is a normal result.
    r = Fmxhost(Quote("ZbFile_Control(\"nothing\")"));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "$$-50\n");
}

TEST(Fmxhost, ListsFunctionsInRegistrationOrder) {
    const auto r = Fmxhost("--list");
    EXPECT_EQ(r.status, 0) << r.err;
    std::istringstream lines(r.out);
    std::vector<std::string> all;
    for (std::string line; std::getline(lines, line);) all.push_back(line);
    ASSERT_EQ(all.size(), 60u);
    EXPECT_EQ(all.front(), "4201\tZbFile_AppendContents\tZbFile_AppendContents( switches ; text )");
    // The order itself is checked in-process (frame_test); here, what fmxhost makes of it.
    EXPECT_EQ(all[54], "0\tZbFile_VersionNoParams\tZbFile_VersionNoParams");
}

TEST(Fmxhost, RefusesAPluginItCannotLoad) {
    const auto r = Fmxhost("--plugin /nonexistent/none.fmx " + Quote("ZbFile_VersionNoParams"));
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("Could not load plug-in code"), std::string::npos) << r.err;
}
