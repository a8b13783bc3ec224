// The plug-in frame, exercised through the real ZerbFile.fmx loaded in the host emulator:
// start-up, strings, registration order, the dispatcher, Version and Control.
#include <atomic>
#include <thread>
#include <vector>

#include "tests/plugin_harness.h"

using zerbtest::PluginTest;

namespace {

const std::vector<int16_t> kMainOrder = {
    4201, 4202, 4203, 4204, 4205, 4210, 4211, 4212, 4284, 4213, 4214, 4215, 4216, 4220, 4221, 4222, 4223,
    4224, 4230, 4231, 4232, 4233, 4234, 4240, 4241, 4242, 4243, 4244, 4250, 4251, 4252, 4253, 4254, 4260,
    4261, 4262, 4263, 4264, 4270, 4271, 4272, 4273, 4274, 4280, 4281, 4282, 4285, 4286, 4283, 4290};
// The functions beyond the original registered at start-up, after the Version functions.
const std::vector<int16_t> kExtensionOrder = {4400, 4401, 4402, 4403};

std::vector<int16_t> RegisteredIds() {
    std::vector<int16_t> ids;
    for (const auto &f : zhost::RegisteredFunctions()) ids.push_back(f.id);
    return ids;
}

const zhost::RegisteredFunction *Find(const std::vector<zhost::RegisteredFunction> &all, int16_t id) {
    for (const auto &f : all)
        if (f.id == id) return &f;
    return nullptr;
}

}  // namespace

TEST_F(PluginTest, LoadsWithItsOptionsNameAndInitResult) {
    ASSERT_TRUE(plugin) << loadError;
    EXPECT_EQ(plugin->options(), u"Z7fi1nnYnnn");
    EXPECT_EQ(plugin->name(), u"Zerb File Plug-In");
    EXPECT_FALSE(plugin->description().empty());
    EXPECT_EQ(plugin->initResult(), 51);
    // Unknown string ids answer an empty string; 131 is read from the entry kept under 1.
    EXPECT_EQ(plugin->GetString(130), u"");
    EXPECT_EQ(plugin->GetString(132), u"");
}

TEST_F(PluginTest, InitAcceptsHostVersions50To255Only) {
    for (int16_t version : {49, 256, 0, -3}) {
        Load(version);
        EXPECT_FALSE(plugin) << version;
        EXPECT_NE(loadError.find("-1"), std::string::npos) << loadError;
        EXPECT_TRUE(zhost::RegisteredFunctions().empty()) << version;
    }
    for (int16_t version : {50, 255, 77}) {
        Load(version);
        ASSERT_TRUE(plugin) << version << ": " << loadError;
        EXPECT_EQ(plugin->initResult(), 51);
    }
}

TEST_F(PluginTest, GetStringNeedsRoomForTheStringAndTwoMoreUnits) {
    const std::u16string name = u"Zerb File Plug-In";
    const uint32_t length = uint32_t(name.size());
    EXPECT_EQ(plugin->GetString(128, length + 3), name);
    EXPECT_EQ(plugin->GetString(128, length + 2), u"");
    EXPECT_EQ(plugin->GetString(128, 1), u"");
    EXPECT_EQ(plugin->GetString(128, 0), u"");
}

TEST_F(PluginTest, RegistersEveryFunctionInOrderWithCountsFlagsAndPrototypes) {
    std::vector<int16_t> expected = kMainOrder;
    expected.insert(expected.end(), {4287, 4291, 4292, 4293, 0, 1});
    expected.insert(expected.end(), kExtensionOrder.begin(), kExtensionOrder.end());
    EXPECT_EQ(RegisteredIds(), expected);

    const auto all = zhost::RegisteredFunctions();
    for (const auto &f : all) {
        EXPECT_EQ(f.pluginId, 0x5A376669u);  // "Z7fi"
        EXPECT_EQ(f.flags, (f.id == 0 || f.id == 1) ? 0xFF01u : 0xE900u) << f.id;
        EXPECT_EQ(f.name.find(u'('), std::u16string::npos) << f.id;
        EXPECT_EQ(f.prototype.compare(0, f.name.size(), f.name), 0) << f.id;
        EXPECT_EQ(f.name.compare(0, 7, u"ZbFile_"), 0) << f.id;
    }
    const auto *contents = Find(all, 4223);
    ASSERT_TRUE(contents);
    EXPECT_EQ(contents->name, u"ZbFile_GetContents");
    EXPECT_EQ(contents->prototype, u"ZbFile_GetContents( switches ; path {; start ; length } )");
    EXPECT_EQ(contents->minArgs, 2);
    EXPECT_EQ(contents->maxArgs, 4);
    EXPECT_EQ(Find(all, 0)->name, u"ZbFile_VersionNoParams");
    EXPECT_EQ(Find(all, 0)->maxArgs, 0);
    EXPECT_EQ(Find(all, 1)->prototype, u"ZbFile_Version( switches )");
    EXPECT_EQ(Find(all, 4261)->minArgs, 4);
    EXPECT_EQ(Find(all, 4261)->maxArgs, 6);
    EXPECT_EQ(Find(all, 4283)->minArgs, 5);
}

TEST_F(PluginTest, ARefusedRegistrationStopsTheMainTableButNotVersionOrTheExtensions) {
    zhost::FailRegistrationOf(4213, 8);  // DeleteFile, the tenth entry, right after CreateThumbnail
    Load(kCurrentExtnVersion);
    zhost::FailRegistrationOf(4213, 0);
    ASSERT_TRUE(plugin) << loadError;  // init still answers 51
    std::vector<int16_t> expected(kMainOrder.begin(), kMainOrder.begin() + 9);
    expected.insert(expected.end(), {0, 1});
    expected.insert(expected.end(), kExtensionOrder.begin(), kExtensionOrder.end());
    EXPECT_EQ(RegisteredIds(), expected);
}

TEST_F(PluginTest, VersionAnswersByTheFirstSwitchInItsOrder) {
    EXPECT_EQ(Call("ZbFile_VersionNoParams"), "Zerb File Plug-In 3.6.1");
    EXPECT_EQ(Call("ZbFile_Version", {"-getversionnumber"}), "3610");
    EXPECT_EQ(Call("ZbFile_Version", {"-showplugininfo -GETVERSIONNUMBER"}), "3610");
    EXPECT_EQ(Call("ZbFile_Version", {"-getversionstring"}), "Zerb File Plug-In 3.6.1");
    EXPECT_EQ(Call("ZbFile_Version", {"-ShowPluginInfo"}), "PowerPC Mach-O");
    EXPECT_EQ(Call("ZbFile_Version", {"-nosuchswitch"}), "Zerb File Plug-In 3.6.1");
    EXPECT_EQ(Call("ZbFile_Version", {""}), "Zerb File Plug-In 3.6.1");
    EXPECT_EQ(Call("ZbFile_Version", {"-AliasBugWorkAroundOFF"}), "0");
    EXPECT_EQ(Call("ZbFile_Version", {"-AliasBugWorkAroundON"}), "0");
}

TEST_F(PluginTest, RegistrationSwitchesAddOptionalGroupsOnce) {
    EXPECT_EQ(Call("ZbFile_CopyFolder", {"", "a", "b"}), "<call status 1>");
    EXPECT_EQ(Call("ZbFile_Version", {"-RegisterCopyFolderFunction"}), "0");
    EXPECT_EQ(Call("ZbFile_CopyFolder", {"", "a", "b"}), "$$-37");  // registered: a path too short
    const size_t count = zhost::RegisteredFunctions().size();
    EXPECT_EQ(Call("ZbFile_Version", {"-registercopyfolderfunction"}), "0");
    EXPECT_EQ(zhost::RegisteredFunctions().size(), count);
    // Several switches in one call: each is applied, the last sets the answer.
    EXPECT_EQ(Call("ZbFile_Version", {"-RegisterAsciiValueToTextFunction,-RegisterExecuteShellFunction"}), "0");
    EXPECT_EQ(zhost::RegisteredFunctions().size(), count + 4);
    const auto ids = RegisteredIds();
    EXPECT_EQ(std::vector<int16_t>(ids.end() - 5, ids.end()), (std::vector<int16_t>{4296, 4294, 4295, 4404, 4405}));
}

TEST_F(PluginTest, ShutdownAndReinitKeepGroupFlagsAndCopyFolder) {
    EXPECT_EQ(Call("ZbFile_Version", {"-RegisterCopyFolderFunction"}), "0");
    plugin->Shutdown();
    EXPECT_EQ(RegisteredIds(), std::vector<int16_t>{4296});
    EXPECT_EQ(plugin->Init(), 51);
    std::vector<int16_t> expected = {4296};
    expected.insert(expected.end(), kMainOrder.begin(), kMainOrder.end());
    expected.insert(expected.end(), {0, 1});
    expected.insert(expected.end(), kExtensionOrder.begin(), kExtensionOrder.end());
    EXPECT_EQ(RegisteredIds(), expected);  // 4287 and 4291 to 4293 are not registered again
    EXPECT_EQ(Call("ZbFile_Version", {"-RegisterSetMetaDataFunction"}), "0");
    EXPECT_EQ(RegisteredIds(), expected);  // flag already set: nothing registered
}

TEST_F(PluginTest, ControlDisablesAndEnablesBehindAPassword) {
    EXPECT_EQ(Call("ZbFile_Control", {"CurrentEnabledStatus"}), "1");
    EXPECT_EQ(Call("ZbFile_Control", {"DisableAllFunctions", "ab"}), "$$-416");
    EXPECT_EQ(Call("ZbFile_Control", {"DisableAllFunctions", std::string(65, 'x')}), "$$-416");
    EXPECT_EQ(Call("ZbFile_Control", {"EnableAllFunctions", "secret"}), "$$-4218");
    EXPECT_EQ(Call("ZbFile_Control", {"DisableAllFunctions EnableAllFunctions", "secret"}), "$$-50");
    EXPECT_EQ(Call("ZbFile_Control", {"nothing", "secret"}), "$$-50");

    EXPECT_EQ(Call("ZbFile_Control", {"disableallfunctions", "Secret"}), "0");
    EXPECT_EQ(Call("ZbFile_Exists", {"", "/tmp"}), "$$-4220");
    EXPECT_EQ(Call("ZbFile_Version", {"-getversionnumber"}), "3610");
    EXPECT_EQ(Call("ZbFile_Control", {"CurrentEnabledStatus"}), "0");
    EXPECT_EQ(Call("ZbFile_Control", {"DisableAllFunctions", "other"}), "$$-4217");
    EXPECT_EQ(Call("ZbFile_Control", {"EnableAllFunctions", "secret"}), "$$-4218");
    EXPECT_EQ(Call("ZbFile_Control", {"EnableAllFunctions", "ab"}), "$$-416");
    EXPECT_EQ(Call("ZbFile_Control", {"EnableAllFunctions", "Secret"}), "0");
    EXPECT_EQ(Call("ZbFile_Exists", {"", "/tmp"}), "1");

    const std::string longest(64, 'p');
    EXPECT_EQ(Call("ZbFile_Control", {"DisableAllFunctions", longest}), "0");
    EXPECT_EQ(Call("ZbFile_Control", {"EnableAllFunctions", longest}), "0");
}

TEST_F(PluginTest, DispatcherLeavesUnassignedIdsUntouched) {
    const auto callback = zhost::RegisteredFunctions().front().callback;
    for (short id : {4206, 4289, 4200, 4297, 32767, -5}) {
        fmx::DataVectUniquePtr parameters;
        auto result = zerbtest::TextData("untouched");
        zhost::ExprEnvObj env;
        EXPECT_EQ(callback(id, *zhost::As<fmx::ExprEnv>(&env), *parameters, *result), 0);
        EXPECT_EQ(zerbtest::TextOf(*result), "untouched") << id;
    }
}

TEST_F(PluginTest, ConcurrentCallsSeeAConsistentGate) {
    std::atomic<int> bad{0};
    std::atomic<bool> stop{false};
    std::vector<std::thread> callers;
    for (int t = 0; t < 4; ++t) {
        callers.emplace_back([&] {
            for (int k = 0; k < 400; ++k) {
                const std::string v = Call("ZbFile_Version", {"-getversionnumber"});
                const std::string e = Call("ZbFile_Exists", {"", "/tmp"});
                if (v != "3610" || (e != "$$-4220" && e != "1")) ++bad;
            }
        });
    }
    std::thread toggler([&] {
        for (int k = 0; k < 200 && !stop; ++k) {
            if (Call("ZbFile_Control", {"DisableAllFunctions", "pass"}) != "0") ++bad;
            if (Call("ZbFile_Control", {"EnableAllFunctions", "pass"}) != "0") ++bad;
        }
    });
    for (auto &t : callers) t.join();
    stop = true;
    toggler.join();
    EXPECT_EQ(bad, 0);
}
