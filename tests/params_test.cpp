// Parameter reading, list splitting, switch tests, results and the string table, on the
// plug-in's own routines linked into the test.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/params.h"
#include "core/results.h"
#include "plugin/strings.h"
#include "tests/plugin_harness.h"

using zerbtest::TextData;

TEST(Switches, MatchAnywhereIgnoringCaseAndPrefixes) {
    EXPECT_TRUE(XP_HasSwitch("-ShowInvisibles", "-showinvisibles"));
    EXPECT_TRUE(XP_HasSwitch("files,-OpenPackagesXYZ", "-OpenPackages"));
    EXPECT_TRUE(XP_HasSwitch("-ShowInvisibles", "-Show"));  // no word boundary test
    EXPECT_FALSE(XP_HasSwitch("-Show", "-ShowInvisibles"));
    EXPECT_FALSE(XP_HasSwitch("", "-x"));
    // Mac OS Roman letters fold too: "É" (0x83) matches "é" (0x8E).
    EXPECT_TRUE(XP_HasSwitch("-caf\x83", "-CAF\x8E"));

    fmx::TextUniquePtr text;
    text->Assign("-AllowMultipleFiles -ReturnFSSpec", fmx::Text::kEncoding_UTF8);
    EXPECT_TRUE(XP7_HasSwitch(text, "-returnfsspec"));
    EXPECT_FALSE(XP7_HasSwitch(text, "-ReturnAtEnd"));
}

TEST(Switches, TaggedNumbersStopAtTheNextSwitchAndAreNeverNegative) {
    long v = -1;
    EXPECT_TRUE(XP_GetTaggedLong("-labelNum=abc12def", "-labelNum", &v));
    EXPECT_EQ(v, 12);
    EXPECT_TRUE(XP_GetTaggedLong("-LABELNUM=12-files", "-labelnum", &v));
    EXPECT_EQ(v, 12);
    EXPECT_FALSE(XP_GetTaggedLong("-labelNum=-5", "-labelNum", &v));
    EXPECT_EQ(v, 0);
    EXPECT_FALSE(XP_GetTaggedLong("-other=5", "-labelNum", &v));
    EXPECT_FALSE(XP_GetTaggedLong("-labelNum= x -y 7", "-labelNum", &v));
    EXPECT_TRUE(XP_GetTaggedLong("-n=99999999999999999999999", "-n=", &v));
    EXPECT_GT(v, 0);  // saturates instead of overflowing
}

TEST(Switches, TaggedStringsByOccurrenceAndCase) {
    const char *source = "a=1;A=2;a=3";
    char value[8];
    EXPECT_EQ(XP_GetTaggedStr(source, long(std::strlen(source)), "a=", 2, ';', 0, 2, 1, value, sizeof value), 8);
    EXPECT_STREQ(value, "3");
    EXPECT_EQ(XP_GetTaggedStr(source, long(std::strlen(source)), "a=", 2, ';', 0, 2, 0, value, sizeof value), 4);
    EXPECT_STREQ(value, "2");
    EXPECT_EQ(XP_GetTaggedStr(source, long(std::strlen(source)), "b=", 2, ';', 0, 1, 0, value, sizeof value), -1);
    EXPECT_STREQ(value, "");
    char tiny[3];
    EXPECT_EQ(XP_GetTaggedStr("k=abcdef", 8, "k=", 2, ';', 0, 1, 1, tiny, sizeof tiny), 0);
    EXPECT_STREQ(tiny, "ab");
}

TEST(Lists, SplitKeepsEmptyItemsAndReportsTheEnd) {
    auto split = [](const char *source, const char *delimiter, long capacity) {
        std::vector<std::string> items;
        long position = 0;
        std::vector<char> item(size_t(capacity) + 1, 'z');
        while (position != -1) {
            XP_GetNextCString(source, delimiter, item.data(), capacity, &position);
            if (position != -1 || item[0]) items.push_back(item.data());
        }
        return items;
    };
    EXPECT_EQ(split("a;;b", ";", 10), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(split("a;;b;", ";", 10), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(split("one--two", "--", 10), (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(split("abcdef;g", ";", 4), (std::vector<std::string>{"abcd", "g"}));
    EXPECT_EQ(split("abcd;efghi", ";", 4), (std::vector<std::string>{"abcd", "efgh"}));

    fmx::TextUniquePtr source, delimiter, item;
    source->Assign("x\ry\r\rz", fmx::Text::kEncoding_UTF8);
    delimiter->Assign("\r", fmx::Text::kEncoding_UTF8);
    std::vector<std::string> items;
    unsigned long position = 0;
    for (int guard = 0; guard < 10; ++guard) {
        XP7_GetNextTxtFromTxt(source, delimiter, item, &position);
        if (position == kZbListExhausted && item->GetSize() == 0) break;
        char bytes[16];
        item->GetBytes(bytes, sizeof bytes, 0, fmx::Text::kSize_End, fmx::Text::kEncoding_UTF8);
        items.push_back(bytes);
        if (position == kZbListExhausted) break;
    }
    EXPECT_EQ(items, (std::vector<std::string>{"x", "y", "", "z"}));
}

TEST(Parameters, MissingParametersLeaveTheOutputAndAdvanceTheCursor) {
    fmx::DataVectUniquePtr vect;
    vect->PushBack(*TextData("-switches"));
    vect->PushBack(*TextData("42.9"));

    unsigned long cursor = 0;
    char buffer[16] = "keep";
    XP7_GetNextCStringFromVect(*vect, buffer, 5, &cursor, fmx::Text::kEncoding_Native);
    EXPECT_STREQ(buffer, "-swi");  // cut to fit
    EXPECT_EQ(XP7_GetNextlongFromVect(*vect, &cursor), 42);
    std::strcpy(buffer, "keep");
    XP7_GetNextCStringFromVect(*vect, buffer, sizeof buffer, &cursor, fmx::Text::kEncoding_Native);
    EXPECT_STREQ(buffer, "keep");
    EXPECT_EQ(cursor, 3u);

    fmx::TextUniquePtr text;
    text->Assign("before", fmx::Text::kEncoding_UTF8);
    XP7_GetNextTxtFromVect(*vect, text, &cursor);
    EXPECT_EQ(text->GetSize(), 6u);
    EXPECT_EQ(cursor, 4u);
    EXPECT_EQ(XP7_GetNextlongFromVect(*vect, &cursor), 0);
    EXPECT_EQ(cursor, 5u);

    unsigned short units[4] = {1, 1, 1, 1};
    cursor = 0;
    XP7_GetNextUniStrFromVect(*vect, units, 4, &cursor);
    EXPECT_EQ(units[0], u'-');
    EXPECT_EQ(units[2], u'w');
    EXPECT_EQ(units[3], 0);
}

TEST(Results, ErrorTextsAndWindowsNumbers) {
    EXPECT_EQ(XP_OSErrLToCStr(0), "0");
    EXPECT_EQ(XP_OSErrLToCStr(-1), "$$-1");
    EXPECT_EQ(XP_OSErrLToCStr(-4220), "$$-4220");
    EXPECT_EQ(XP_OSErrLToCStr(7), "$$7");
    const std::pair<long, long> windows[] = {{0, 0},  {2, -43}, {3, -120}, {5, -47},  {38, -39},
                                             {80, -48}, {183, -48}, {87, -50}, {32, 32}, {-43, -43}};
    for (auto [win, mac] : windows) EXPECT_EQ(XP7_WinToMacOSErr(win), mac) << win;

    fmx::DataUniquePtr result;
    XP7_OSErrLToData(-43, *result);
    EXPECT_EQ(zerbtest::TextOf(*result), "$$-43");
}

TEST(Strings, CapacityRulesOfTheTable) {
    unsigned short buffer[128];
    const std::u16string prototype = u"ZbFile_Exists( switches ; path )";
    const long length = long(prototype.size());
    buffer[0] = 7;
    EXPECT_EQ(ZbSub_OSXLoadString(kZbStringTable, kZbStringKeyFormat, 4216, buffer, length + 1), 0);
    EXPECT_EQ(buffer[0], 7);  // untouched
    EXPECT_EQ(ZbSub_OSXLoadString(kZbStringTable, kZbStringKeyFormat, 4216, buffer, length + 2), length);
    EXPECT_EQ(std::u16string(reinterpret_cast<char16_t *>(buffer)), prototype);
    EXPECT_EQ(ZbSub_OSXLoadString("Other", kZbStringKeyFormat, 4216, buffer, 128), 0);
    EXPECT_EQ(ZbSub_OSXLoadString(kZbStringTable, kZbStringKeyFormat, 4206, buffer, 128), 0);
    EXPECT_EQ(ZbSub_OSXLoadString(kZbStringTable, kZbStringKeyFormat, 4216, buffer, 1), 0);
    EXPECT_EQ(XP7_Do_GetStringUni(kZbStringTable, kZbStringKeyFormat, 131, 0, 128, buffer), 11);

    fmx::TextUniquePtr name;
    XP7_Do_GetString(kZbStringTable, kZbStringKeyFormat, 4223, name, true);
    char bytes[64];
    name->GetBytes(bytes, sizeof bytes, 0, fmx::Text::kSize_End, fmx::Text::kEncoding_UTF8);
    EXPECT_STREQ(bytes, "ZbFile_GetContents");
}
