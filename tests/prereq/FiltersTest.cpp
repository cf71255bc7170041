// Which rows enter which list, the UI switch and whether a file is needed,
// through a real session and the real file system.
#include "Harness.h"
#include "install/PrereqCommand.h"
#include "prereq/PrereqConditions.h"
#include "prereq/PrereqFilters.h"
#include "prereq/PrereqOptions.h"

using namespace tvtest;
using tv::Prerequisite;

namespace {

class Filters : public SessionTest {
protected:
    void SetUp() override {
        mFolder = TestPackage::TempPath(L"-src");
        ::CreateDirectoryW(mFolder.c_str(), nullptr);
        mPresent = mFolder + L"\\present.exe";
        ::CloseHandle(::CreateFileW(mPresent.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    }
    void TearDown() override {
        ::DeleteFileW(mPresent.c_str());
        ::RemoveDirectoryW(mFolder.c_str());
    }
    std::wstring mFolder, mPresent;
};

}  // namespace

TEST_F(Filters, ListsTakeTheRowsTheirTestsAllow) {
    struct Case {
        const char* name;
        Prerequisite row;
        // download, extraction, transfer, run (PhasePre), verification (PhasePre), chain
        std::array<bool, 6> in;
    };
    const Case cases[] = {
        {"url, not fetched", {{L"Location", L"1"}, {L"SetupFileUrl", L"http://h/a.exe"}, {L"Options", L"y"}},
         {true, false, true, false, true, true}},
        {"file in place", {{L"Location", L"0"}, {L"TargetName", L"present.exe"}, {L"Options", L"y"}},
         {false, false, false, true, true, true}},
        {"file to extract", {{L"Location", L"0"}, {L"TargetName", L"missing.exe"}, {L"Options", L"y"}},
         {false, true, true, false, true, true}},
        {"no file at all", {{L"Location", L"2"}, {L"Options", L"y"}}, {false, false, false, true, true, false}},
        {"other Location: as 2, but chained", {{L"Location", L"3"}, {L"Options", L"y"}}, {false, false, false, true, true, true}},
        {"excluded", {{L"Location", L"1"}, {L"SetupFileUrl", L"http://h/a.exe"}, {L"Options", L"yw"}},
         {false, false, false, false, true, false}},
        {"other language", {{L"Location", L"1"}, {L"SetupFileUrl", L"http://h/a.exe"}, {L"Options", L"y"}, {L"Languages", L"1"}},
         {false, false, false, false, false, true}},
        {"kept out of the chain", {{L"Location", L"0"}, {L"TargetName", L"present.exe"}, {L"Options", L"yk"}},
         {false, false, false, true, true, false}},
        {"other phase", {{L"Location", L"0"}, {L"TargetName", L"present.exe"}, {L"Options", L"p"}},
         {false, false, false, false, false, false}},
        {"already there", {{L"Location", L"1"}, {L"SetupFileUrl", L"http://h/a.exe"}, {L"Options", L"y"}, {L"MissingCondition", L"0"}},
         {false, false, false, false, true, false}},
        {"i skips verification", {{L"Location", L"0"}, {L"TargetName", L"present.exe"}, {L"Options", L"yi"}},
         {false, false, false, true, false, true}},
    };
    Open();
    SetProperty(L"SourceDir", mFolder + L"\\");
    SetProperty(L"TV_PREREQS_DIR", mFolder);
    for (const Case& c : cases) {
        Prerequisite row = c.row;
        row[L"PrereqKey"] = L"K";
        const std::array<bool, 6> got = {
            tv::InDownloadList(mSession, row), tv::InExtractionList(mSession, row), tv::InTransferList(mSession, row),
            tv::InRunList(mSession, row, tv::PhasePre), tv::InVerificationList(mSession, row, tv::PhasePre),
            tv::InChainList(mSession, row)};
        EXPECT_EQ(got, c.in) << c.name;
    }
}

TEST_F(Filters, UiSwitchIsChosenBeforeTheCommandLines) {
    struct Case {
        const wchar_t* options;
        const wchar_t* uiLevel;
        bool removing;
        const wchar_t* value;
    };
    const Case cases[] = {
        {L"b", L"5", false, L"/basic x"},  {L"q", L"5", false, L"/silent"},  {L"n", L"2", false, L"/silent"},
        {L"n", L"3", false, L"/basic x"},  {L"n", L"5", false, L""},         {L"j", L"2", false, L""},
        {L"", L"2", false, L""},           {L"qN-", L"3", true, L"/basic x"}, {L"qN-", L"3", false, L"/silent"},
        {L"BQ-", L"5", true, L"/basic x"},
    };
    Open();
    SetProperty(L"P", L"x");
    for (const Case& c : cases) {
        const Prerequisite row = {{L"PrereqKey", L"K"}, {L"Options", c.options}, {L"BasicUiComLine", L"/basic [P]"},
                                  {L"NoUiComLine", L"/silent"}, {L"MissingCondition", c.removing ? L"0" : L"1"}};
        SetProperty(L"Installed", c.removing ? L"1" : L"");
        SetProperty(L"UILevel", c.uiLevel);
        SetProperty(L"TV_PREREQ_UILEVEL_SWITCH", L"old");
        tv::SetUiLevelSwitch(mSession, row);
        EXPECT_EQ(Property(L"TV_PREREQ_UILEVEL_SWITCH"), c.value) << Narrow(c.options) << " " << Narrow(c.uiLevel);
    }
}

TEST_F(Filters, FileNeededForARemovalOnlyWhenItsCommandUsesIt) {
    const std::wstring byProductCode = tv::GetMsiexecPath() + L" /x {12345678-1234-1234-1234-123456789012} /qn";
    struct Case {
        const char* name;
        const wchar_t* location;
        bool installed;
        const wchar_t* missing;
        std::wstring uninstall;
        const wchar_t* uiLevel;
        bool needed;
    };
    const Case cases[] = {
        {"removal by the setup", L"1", true, L"0", L"/uninstall", L"5", true},
        {"removal by product code", L"1", true, L"0", byProductCode, L"5", false},
        {"removal, level outside 2 to 5", L"1", true, L"0", byProductCode, L"1", true},
        {"no action", L"1", false, L"0", L"/uninstall", L"5", false},
        {"install", L"1", false, L"1", L"", L"5", true},
        {"Location 2, no action", L"2", false, L"0", L"", L"5", false},
        {"Location 2, install", L"2", false, L"1", L"", L"5", true},
        {"Location 2, removal", L"2", true, L"0", byProductCode, L"5", true},
        {"msi removal by product code", L"0", true, L"0", L"/x {12345678-1234-1234-1234-123456789012} /qn", L"5", false},
        {"msi removal of the package", L"0", true, L"0", L"/x /qn", L"5", true},
    };
    Open();
    for (const Case& c : cases) {
        const Prerequisite row = {{L"PrereqKey", L"K"}, {L"Location", c.location}, {L"Options", L"-"},
                                  {L"SetupFileUrl", L"http://h/dl/setup.exe"}, {L"TargetName", L"p.msi"},
                                  {L"MissingCondition", c.missing},
                                  {L"UninstallComLine", c.uninstall}};
        SetProperty(L"Installed", c.installed ? L"1" : L"");
        SetProperty(L"UILevel", c.uiLevel);
        EXPECT_EQ(tv::IsFileNeeded(mSession, row), c.needed) << c.name;
    }
}
