#include <algorithm>
#include "SearchFixture.h"

using namespace tvtest;

namespace {

bool HasLine(const std::vector<std::wstring>& lines, const std::wstring& text) {
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::wstring& line) { return line.find(text) != std::wstring::npos; });
}

}  // namespace

// The property rules of a row: bounds, joined versions, "1", deletion, and
// what a failed search leaves.
TEST_F(AppSearchTest, RowPropertiesFollowTheBounds) {
    CreateKey(HKEY_CURRENT_USER, L"Both\\1.0");
    CreateKey(HKEY_CURRENT_USER, L"Both\\3.0");
    CreateKey(HKEY_CURRENT_USER, L"Low\\1.0");
    const std::wstring cu = KeyPath();
    mPackage.Property(L"KEPT", L"before");
    mPackage.Property(L"EXISTBOUND", L"before");
    const SearchRowSpec rows[] = {
        {L"NOBOUND", 1, cu + L"\\Both"},
        {L"MINHIT", 1, cu + L"\\Both", L"2.0"},
        {L"KEPT", 1, cu + L"\\Low", L"2.0", L"4.0"},
        {L"EXISTBOUND", 5, cu + L"\\Both", L"1.0"},
        {L"UNKNOWNKIND", 15, L"whatever"},
        {L"NEGATIVEKIND", -1, L""},
        {L"SKIPPED", 5, cu, L"", L"", L"", L"", L"1 = 0"},
        {L"MALFORMED", 5, cu, L"", L"", L"", L"", L"((("},
        {L"PLATFORM01", 5, cu, L"", L"", L"01"},
        {L"LATER", 5, cu + L"\\[NOBOUND]", L"", L"", L"", L"", L"MINHIT"},
    };
    for (const SearchRowSpec& row : rows) AddSearch(row);
    CreateKey(HKEY_CURRENT_USER, L"1");
    Open();
    ASSERT_EQ(Call("DoAppSearchEx"), 0u);

    const std::pair<const wchar_t*, const wchar_t*> expected[] = {
        {L"NOBOUND", L"1"},
        {L"NOBOUNDTvVerFound", L"1.0, 3.0"},
        {L"NOBOUNDTvVerMin", L""},
        {L"MINHIT", L"1.0, 3.0"},
        {L"MINHITTvVerMin", L"2.0"},
        {L"MINHITTvVerFound", L"1.0, 3.0"},
        {L"KEPT", L"before"},
        {L"KEPTTvVerMin", L"2.0"},
        {L"KEPTTvVerMax", L"4.0"},
        {L"KEPTTvVerFound", L"1.0"},
        {L"EXISTBOUND", L""},
        {L"EXISTBOUNDTvVerMin", L"1.0"},
        {L"UNKNOWNKIND", L"1"},
        {L"NEGATIVEKIND", L"1"},
        {L"SKIPPED", L""},
        {L"MALFORMED", L"1"},
        {L"PLATFORM01", L"1"},
        {L"LATER", L"1"},
    };
    for (const auto& [name, value] : expected) EXPECT_EQ(Property(name), value) << Narrow(name);
}

// The action line borrows AppSearch's wording; each row shows its property
// and search text, then the line is reset and the data blanked.
TEST_F(AppSearchTest, AnnouncesAndShowsEachRow) {
    mPackage.Row(L"ActionText", {L"AppSearch", L"Searching for installed applications", L"Property: [1], Signature: [2]"});
    AddSearch({L"SHOWN", 6, KeyPath() + L"\\Nothing"});
    DebugLogSwitch log;
    Open();
    ASSERT_EQ(Call("DoAppSearchEx"), 0u);

    const auto starts = mMessages.OfType(INSTALLMESSAGE_ACTIONSTART);
    ASSERT_EQ(starts.size(), 2u);
    EXPECT_EQ(starts[0].Field(1), L"TV_AppSearchEx");
    EXPECT_EQ(starts[0].Field(2), L"Searching for installed applications");
    EXPECT_EQ(starts[0].Field(3), L"Property: [1], Signature: [2]");
    EXPECT_EQ(starts[1].Field(1), L"");
    EXPECT_EQ(starts[1].Field(3), L"[1]");
    const auto data = mMessages.OfType(INSTALLMESSAGE_ACTIONDATA);
    ASSERT_EQ(data.size(), 2u);
    EXPECT_EQ(data[0].Field(1), L"SHOWN");
    EXPECT_EQ(data[0].Field(2), KeyPath() + L"\\Nothing");
    EXPECT_EQ(data[1].Field(1), L" ");
    const auto lines = mMessages.LogLines();
    EXPECT_TRUE(HasLine(lines, L"TV_AppSearchEx: **Registry key does not exist search"));
    EXPECT_TRUE(HasLine(lines, L"Registry KEY existence of " + KeyPath() + L"\\Nothing is: does not exist"));
    EXPECT_EQ(Property(L"SHOWN"), L"1");
}

// "[SETUPEXEDIR]" is the installer's property; the folder names the library
// knows are expanded before the installer formats the rest.
TEST_F(AppSearchTest, SearchStringExpansion) {
    SetText(HKEY_CURRENT_USER, L"", L"Dir", L"setup-dir");
    CreateKey(HKEY_CURRENT_USER, L"setup-dir");
    CreateKey(HKEY_CURRENT_USER, L"formatted");
    wchar_t windows[MAX_PATH];
    ::GetWindowsDirectoryW(windows, MAX_PATH);
    const std::wstring cu = KeyPath();
    mPackage.Property(L"SETUPEXEDIR", cu + L"\\setup-dir");
    mPackage.Property(L"SUBKEY", L"formatted");
    const SearchRowSpec rows[] = {
        {L"SETUPDIR", 5, L"[SETUPEXEDIR]"},
        {L"FORMATTED", 5, cu + L"\\[SUBKEY]"},
        {L"REGISTRYPATH", 5, cu + L"\\!" + cu + L"\\Dir!"},
        {L"WINDOWSDIR", 0, L"[WindowsFolder]system.ini"},
    };
    for (const SearchRowSpec& row : rows) AddSearch(row);
    Open();
    ASSERT_EQ(Call("DoAppSearchEx"), 0u);
    EXPECT_EQ(Property(L"SETUPDIR"), L"1");
    EXPECT_EQ(Property(L"FORMATTED"), L"1");
    EXPECT_EQ(Property(L"REGISTRYPATH"), L"1");
    EXPECT_EQ(Property(L"WINDOWSDIR"), L"1");
}

// VerifyPrePrereq repeats only the marked rows, so what a pre-install
// prerequisite has just written is seen there and nowhere else.
TEST_F(AppSearchTest, VerifyPrePrereqRepeatsMarkedRows) {
    const std::wstring cu = KeyPath();
    mPackage.Row(L"ActionText", {L"AppSearch", L"Searching", L"[1]"});
    AddSearch({L"MARKED", 7, cu + L"\\Arrived", L"", L"", L"", L"", L"", L"1"});
    AddSearch({L"UNMARKED", 7, cu + L"\\Arrived"});
    Open();
    ASSERT_EQ(Call("DoAppSearchEx"), 0u);
    EXPECT_EQ(Property(L"MARKED"), L"");
    SetText(HKEY_CURRENT_USER, L"", L"Arrived", L"yes");
    mMessages.Clear();
    Call("VerifyPrePrereq");
    EXPECT_EQ(Property(L"MARKED"), L"1");
    EXPECT_EQ(Property(L"UNMARKED"), L"");
    EXPECT_EQ(mMessages.OfType(INSTALLMESSAGE_ACTIONDATA).size(), 2u);
}

// A table without marked rows: the action is announced and nothing else.
TEST_F(AppSearchTest, VerifyPrePrereqWithoutMarkedRows) {
    mPackage.Row(L"ActionText", {L"AppSearch", L"Searching", L"[1]"});
    AddSearch({L"UNMARKED", 6, KeyPath() + L"\\Nothing"});
    Open();
    Call("VerifyPrePrereq");
    EXPECT_EQ(Property(L"UNMARKED"), L"");
    EXPECT_EQ(mMessages.OfType(INSTALLMESSAGE_ACTIONSTART).size(), 1u);
    EXPECT_TRUE(mMessages.OfType(INSTALLMESSAGE_ACTIONDATA).empty());
}
