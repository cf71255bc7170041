// Where a prerequisite's file lies, through a real session.
#include "Harness.h"
#include "prereq/PrereqLocation.h"

using namespace tvtest;
using tv::Prerequisite;

namespace {
class Location : public SessionTest {};
}  // namespace

TEST_F(Location, FilePathByLocationAndProperties) {
    const std::wstring longDir = L"C:\\" + std::wstring(198, L'd');  // 201 characters
    const std::wstring longName = L"n" + std::wstring(35, L'x') + L".exe";  // 40 characters
    struct Case {
        const char* name;
        std::map<std::wstring, std::wstring> properties;
        Prerequisite row;
        std::wstring path;
    };
    const Case cases[] = {
        {"bare target name", {}, {{L"TargetName", L"a.exe"}}, L"a.exe"},
        {"beside the setup", {{L"TV_SETUPEXEPATH", L"C:\\d\\setup.exe"}, {L"SourceDir", L"C:\\src\\"}},
         {{L"TargetName", L"a.exe"}, {L"Location", L"0"}}, L"C:\\d\\a.exe"},
        {"source dir with its backslash", {{L"SourceDir", L"C:\\src\\"}}, {{L"TargetName", L"a.exe"}},
         L"C:\\src\\a.exe"},
        {"setup path without a backslash", {{L"TV_SETUPEXEPATH", L"setup.exe"}}, {{L"TargetName", L"a.exe"}},
         L"setup.exe\\a.exe"},
        {"embedded location", {{L"TV_EMBEDDED_FILES_LOCATION", L"x"}, {L"TV_PREREQS_DIR", L"C:\\pre"}, {L"TV_SETUPEXEPATH", L"C:\\d\\s.exe"}},
         {{L"TargetName", L"a.exe"}}, L"C:\\pre\\a.exe"},
        {"file URL stays where it lies", {{L"TV_PREREQS_DIR", L"C:\\pre"}},
         {{L"Location", L"1"}, {L"SetupFileUrl", L"file:///C:/x/y.exe"}, {L"TargetName", L"fld?f.exe"}}, L"C:\\x\\y.exe"},
        {"file URL in mixed case, no percent decoding", {},
         {{L"Location", L"1"}, {L"SetupFileUrl", L"FiLe://C:/a%20b/y.exe"}}, L"C:\\a%20b\\y.exe"},
        {"UNC source is copied", {{L"TV_PREREQS_DIR", L"C:\\pre\\"}},
         {{L"PrereqKey", L"Key"}, {L"Location", L"1"}, {L"SetupFileUrl", L"\\\\srv\\share\\s.exe"}}, L"C:\\pre\\Key\\s.exe"},
        {"four slashes: the three-slash prefix wins", {{L"TV_PREREQS_DIR", L"C:\\pre"}},
         {{L"PrereqKey", L"Key"}, {L"Location", L"1"}, {L"SetupFileUrl", L"file:////srv/share/s.exe"}}, L"\\srv\\share\\s.exe"},
        {"folder and file", {{L"TV_PREREQS_DIR", L"C:\\pre"}},
         {{L"PrereqKey", L"Key"}, {L"Location", L"1"}, {L"SetupFileUrl", L"http://h/a/s.exe"}, {L"TargetName", L"fld?f.exe"}},
         L"C:\\pre\\fld\\f.exe"},
        {"file only", {{L"TV_PREREQS_DIR", L"C:\\pre"}},
         {{L"PrereqKey", L"Key"}, {L"Location", L"1"}, {L"SetupFileUrl", L"http://h/a/s.exe"}, {L"TargetName", L"?f.exe"}},
         L"C:\\pre\\Key\\f.exe"},
        {"folder only", {{L"TV_PREREQS_DIR", L"C:\\pre"}, {L"HOST", L"h"}},
         {{L"PrereqKey", L"Key"}, {L"Location", L"1"}, {L"SetupFileUrl", L"http://[HOST]/a/s.exe?x=1"}, {L"TargetName", L"fld"}},
         L"C:\\pre\\fld\\x=1"},
        {"name cut to the room left", {{L"TV_PREREQS_DIR", longDir}},
         {{L"PrereqKey", L"Key01234567890123456789012"}, {L"Location", L"1"}, {L"SetupFileUrl", L"http://h/" + longName}},
         longDir + L"\\Key01234567890123456789012\\" + longName.substr(10)},
        {"no file for Location 2", {{L"TV_PREREQS_DIR", L"C:\\pre"}}, {{L"Location", L"2"}, {L"TargetName", L"a.exe"}}, L""},
    };
    const wchar_t* const used[] = {L"TV_SETUPEXEPATH", L"SourceDir", L"TV_EMBEDDED_FILES_LOCATION", L"TV_PREREQS_DIR", L"HOST"};
    Open();
    for (const Case& c : cases) {
        for (const wchar_t* name : used) SetProperty(name, L"");
        for (const auto& [name, value] : c.properties) SetProperty(name, value);
        EXPECT_EQ(tv::GetPrereqFilePath(mSession, c.row), c.path) << c.name;
    }
}

TEST_F(Location, PrereqsDirDefaultsAndTheSystemAccountRule) {
    Open();
    SetProperty(L"TempFolder", L"C:\\Temp\\");
    SetProperty(L"WindowsVolume", L"C:\\");
    EXPECT_EQ(tv::GetPrereqsDir(mSession), L"C:\\Temp\\" + mPackage.ProductCode());
    SetProperty(L"TV_PREREQS_DIR", L"[WindowsVolume]pre");
    EXPECT_EQ(tv::GetPrereqsDir(mSession), L"C:\\pre");

    const std::wstring systemDir = L"C:\\TV Tests\\TV Test Product\\prerequisites\\";
    struct Case {
        const wchar_t* folder;
        bool localSystem;
        const wchar_t* profile;
        std::wstring result;
    };
    const Case cases[] = {
        {L"C:\\Windows\\system32\\config\\systemprofile\\AppData\\Local\\Temp\\{P}", true,
         L"C:\\Windows\\system32\\config\\systemprofile", systemDir},
        {L"C:\\WINDOWS\\System32\\config\\systemprofile\\", true, L"c:\\windows\\system32\\config\\systemprofile\\",
         systemDir},
        {L"C:\\Windows\\system32\\config\\systemprofile\\AppData\\Local\\Temp\\{P}", false,
         L"C:\\Windows\\system32\\config\\systemprofile",
         L"C:\\Windows\\system32\\config\\systemprofile\\AppData\\Local\\Temp\\{P}"},
        {L"D:\\Downloads\\{P}", true, L"C:\\Windows\\system32\\config\\systemprofile", L"D:\\Downloads\\{P}"},
        {L"C:\\Windows\\system32\\config\\systemprofile2\\x", true, L"C:\\Windows\\system32\\config\\systemprofile",
         L"C:\\Windows\\system32\\config\\systemprofile2\\x"},
        {L"D:\\Downloads\\{P}", true, L"", systemDir},  // no profile: no way to tell
    };
    for (const Case& c : cases)
        EXPECT_EQ(tv::ChoosePrereqsDir(mSession, c.folder, c.localSystem, c.profile), c.result) << Narrow(c.folder);
}

TEST_F(Location, ShortNamesAndUrlNames) {
    Open();
    SetProperty(L"HOST", L"example");
    EXPECT_EQ(tv::GetPrereqShortName(mSession, {{L"Location", L"1"}, {L"SetupFileUrl", L"http://[HOST]/dl/" + std::wstring(36, L'a') + L".exe"}}),
              std::wstring(26, L'a') + L".exe");
    EXPECT_EQ(tv::GetPrereqShortName(mSession, {{L"Location", L"0"}, {L"TargetName", L"fld?f.exe"}}), L"fld?f.exe");
    EXPECT_EQ(tv::GetPrereqShortName(mSession, {{L"Location", L"2"}, {L"TargetName", L"x.exe"}}), L"x.exe");

    struct Case {
        const wchar_t* url;
        size_t limit;
        const wchar_t* name;
    };
    const Case cases[] = {
        {L"http://h/a/b.exe", 259, L"b.exe"},  {L"http://h/a/", 259, L""},
        {L"http://h/get?id=5", 259, L"id=5"},  {L"setup.exe", 259, L"setup.exe"},
        {L"C:\\x\\y|z.msi", 259, L"z.msi"},    {L"http://h/abcdef.exe", 6, L"ef.exe"},
        {L"http://h/abc.exe", static_cast<size_t>(-5), L"abc.exe"},
    };
    for (const Case& c : cases) EXPECT_EQ(tv::FileNameFromUrl(c.url, c.limit), c.name) << Narrow(c.url);
}

TEST_F(Location, FileListJoinsWithU0001) {
    Open();
    tv::AddPrereqFile(mSession, L"C:\\a.exe");
    tv::AddPrereqFile(mSession, L"C:\\b c\\d.msi");
    tv::AddPrereqFile(mSession, L"C:\\a.exe");
    EXPECT_EQ(Property(L"TV_PREREQFILES"), L"C:\\a.exe\x0001" L"C:\\b c\\d.msi\x0001" L"C:\\a.exe");
}
