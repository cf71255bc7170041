// Where a prerequisite's file lies, through a real session.
#include "Harness.h"
#include "prereq/PrereqLocation.h"

using namespace tvtest;
using tv::Prerequisite;

using Location = SessionTest;

TEST_F(Location, FoldersPathsAndNames) {
    Open();
    SetProperty(L"TempFolder", L"C:\\Temp\\");
    SetProperty(L"WindowsVolume", L"C:\\");
    // The folder of the system account: the volume-root form when its temporary folder is inside its profile.
    const std::wstring home = L"C:\\Windows\\system32\\config\\systemprofile", temp = home + L"\\AppData\\Local\\Temp";
    const std::wstring systemDir = L"C:\\TV Tests\\TV Test Product\\prerequisites\\";
    // folder, runs as LocalSystem, profile folder, result
    const std::tuple<std::wstring, bool, std::wstring, std::wstring> accounts[] = {
        {temp, true, home, systemDir},  {temp, false, home, temp},  {L"D:\\Downloads", true, home, L"D:\\Downloads"},
        {L"C:\\WINDOWS\\System32\\CONFIG\\systemprofile\\", true, home + L"\\", systemDir},  // the profile itself
        {L"D:\\Downloads", true, L"", systemDir},  // no profile: no way to tell
        {home + L"2\\x", true, home, home + L"2\\x"},  // a longer name beside the profile isn't below it
    };
    for (const auto& [folder, localSystem, profile, result] : accounts)
        EXPECT_EQ(tv::ChoosePrereqsDir(mSession, folder, localSystem, profile), result) << Narrow(folder);

    // Location 0: beside the setup, or in the prerequisites folder when the files are embedded.
    struct Beside { const char* name; const wchar_t *setupExe, *sourceDir, *embedded, *path; };
    const Beside beside[] = {
        {"bare target name", L"", L"", L"", L"a.exe"},
        {"beside the setup", L"C:\\d\\setup.exe", L"C:\\src\\", L"", L"C:\\d\\a.exe"},
        {"source dir with its backslash", L"", L"C:\\src\\", L"", L"C:\\src\\a.exe"},
        {"setup path without a backslash", L"setup.exe", L"", L"", L"setup.exe\\a.exe"},
        {"embedded location, formatted", L"C:\\d\\s.exe", L"", L"x", L"C:\\pre\\a.exe"},
    };
    SetProperty(L"TV_PREREQS_DIR", L"[WindowsVolume]pre");
    for (const Beside& c : beside) {
        SetProperty(L"TV_SETUPEXEPATH", c.setupExe);
        SetProperty(L"SourceDir", c.sourceDir);
        SetProperty(L"TV_EMBEDDED_FILES_LOCATION", c.embedded);
        EXPECT_EQ(tv::GetPrereqFilePath(mSession, {{L"Location", L"0"}, {L"TargetName", L"a.exe"}}), c.path) << c.name;
    }
    EXPECT_EQ(tv::GetPrereqFilePath(mSession, {{L"Location", L"2"}, {L"TargetName", L"a.exe"}}), L"") << "Location 2";

    // Location 1: where a local URL points, else in a folder of the prerequisites folder.
    const std::wstring longDir = L"C:\\" + std::wstring(221, L'd'), longName = L"n" + std::wstring(35, L'x') + L".exe";
    struct Fetched { const char* name; std::wstring prereqsDir, url; const wchar_t* target; std::wstring path; };
    const Fetched fetched[] = {
        {"default", L"", L"http://h/a/s.exe", L"", L"C:\\Temp\\" + mPackage.ProductCode() + L"\\Key\\s.exe"},
        {"file URL stays where it lies", L"C:\\pre", L"file:///C:/x/y.exe", L"fld?f.exe", L"C:\\x\\y.exe"},
        {"file URL in mixed case, no percent decoding", L"", L"FiLe://C:/a%20b/y.exe", L"", L"C:\\a%20b\\y.exe"},
        {"UNC source is copied", L"C:\\pre\\", L"\\\\srv\\share\\[FILE]", L"", L"C:\\pre\\Key\\s.exe"},
        {"four slashes: first prefix wins", L"C:\\pre", L"file:////srv/share/s.exe", L"", L"\\srv\\share\\s.exe"},
        {"folder and file", L"C:\\pre", L"http://h/a/s.exe", L"fld?f.exe", L"C:\\pre\\fld\\f.exe"},
        {"file only", L"C:\\pre", L"http://h/a/s.exe", L"?f.exe", L"C:\\pre\\Key\\f.exe"},
        {"folder only", L"C:\\pre", L"http://h/a/s.exe?x=1", L"fld", L"C:\\pre\\fld\\x=1"},
        // 229 characters before the name leave room for its last 30
        {"name cut to fit", longDir, L"http://h/" + longName, L"", longDir + L"\\Key\\" + longName.substr(10)},
    };
    SetProperty(L"FILE", L"s.exe");
    for (const Fetched& c : fetched) {
        SetProperty(L"TV_PREREQS_DIR", c.prereqsDir);
        const Prerequisite row = {{L"PrereqKey", L"Key"}, {L"Location", L"1"}, {L"SetupFileUrl", c.url},
                                  {L"TargetName", c.target}};
        EXPECT_EQ(tv::GetPrereqFilePath(mSession, row), c.path) << c.name;
    }

    // Names for people, names from URLs, and the list of files brought onto the machine.
    SetProperty(L"NAME", std::wstring(36, L'a') + L".exe");
    EXPECT_EQ(tv::GetPrereqShortName(mSession, {{L"Location", L"1"}, {L"SetupFileUrl", L"http://h/dl/[NAME]"}}),
              std::wstring(26, L'a') + L".exe");
    EXPECT_EQ(tv::GetPrereqShortName(mSession, {{L"Location", L"0"}, {L"TargetName", L"fld?f.exe"}}), L"fld?f.exe");
    EXPECT_EQ(tv::GetPrereqShortName(mSession, {{L"Location", L"2"}, {L"TargetName", L"x.exe"}}), L"x.exe");

    const std::tuple<const wchar_t*, size_t, const wchar_t*> cases[] = {
        {L"http://h/a/", 259, L""}, {L"setup.exe", 259, L"setup.exe"}, {L"C:\\x\\y|z.msi", 259, L"z.msi"},
        {L"http://h/abc.exe", static_cast<size_t>(-5), L"abc.exe"},  // a path past the limit: no cut
    };
    for (const auto& [url, limit, name] : cases) EXPECT_EQ(tv::FileNameFromUrl(url, limit), name) << Narrow(url);

    // U+0001 between the files, and no test for a duplicate.
    for (const wchar_t* path : {L"C:\\a.exe", L"C:\\b c\\d.msi", L"C:\\a.exe"}) tv::AddPrereqFile(mSession, path);
    EXPECT_EQ(Property(L"TV_PREREQFILES"), L"C:\\a.exe\x0001" L"C:\\b c\\d.msi\x0001" L"C:\\a.exe");
}
