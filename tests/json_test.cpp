// The JSON answers' text routines against tools nobody here wrote: the repair of bad UTF-8 against
// Python's decoder (which replaces maximal ill-formed subsequences as the Unicode standard
// recommends), local ISO 8601 times against date(1), and every writer's output through Python's
// json module.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "tests/process_util.h"
#include "text/json.h"
#include "text/unicode_forms.h"

namespace {

using zerbtest::Output;

std::string TempPath(const char *name) {
    return (testing::TempDir() + "zerb-json-" + std::to_string(getpid()) + "-" + name);
}

// Byte strings rich in near-UTF-8: lead bytes, continuations, the edges of the valid ranges.
std::vector<std::string> NearUTF8Samples(size_t count) {
    static const unsigned char kBytes[] = {0x41, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC1, 0xC2, 0xDF,
                                           0xE0, 0xE1, 0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF4, 0xF5, 0xFF, 0x00};
    std::mt19937 random(7);
    std::vector<std::string> samples;
    for (size_t i = 0; i < count; ++i) {
        std::string s(random() % 12, '\0');
        for (char &c : s) c = char(kBytes[random() % sizeof kBytes]);
        samples.push_back(s);
    }
    return samples;
}

TEST(JsonText, RepairsBadUTF8AsPythonsDecoderDoes) {
    const auto samples = NearUTF8Samples(3000);
    const std::string in = TempPath("samples");
    {
        std::ofstream f(in, std::ios::binary);
        for (const auto &s : samples) f << ZbHexText(s) << '\n';
    }
    const std::string expected = Output(
        "python3 -c \"import sys\nfor l in open('" + in +
        "'): sys.stdout.write(bytes.fromhex(l.strip()).decode('utf-8','replace').encode().hex()+'\\n')\"");
    std::remove(in.c_str());
    ASSERT_FALSE(expected.empty()) << "python3 is needed";
    std::string mine;
    for (const auto &s : samples) {
        const std::string repaired = ZbUTF8Repaired(s);
        EXPECT_TRUE(ZbIsUTF8(repaired));
        mine += ZbHexText(repaired) + '\n';
    }
    EXPECT_EQ(mine, expected);
}

TEST(JsonText, LocalTimesAreIsoWithTheOffsetOfTheirInstant) {
    // Instants on both sides of daylight-saving changes, before 1970 and past 2038, in zones east
    // and west of UTC and with a half-hour offset.
    const char *zones[] = {"Europe/Berlin", "America/New_York", "Asia/Kolkata", "UTC"};
    const int64_t instants[] = {0, 1711846799, 1711846800, 1730595600, -86400 * 365 * 5, 4102444800};
    const char *saved = getenv("TZ");
    const std::string previous = saved ? saved : "";
    for (const char *zone : zones) {
        setenv("TZ", zone, 1);
        tzset();
        for (int64_t t : instants) {
            const std::string expected =
                Output("TZ=" + std::string(zone) + " date -d @" + std::to_string(t) + " +%Y-%m-%dT%H:%M:%S%:z");
            ASSERT_FALSE(expected.empty());
            EXPECT_EQ(ZbIsoLocalTime(t, 0) + "\n", expected) << zone << " " << t;
        }
    }
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(ZbIsoLocalTime(1, 500000000), "1970-01-01T00:00:01.5+00:00");
    EXPECT_EQ(ZbIsoLocalTime(1, 123456789), "1970-01-01T00:00:01.123456789+00:00");
    EXPECT_EQ(ZbIsoLocalTime(1, 1000), "1970-01-01T00:00:01.000001+00:00");
    if (saved)
        setenv("TZ", previous.c_str(), 1);
    else
        unsetenv("TZ");
    tzset();
}

TEST(JsonText, EveryWriterCallMakesJsonThatPythonReads) {
    static const char kControl[] = "tab\t nl\n quote\" backslash\\ nul\0 del\x7F";
    ZbJson json;
    json.BeginObject();
    json.Name("name", "caf\xC3\xA9 \xFF\xFEx");
    json.Key("control");
    json.Text(std::string(kControl, sizeof kControl - 1));
    json.Key("numbers");
    json.BeginArray();
    json.Number(0.1);
    json.Number(1.0 / 0.0);
    json.Int(-9007199254740993);
    json.Uint(18446744073709551615u);
    json.EndArray();
    json.Date("when", 0, 1);
    json.Key("errors");
    json.BeginArray();
    json.Failure("/x/\xC0", -5000, 13);
    json.Failure("/y", -43, 0);
    json.EndArray();
    json.EndObject();
    const std::string in = TempPath("answer.json");
    std::ofstream(in, std::ios::binary) << json.Text();
    const std::string read = Output(
        "python3 -c \"import json; d=json.load(open('" + in +
        "', encoding='utf-8')); print(d['name'], d['nameBytes'], len(d['control']), d['numbers'][1], "
        "d['numbers'][3], d['errors'][0]['errno'], d['errors'][0]['message'], d['errors'][1]['message'])\"");
    std::remove(in.c_str());
    EXPECT_EQ(read,
              "caf\xC3\xA9 \xEF\xBF\xBD\xEF\xBF\xBDx 636166c3a920fffe78 " + std::to_string(sizeof kControl - 1) +
                  " None 18446744073709551615 13 Permission denied file not found\n")
        << json.Text();
}

}  // namespace
