// Option letters, the language and processor filters, which rows enter which
// list, the UI switch and whether a file is needed, through a real session and
// the real file system.
#include "Harness.h"
#include "install/PrereqCommand.h"
#include "platform/SystemSeam.h"
#include "prereq/PrereqConditions.h"
#include "prereq/PrereqFilters.h"
#include "prereq/PrereqOptions.h"

using namespace tvtest;
using tv::Prerequisite;
using Filters = SessionTest;

TEST(Options, PhaseAndFeatureBinding) {
    const std::tuple<const wchar_t*, tv::RunPhase, bool> cases[] = {
        {L"", tv::PhaseNone, false},      {L"y", tv::PhasePre, false},     {L"yp", tv::PhasePre, true},
        {L"fy", tv::PhasePre, true},      {L"pf", tv::PhasePost, true},    {L"wf", tv::PhaseMain, true},
        {L"w", tv::PhaseExcluded, true},  {L"F", tv::PhaseNone, false},    {L"xz=-i", tv::PhaseNone, false},
        {L"m;r,f", tv::PhaseMain, true},
    };
    for (const auto& [options, phase, bound] : cases)
        EXPECT_EQ(std::pair(tv::GetRunPhase(options), tv::IsFeatureBound({{L"Options", options}})),
                  std::pair(phase, bound)) << Narrow(options);
}

TEST(Options, LanguageAndProcessorAsTheSystemTellsThem) {
    struct Restore { tv::SystemSeam saved = tv::GetSystemSeam(); ~Restore() { tv::GetSystemSeam() = saved; } } restore;
    static tv::NativeMachine native;
    tv::GetSystemSeam() = {[]() -> LANGID { return 1031; }, [] { return native; }};
    // The system's default language, compared as exact text.
    const std::pair<const wchar_t*, bool> languages[] = {
        {L"", true},       {L"1031", true},  {L"1033;1031", true}, {L"1033; 1031", false}, {L"01031", false},
        {L"1033", false},  {L"1031;", true}, {L";1031;", true},    {L"10311", false},      {L";", false},
    };
    for (const auto& [text, accepted] : languages) EXPECT_EQ(tv::IsLanguageAccepted(text), accepted) << Narrow(text);

    using M = tv::NativeMachine;  // M{}: the system has no IsWow64Process2
    const M x64{M::Known, IMAGE_FILE_MACHINE_AMD64}, arm64{M::Known, IMAGE_FILE_MACHINE_ARM64}, failed{M::CallFailed};
    const std::tuple<tv::NativeMachine, const wchar_t*, bool> processors[] = {
        {x64, L"", true},          {x64, L"c", true},          {x64, L"d", false},
        {arm64, L"", true},        {arm64, L"c", false},       {arm64, L"d", true},
        {x64, L"cd", false},       {arm64, L"cd", false},      {failed, L"cd", true},
        {M{}, L"c", true},         {M{}, L"d", false},         {failed, L"d", true},
    };
    for (const auto& [machine, options, accepted] : processors) {
        native = machine;
        EXPECT_EQ(tv::IsPlatformAccepted(options), accepted)
            << Narrow(options) << " state " << machine.state << " machine " << machine.machine;
    }
}

TEST_F(Filters, ListsTakeTheRowsTheirTestsAllow) {
    // Location 0 files lie beside the test programs: the DLL is in place.
    const std::wstring present = L"tvprereq.dll", url = L"http://h/a.exe";
    // file: SetupFileUrl for Location 1, else TargetName;
    // in: download, extraction, transfer, run (PhasePre), verification (PhasePre), chain
    struct Case {
        const char* name; const wchar_t* location; std::wstring file; const wchar_t* options; const char* in;
        const wchar_t *languages = L"", *missing = L"";
    };
    const Case cases[] = {
        {"url, not fetched", L"1", url, L"y", "101011"},   {"already there", L"1", url, L"y", "000010", L"", L"0"},
        {"excluded", L"1", url, L"yw", "000010"},          {"other language", L"1", url, L"y", "000001", L"1"},
        {"file in place", L"0", present, L"y", "000111"},  {"file to extract", L"0", L"missing.exe", L"y", "011011"},
        {"other phase", L"0", present, L"p", "000000"},    {"kept out of the chain", L"0", present, L"yk", "000110"},
        {"i skips verification", L"0", present, L"yi", "000101"}, {"no file at all", L"2", L"", L"y", "000110"},
        {"other Location: as 2, but chained", L"3", L"", L"y", "000111"},
    };
    const MSIHANDLE s = Open();
    SetProperty(L"SourceDir", TvDll::Folder() + L"\\");
    SetProperty(L"TV_PREREQS_DIR", TvDll::Folder());
    for (const Case& c : cases) {
        const Prerequisite row = {{L"PrereqKey", L"K"}, {L"Location", c.location}, {L"Options", c.options},
                                  {c.location == std::wstring(L"1") ? L"SetupFileUrl" : L"TargetName", c.file},
                                  {L"Languages", c.languages}, {L"MissingCondition", c.missing}};
        const std::string got = {"01"[tv::InDownloadList(s, row)], "01"[tv::InExtractionList(s, row)],
                                 "01"[tv::InTransferList(s, row)], "01"[tv::InRunList(s, row, tv::PhasePre)],
                                 "01"[tv::InVerificationList(s, row, tv::PhasePre)], "01"[tv::InChainList(s, row)]};
        EXPECT_EQ(got, c.in) << c.name;
    }
}

TEST_F(Filters, UiSwitchIsChosenBeforeTheCommandLines) {
    // Lower-case letters while installing, upper-case ones while removing; the first of b, q, j, n wins.
    const std::tuple<const wchar_t*, const wchar_t*, bool, const wchar_t*> cases[] = {
        {L"b", L"5", false, L"/basic 5"},  {L"q", L"5", false, L"/silent"},   {L"n", L"2", false, L"/silent"},
        {L"n", L"3", false, L"/basic 3"},  {L"n", L"5", false, L""},          {L"bq", L"2", false, L"/basic 2"},
        {L"nq", L"3", false, L"/silent"},  {L"jn", L"2", false, L""},         {L"qN-", L"3", true, L"/basic 3"},
        {L"qN-", L"3", false, L"/silent"}, {L"BQ-", L"5", true, L"/basic 5"}, {L"nJ-", L"2", true, L""},
    };
    Open();
    for (const auto& [options, uiLevel, removing, value] : cases) {
        SetProperty(L"Installed", removing ? L"1" : L"");
        SetProperty(L"UILevel", uiLevel);
        SetProperty(L"TV_PREREQ_UILEVEL_SWITCH", L"old");
        tv::SetUiLevelSwitch(mSession, {{L"PrereqKey", L"K"}, {L"Options", options}, {L"NoUiComLine", L"/silent"},
                                        {L"BasicUiComLine", L"/basic [UILevel]"}});
        EXPECT_EQ(Property(L"TV_PREREQ_UILEVEL_SWITCH"), value) << Narrow(options) << " " << Narrow(uiLevel);
    }
}

TEST_F(Filters, FileNeededForARemovalOnlyWhenItsCommandUsesIt) {
    const std::wstring byCode = L"/x {12345678-1234-1234-1234-123456789012} /qn", msiexec = tv::GetMsiexecPath() + L" ";
    // action: r removal, i install, - none
    struct Case { const char* name; const wchar_t* location; char action; std::wstring uninstall, level; bool needed; };
    const Case cases[] = {
        {"removal by the setup", L"1", 'r', L"/uninstall", L"5", true},
        {"removal by product code", L"1", 'r', msiexec + byCode, L"5", false},
        {"removal, level outside 2 to 5", L"1", 'r', msiexec + byCode, L"1", true},
        {"Location 2, no action", L"2", '-', L"", L"5", false}, {"Location 2, install", L"2", 'i', L"", L"5", true},
        {"Location 2, removal", L"2", 'r', msiexec + byCode, L"5", true},
        {"msi removal by product code", L"0", 'r', byCode, L"5", false},
        {"msi removal of the package", L"0", 'r', L"/x /qn", L"5", true},
    };
    Open();
    for (const Case& c : cases) {
        const Prerequisite row = {{L"PrereqKey", L"K"}, {L"Location", c.location}, {L"Options", L"-"},
                                  {L"SetupFileUrl", L"http://h/dl/setup.exe"}, {L"TargetName", L"p.msi"},
                                  {L"MissingCondition", c.action == 'i' ? L"1" : L"0"},
                                  {L"UninstallComLine", c.uninstall}};
        SetProperty(L"Installed", c.action == 'r' ? L"1" : L"");
        SetProperty(L"UILevel", c.level);
        EXPECT_EQ(tv::IsFileNeeded(mSession, row), c.needed) << c.name;
    }
}
