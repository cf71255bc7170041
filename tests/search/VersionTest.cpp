#include <gtest/gtest.h>
#include "search/RegistrySearch.h"
#include "search/Version.h"

using namespace tv;

TEST(Version, ParseAndNormalize) {
    struct Case {
        const wchar_t* text;
        bool parsed;
        const wchar_t* normal;
    } cases[] = {
        {L"1.2.3.4", true, L"1.2.3.4"},
        {L"1-2-3-4", true, L"1.2.3.4"},
        {L"v1 build 2", true, L"1.2"},
        {L"1.2.3-beta4", true, L"1.2.3.4"},
        {L"v1.2-beta3", true, L"1.2.3"},
        {L"1.2.3.4.5", true, L"1.2.3.4"},
        {L"1", true, L"1.0"},
        {L"1.2.3.65535", true, L"1.2.3"},
        {L"1.65535.3.0", true, L"1.65535.3"},
        {L"0.0.0.0", true, L"0.0.0.0"},
        {L"", false, L"0.0.0.0"},
        {L"abc", false, L"0.0.0.0"},
        {L"2147483647", true, L"2147483647.0"},
        {L"4294967296", false, L"0.0.0.0"},
        {L"1.99999999999", false, L"0.0.0.0"},
    };
    for (const Case& c : cases) {
        Version version;
        EXPECT_EQ(ParseVersion(c.text, version), c.parsed) << testing::PrintToString(std::wstring(c.text));
        EXPECT_EQ(NormalizeVersion(version), c.normal) << testing::PrintToString(std::wstring(c.text));
    }
}

TEST(Version, AnyVersionInRange) {
    struct Case {
        const wchar_t* min;
        const wchar_t* max;
        std::vector<std::wstring> versions;
        bool inside;
    } cases[] = {
        {L"1.0", L"2.0", {L"0.9", L"1.5"}, true},
        {L"1.0", L"2.0", {L"1.0"}, true},
        {L"1.0", L"2.0", {L"2.0"}, true},
        {L"1.0", L"2.0", {L"2.0.0.1"}, false},
        {L"", L"2", {L"2.0.0.1"}, false},
        {L"0.0.0.0", L"", {L"0.1"}, true},
        {L"abc", L"", {L"anything"}, true},
        {L"2", L"1", {L"1.5", L"2", L"0.5"}, false},
        {L"", L"1.9", {L"1.10"}, false},
        {L"10", L"", {L"10.0.19041.1"}, true},
        {L"1", L"", {L"4294967296"}, false},
        {L"", L"", {L"0.0.0.0"}, true},
        {L"1", L"", {L"0.0.0.0"}, false},
        {L"", L"", {}, false},
        {L"2.0", L"", {L"1.0", L"3.0"}, true},
        {L"2.0", L"", {L"1.0"}, false},
    };
    for (const Case& c : cases) {
        SearchItem item;
        item.verMin = c.min;
        item.verMax = c.max;
        EXPECT_EQ(AnyVersionInRange(item, c.versions), c.inside)
            << testing::PrintToString(std::wstring(c.min)) << " " << testing::PrintToString(std::wstring(c.max));
    }
}

TEST(Version, MatchContentLetters) {
    struct Case {
        const wchar_t* refContent;
        const wchar_t* value;
        bool passes;
    } cases[] = {
        {L"G3", L"5", true},     {L"G3a", L"5", false},  {L"L", L"5", false},     {L"L9", L"10", false},
        {L"G", L"", false},      {L"L1", L"", true},     {L"G-1", L"5", false},   {L"C", L"abc", true},
        {L"Cb", L"abc", true},   {L"CB", L"abc", false}, {L"Xz", L"abc", true},   {L"Xa", L"abc", false},
        {L"Sab", L"abc", true},  {L"Sbc", L"abc", false}, {L"Ebc", L"abc", true}, {L"Eabcd", L"abc", false},
        {L"Mabc", L"ABC", false}, {L"Mabc", L"abc", true}, {L"Dabc", L"abd", true}, {L"Dabc", L"abc", false},
        {L"Zabc", L"abc", false}, {L"", L"abc", false},  {L"Sabcd", L"abc", false},
    };
    for (const Case& c : cases) {
        const std::wstring ref = c.refContent;
        const wchar_t letter = ref.empty() ? L'\0' : ref[0];
        EXPECT_EQ(MatchContent(ref.empty() ? ref : ref.substr(1), c.value, letter), c.passes)
            << testing::PrintToString(ref) << " on " << testing::PrintToString(std::wstring(c.value));
    }
}
