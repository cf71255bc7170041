#include "SearchFixture.h"

using namespace tvtest;

// Kind 0 by path, by depth and by bare name on the fixed drives; kind 14 on
// the names of subfolders.
TEST_F(AppSearchTest, FileAndFolderKinds) {
    ProgramFolder scratch;
    scratch.Make(L"a\\b");
    scratch.CopyProgram(L"versioned.exe", L"a\\b\\tvversioned.exe");
    scratch.CopyProgram(L"versioned.exe", L"top.exe");
    scratch.CopyProgram(L"fakesetup.exe", L"a\\plain.dll");
    scratch.Make(L"vers\\1.0");
    scratch.Make(L"vers\\2.5");
    scratch.Make(L"vers\\old");
    scratch.Make(L"empty");
    // A bare name is looked for in the root of each fixed drive.
    const std::wstring rootName = L"tvsearch-" + std::to_wstring(::GetCurrentProcessId()) + L".exe";
    ::CopyFileW((TvDll::Folder() + L"\\versioned.exe").c_str(), (L"C:\\" + rootName).c_str(), FALSE);
    const std::wstring root = scratch.Path();
    const SearchRowSpec rows[] = {
        {L"PATH", 0, root + L"top.exe"},
        {L"PATHBOUND", 0, root + L"top.exe", L"4.3.2.2"},
        {L"PATHINRANGE", 0, root + L"top.exe", L"4.0", L"4.3.2.1"},
        {L"DEPTH2", 0, root + L"tvversioned.exe?2"},
        {L"DEPTH1", 0, root + L"tvversioned.exe?1"},
        {L"DEPTHNODIGITS", 0, root + L"tvversioned.exe?x"},
        {L"WILDCARD", 0, root + L"a\\*.dll"},
        {L"WILDCARDBOUND", 0, root + L"a\\*.dll", L"1.0"},
        {L"MISSING", 0, root + L"nothing.exe?3"},
        {L"ENVPATH", 0, L"%TVSEARCH_ROOT%top.exe"},
        {L"BARE", 0, rootName},
        {L"BAREDEPTH", 0, L"tvversioned.exe?1"},
        {L"LEADINGMARK", 0, L"?" + rootName},
        {L"SUBFOLDERS", 14, root + L"vers"},
        {L"SUBFOLDERSMIN", 14, root + L"vers\\", L"2.0"},
        {L"SUBFOLDERSNONE", 14, root + L"empty"},
    };
    for (const SearchRowSpec& row : rows) AddSearch(row);
    ::SetEnvironmentVariableW(L"TVSEARCH_ROOT", root.c_str());
    Open();
    const UINT result = Call("DoAppSearchEx");
    ::SetEnvironmentVariableW(L"TVSEARCH_ROOT", nullptr);
    ::DeleteFileW((L"C:\\" + rootName).c_str());
    ASSERT_EQ(result, 0u);

    const std::pair<const wchar_t*, const wchar_t*> expected[] = {
        {L"PATH", L"1"},
        {L"PATHTvVerFound", L"4.3.2.1"},
        {L"PATHBOUND", L""},
        {L"PATHBOUNDTvVerFound", L"4.3.2.1"},
        {L"PATHINRANGE", L"4.3.2.1"},
        {L"DEPTH2", L"1"},
        {L"DEPTH1", L""},
        {L"DEPTHNODIGITS", L""},
        {L"WILDCARD", L"1"},
        {L"WILDCARDTvVerFound", L"0.0.0.0"},
        {L"WILDCARDBOUND", L""},
        {L"MISSING", L""},
        {L"MISSINGTvVerFound", L""},
        {L"ENVPATH", L"1"},
        {L"BARE", L"1"},
        {L"BARETvVerFound", L"4.3.2.1"},
        {L"BAREDEPTH", L""},
        {L"LEADINGMARK", L""},
        {L"SUBFOLDERS", L"1"},
        {L"SUBFOLDERSMIN", L"1.0, 2.5, old"},
        {L"SUBFOLDERSNONE", L""},
    };
    for (const auto& [name, value] : expected) EXPECT_EQ(Property(name), value) << Narrow(name);
}
