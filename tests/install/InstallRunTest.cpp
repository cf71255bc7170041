// The install driver, launcher, verification and rollback through real
// sessions, with our own test setup program as the prerequisite.
#include <process.h>
#include <fstream>
#include "Harness.h"
#include "frame/DebugLog.h"
#include "frame/ScopeGuard.h"
#include "install/Install.h"
#include "install/Launcher.h"
#include "install/Restart.h"
#include "install/Rollback.h"
#include "install/RollbackRecord.h"

using namespace tvtest;
using Strings = std::vector<std::wstring>;
using Lines = std::vector<std::string>;

namespace {

class InstallRun : public SessionTest {
protected:
    void SetUp() override {
        mFolder = TestPackage::TempPath(L"-setup");
        ::CreateDirectoryW(mFolder.c_str(), nullptr);
        ::CopyFileW((TvDll::Folder() + L"\\fakesetup.exe").c_str(), Setup().c_str(), FALSE);
        mPackage.Row(L"UIText", {L"InstallingPrereq", L"Installing [1]"});
        mPackage.Row(L"UIText", {L"PrereqCompletedSuffix", L" (done)"});
        mPackage.Row(L"UIText", {L"InstallPrereq", L"Installing prerequisites"});
        mPackage.Row(L"UIText", {L"RemovePrereq", L"Removing prerequisites"});
        mPackage.Row(L"ActionText", {L"TV_InstallPrerequisite", L"from the table", L"[1]"});
        for (int number : {4153, 4154, 4155, 4156, 1702}) mPackage.Row(L"Error", {number, L"[2]"});
        mPackage.Row(L"CustomAction", {L"SetA", 51, L"ORDER", L"[ORDER]A"});
        mPackage.Row(L"CustomAction", {L"SetB", 51, L"ORDER", L"[ORDER]B"});
        mPackage.Row(L"CustomAction", {L"Fail", 19, Null{}, L"failing on purpose"});
        mPackage.Product({L"F1"});
    }
    void TearDown() override {
        if (mSession) tv::TakeRollbackValue(mSession);
        for (const wchar_t* name : {L"\\fakesetup.exe", L"\\record.txt"}) ::DeleteFileW((mFolder + name).c_str());
        ::RemoveDirectoryW(mFolder.c_str());
    }
    // A pre-install row run by fakesetup, which records its command line
    // (and exits with 3 on an install); `cells` override.
    tv::Prerequisite SetupRow(const std::wstring& key, tv::Prerequisite cells = {}) const {
        cells.merge(tv::Prerequisite{{L"PrereqKey", key}, {L"DisplayName", key}, {L"Location", L"0"},
                                     {L"TargetName", L"fakesetup.exe"}, {L"MissingCondition", L"1"},
                                     {L"RetValPropName", key + L"_RET"}, {L"ComLine", Recording() + L"/exit:3 " + key},
                                     {L"RepairComLine", Recording() + L"repair"}, {L"Options", L"y"},
                                     {L"UninstallComLine", Recording() + L"remove"}});
        return cells;
    }
    void AddSetupRow(const std::wstring& key, int sequence, const tv::Prerequisite& cells = {}) {
        std::map<std::wstring, Value> row = {{L"Sequence", sequence}};
        for (const auto& [name, text] : SetupRow(key, cells))
            row[name] = name == L"Location" ? Value(std::stoi(text)) : Value(text);
        mPackage.Prereq(row);
    }
    // The product costed, with its feature F1 to be installed.
    void OpenIn() {
        Open();
        SetProperty(L"SourceDir", mFolder + L"\\");
        SetProperty(L"UILevel", L"5");
        for (const wchar_t* step : {L"CostInitialize", L"FileCost", L"CostFinalize"}) ::MsiDoActionW(mSession, step);
        ::MsiSetFeatureStateW(mSession, L"F1", INSTALLSTATE_LOCAL);
        mMessages.Clear();
    }
    std::wstring Setup() const { return mFolder + L"\\fakesetup.exe"; }
    std::wstring RecordPath() const { return mFolder + L"\\record.txt"; }
    std::wstring Recording() const { return L"/record:\"" + RecordPath() + L"\" "; }
    // What fakesetup was given behind its record switch, one line per launch.
    Lines Launches() const {
        std::ifstream in(Narrow(RecordPath()));
        const std::string mark = Narrow(Recording());
        Lines launches;
        for (std::string line; std::getline(in, line);)
            if (line.find(mark) != std::string::npos) launches.push_back(line.substr(line.find(mark) + mark.size()));
        return launches;
    }
    Strings Fields(UINT type, size_t field = 1) const {
        Strings fields;
        for (const auto& m : mMessages.OfType(type)) fields.push_back(m.Field(field));
        return fields;
    }
    // The prompts in order, as "kind number name": E an error, W a warning, Q a question.
    Strings Prompts() const {
        const std::map<UINT, std::wstring> kinds = {{0x01010000, L"E "}, {0x02010004, L"W "}, {0x01000044, L"Q "}};
        Strings prompts;
        for (const auto& m : mMessages.Messages())
            if (kinds.count(m.type)) prompts.push_back(kinds.at(m.type) + m.Field(1) + L" " + m.Field(2));
        return prompts;
    }
    std::wstring mFolder;
};

}  // namespace

TEST_F(InstallRun, RunListAndTheTwoNameLists) {
    AddSetupRow(L"Missing", 1, {{L"MissingCondition", L"NOT ARRIVED"}});
    AddSetupRow(L"Present", 2, {{L"MissingCondition", L"0"}});
    AddSetupRow(L"Nameless", 3, {{L"MissingCondition", L"0"}, {L"DisplayName", L""}});
    AddSetupRow(L"Later", 4, {{L"Options", L"p"}, {L"Feature_", L"F1"}});
    AddSetupRow(L"Excluded", 5, {{L"Options", L"yw"}, {L"Feature_", L"F1"}});
    AddSetupRow(L"Absent", 6, {{L"TargetName", L"nothere.exe"}});
    OpenIn();
    EXPECT_EQ(tv::Install(mSession).Run(tv::PhasePre), 0u);
    EXPECT_EQ(Property(L"TV_MISSING_PREREQS"), L"Missing|Later|Excluded|Absent");
    EXPECT_EQ(Property(L"TV_FOUND_PREREQS"), L"Present|");  // an empty name keeps its place
    // No row passes now: the action is still announced and both lists grow.
    SetProperty(L"ARRIVED", L"1");
    SetProperty(L"REMOVE", L"ALL");
    EXPECT_EQ(tv::Install(mSession).Run(tv::PhasePre), 0u);
    EXPECT_EQ(Property(L"TV_MISSING_PREREQS"), L"Missing|Later|Excluded|Absent|Later|Excluded|Absent");
    EXPECT_EQ(Property(L"TV_FOUND_PREREQS"), L"Present||Missing|Present|");
    SetProperty(L"REMOVE", L"all");
    tv::Install(mSession).Run(tv::PhasePost);  // the post phase leaves both lists alone
    EXPECT_EQ(Property(L"TV_FOUND_PREREQS"), L"Present||Missing|Present|");
    EXPECT_EQ(Fields(INSTALLMESSAGE_ACTIONSTART, 2),
              (Strings{L"Installing prerequisites", L"Removing prerequisites", L"Installing prerequisites"}));
    EXPECT_EQ(Launches(), (Lines{"/exit:3 Missing", "/exit:3 Later"}));
}

TEST_F(InstallRun, CustomActionsAroundEachRowAndCancel) {
    AddSetupRow(L"First", 1, {{L"RunCustActBefore", L"SetA;SetB"}, {L"RunCustActAfter", L"SetA"}});
    AddSetupRow(L"Second", 2, {{L"RunCustActBefore", L"SetA;Fail"}, {L"RunCustActAfter", L"SetB"}});
    AddSetupRow(L"Third", 3);
    OpenIn();
    EXPECT_EQ(tv::Install(mSession).Run(tv::PhasePre), 1u);  // a failed before-action, though the rest succeeded
    EXPECT_EQ(Property(L"ORDER"), L"BAA");                    // B before A; A not run after Fail; Second skipped whole
    EXPECT_EQ(Launches(), (Lines{"/exit:3 First", "/exit:3 Third"}));
    // Two records start the bar; the third, the end of First's launch,
    // cancels: its after-action still runs, the next rows are not touched.
    SetProperty(L"ORDER", L"");
    mMessages.Answer(INSTALLMESSAGE_PROGRESS, {1, 1, IDCANCEL});
    EXPECT_EQ(tv::Install(mSession).Run(tv::PhasePre), 1602u);
    EXPECT_EQ(Property(L"ORDER"), L"BAA");
    EXPECT_EQ(Launches(), (Lines{"/exit:3 First", "/exit:3 Third", "/exit:3 First"}));
}

TEST_F(InstallRun, LaunchCommandLineExitCodeAndFailure) {
    AddSetupRow(L"Switch", 1, {{L"Options", L"yq"}, {L"NoUiComLine", L"/silent"},
                               {L"ComLine", Recording() + L"[TV_PREREQ_UILEVEL_SWITCH] /exit:-2"},
                               {L"LogComLine", L"/log:\"[SourceDir]x y.log\""}});
    AddSetupRow(L"Broken", 2, {{L"Location", L"2"}, {L"ComLine", L"/quiet"}});
    AddSetupRow(L"After", 3, {{L"RetValPropName", L""}});
    OpenIn();
    const UINT result = tv::Install(mSession).Run(tv::PhasePre);
    // A failed start doesn't stop the run.
    EXPECT_EQ(Launches(), (Lines{"/silent /exit:-2 /log:\"" + Narrow(mFolder) + "\\x y.log\"", "/exit:3 After"}));
    EXPECT_EQ(Property(L"Switch_RET"), L"-2");
    // A row without a file and without a program of its own cannot start.
    const std::wstring error = Property(L"Broken_RET"), text = L"Failed to launch file:  Error: " + error;
    EXPECT_NE(error, L"0");
    EXPECT_EQ(std::to_wstring(result), error);
    EXPECT_EQ(Fields(INSTALLMESSAGE_ERROR), Strings{text});
    EXPECT_EQ(Fields(INSTALLMESSAGE_INFO), Strings{text});
    // Each launch shows its action data before and after.
    EXPECT_EQ(Fields(INSTALLMESSAGE_ACTIONDATA), (Strings{L"Installing Switch", L"Installing Switch (done)",
                                                          L"Installing Broken", L"Installing After",
                                                          L"Installing After (done)"}));
}

// One row through LaunchPrereq: the operation's command line, the check of a
// downloaded file, the rollback entry and the restart.
TEST_F(InstallRun, LaunchOfOneRow) {
    const std::wstring url = L"file:///" + Setup(), badMd5 = L"0123456789abcdef0123456789abcdef";
    const long long bytes = std::ifstream(Narrow(Setup()), std::ios::binary | std::ios::ate).tellg();
    const std::wstring size = std::to_wstring(bytes), badSize = std::to_wstring(bytes + 1);
    // installed: the product is, and the row's prerequisite too; file: the size and MD5 of a downloaded file, none
    // for a local one; ran: what fakesetup was told (an install exits with 3, a repair with 0), null for no launch;
    // undo: the stored entry's command, null for none.
    struct Case { const char* name; bool installed; const wchar_t *options, *uiLevel; int answer;
                  std::pair<std::wstring, std::wstring> file; const char* ran; const wchar_t* undo; int restarts;
                  UINT result; Strings prompts; };
    const Case cases[] = {
        {"install", false, L"yl=-", L"5", IDYES, {}, "/exit:3 Op", L"remove", 0, 0, {}},
        {"repair", true, L"yl=", L"5", IDYES, {}, "repair", nullptr, 0, 0, {}},
        {"removal", true, L"yl-", L"5", IDYES, {}, "remove", L"/exit:3 Op", 0, 0, {}},
        {"no l", false, L"y", L"5", IDYES, {}, "/exit:3 Op", nullptr, 0, 0, {}},
        {"nothing to do", true, L"yl", L"5", IDYES, {}, nullptr, nullptr, 0, 0, {}},
        {"r, exit 3", false, L"yr", L"5", IDYES, {}, "/exit:3 Op", nullptr, 1, 0, {L"Q 1702 Op"}},
        {"rR, exit 3", false, L"yrR", L"5", IDYES, {}, "/exit:3 Op", nullptr, 0, 0, {}},
        {"rR, exit 0", true, L"yrR=", L"5", IDYES, {}, "repair", nullptr, 1, 0, {L"Q 1702 Op"}},
        {"r, silent", true, L"yr=", L"2", IDNO, {}, "repair", nullptr, 1, 0, {}},
        {"r, basic UI, no", true, L"yr=", L"3", IDNO, {}, "repair", nullptr, 0, 0, {L"Q 1702 Op"}},
        {"file passes", false, L"ym", L"5", IDYES, {size, L""}, "/exit:3 Op", nullptr, 0, 0, {}},
        {"size wrong", false, L"ym", L"5", IDYES, {badSize, L""}, nullptr, nullptr, 0, 2, {L"E 4155 fakesetup.exe"}},
        {"MD5 wrong", false, L"ym", L"5", IDYES, {L"", badMd5}, nullptr, nullptr, 0, 2, {L"E 4155 fakesetup.exe"}},
        {"optional, go on", false, L"y", L"5", IDYES, {L"", badMd5}, nullptr, nullptr, 0, 0, {L"W 4156 fakesetup.exe"}},
        {"optional, stop", false, L"y", L"5", IDNO, {size, badMd5}, nullptr, nullptr, 0, 2, {L"W 4156 fakesetup.exe"}},
    };
    static int restarts = 0;  // in place of the machine's
    const tv::RestartSeam saved = tv::GetRestartSeam();
    tv::ScopeGuard restore([saved] { tv::GetRestartSeam() = saved; });
    tv::GetRestartSeam().restartSystem = [] { return ++restarts, true; };
    OpenIn();
    std::vector<tv::RollbackEntry> entries;  // one after the other in launch order
    for (const Case& c : cases) {
        ::DeleteFileW(RecordPath().c_str());
        mMessages.Clear();
        for (auto kind : {INSTALLMESSAGE_ERROR, INSTALLMESSAGE_WARNING}) mMessages.Answer(kind, {c.answer});
        SetProperty(L"Installed", c.installed ? L"1" : L"");
        SetProperty(L"UILevel", c.uiLevel);
        tv::Prerequisite cells = {{L"Options", c.options}, {L"MissingCondition", c.installed ? L"0" : L"1"}};
        if (c.file != decltype(c.file){})
            cells.merge(tv::Prerequisite{{L"Location", L"1"}, {L"SetupFileUrl", url}, {L"ExactSize", c.file.first},
                                         {L"MD5", c.file.second}});
        tv::Install install(mSession);
        install.LaunchPrereq(SetupRow(L"Op", cells));
        EXPECT_EQ(install.Result(), c.result) << c.name;
        if (c.undo) entries.push_back({L"Op", Setup(), Recording() + c.undo, c.options});
        EXPECT_EQ(Property(L"TV_ROLLBACK_PREREQS"), tv::JoinRollbackEntries(entries)) << c.name;
        EXPECT_EQ(Launches(), c.ran ? Lines{c.ran} : Lines{}) << c.name;
        EXPECT_EQ(Fields(INSTALLMESSAGE_ACTIONDATA).size(), c.ran ? 2u : 1u) << c.name;  // no launch: only the first
        EXPECT_EQ(std::exchange(restarts, 0), c.restarts) << c.name;
        EXPECT_EQ(Prompts(), c.prompts) << c.name;
    }
}

TEST_F(InstallRun, ShellIsGivenThePathWithoutTheLongPrefix) {
    DWORD exitCode = 0;
    EXPECT_TRUE(tv::LaunchAndWait(L"\\\\?\\" + Setup(), Recording() + L"/exit:7", L"", true, exitCode));
    EXPECT_EQ(exitCode, 7u);
    std::ifstream in(Narrow(RecordPath()));
    std::string commandLine, folder;
    std::getline(std::getline(in, commandLine), folder);
    EXPECT_EQ(commandLine.find("\\\\?\\"), std::string::npos) << commandLine;
    EXPECT_EQ(folder, Narrow(mFolder));  // the file's folder, also without the prefix
}

TEST_F(InstallRun, ConsentProcessIsMatchedByItsExactName) {
    for (const std::wstring name : {L"CONSENT.EXE", L"consent.exe"}) {
        const std::wstring copy = mFolder + L"\\" + name;
        ::CopyFileW(Setup().c_str(), copy.c_str(), FALSE);
        const auto process = reinterpret_cast<HANDLE>(_wspawnl(_P_NOWAIT, copy.c_str(), L"x", L"/sleep:3000", nullptr));
        ASSERT_NE(process, INVALID_HANDLE_VALUE) << Narrow(name);
        EXPECT_EQ(tv::FindConsentProcess(), name == L"consent.exe" ? ::GetProcessId(process) : 0u) << Narrow(name);
        EXPECT_FALSE(tv::RestoreConsentWindow());  // headless, the process has no window to restore yet
        ::TerminateProcess(process, 0);
        ::WaitForSingleObject(process, INFINITE);
        ::CloseHandle(process);
        ::DeleteFileW(copy.c_str());  // or the second copy keeps the first one's name
    }
}

TEST_F(InstallRun, PrereqDirsIsTheDeepestFolderThatExisted) {
    struct Case { std::wstring prereqsDir, earlier, expected; };  // earlier: a value already set
    const Case cases[] = {{mFolder + L"\\new\\deeper", L"", mFolder}, {mFolder, L"", mFolder},
                          {L"relative\\path", L"", L"relative"}, {mFolder + L"\\new", L"C:\\kept", L"C:\\kept"}};
    OpenIn();
    for (const Case& c : cases) {
        SetProperty(L"TV_PREREQS_DIR", c.prereqsDir);
        SetProperty(L"TV_PREREQDIRS", c.earlier);
        tv::Install(mSession).SetPrereqDirs();
        EXPECT_EQ(Property(L"TV_PREREQDIRS"), c.expected) << Narrow(c.prereqsDir);
    }
}

TEST_F(InstallRun, ExportsPassOnOrSwallowTheirResult) {
    // One mandatory row that can't start, in each phase, still missing after.
    AddSetupRow(L"Pre", 1, {{L"Location", L"2"}, {L"ComLine", L"/quiet"}, {L"Options", L"ym"}, {L"Feature_", L"F1"}});
    AddSetupRow(L"Main", 2, {{L"Location", L"2"}, {L"ComLine", L"/quiet"}, {L"Options", L"fm"}, {L"Feature_", L"F1"}});
    AddSetupRow(L"Post", 3, {{L"Location", L"2"}, {L"ComLine", L"/quiet"}, {L"Options", L"pm"}, {L"Feature_", L"F1"}});
    OpenIn();
    // ran: the rows tried so far, one after the other.
    struct Case { const char* exportName; bool failurePassedOn; const wchar_t* ran; };
    const Case cases[] = {
        {"InstallPrePrereq", false, L"Pre"}, {"VerifyPrePrereq", true, L"Pre"}, {"InstallPrereq", true, L"PreMain"},
        {"VerifyPrereq", true, L"PreMain"}, {"InstallPostPrereq", true, L"PreMainPost"}};
    for (const Case& c : cases) {
        const UINT result = Call(c.exportName);
        EXPECT_EQ(result != 0, c.failurePassedOn) << c.exportName << " gave " << result;
        std::wstring ran;
        for (const std::wstring key : {L"Pre", L"Main", L"Post"}) ran += Property(key + L"_RET").empty() ? L"" : key;
        EXPECT_EQ(ran, c.ran) << c.exportName;
    }
    // Without an ActionText row for their action, the verifications announced nothing.
    EXPECT_EQ(Fields(INSTALLMESSAGE_ACTIONSTART), Strings(3, L"TV_InstallPrerequisite"));
}

TEST_F(InstallRun, VerificationStoresFirstThenAsks) {
    AddSetupRow(L"Arrived", 1, {{L"Options", L"yl"}, {L"MissingCondition", L"0"}});
    AddSetupRow(L"Optional", 2);
    AddSetupRow(L"Ignored", 3, {{L"Options", L"yi"}});
    AddSetupRow(L"Mandatory", 4, {{L"Options", L"ym"}});
    AddSetupRow(L"Unselected", 5, {{L"Options", L"yml"}});
    mPackage.Row(L"ActionText", {L"TV_VerifyPrereq", L"Verifying", L"[1]"});
    OpenIn();
    SetProperty(L"Unselected", L"0");  // its selection property says no
    // Stored: the entry of the still missing row goes; those of the rows that arrived, are marked i, are no longer
    // in the table or are not selected stay.
    const auto entry = [](const wchar_t* key) { return tv::RollbackEntry{key, L"", L"/u", L"yl"}; };
    const std::wstring all = tv::JoinRollbackEntries(
        {entry(L"Arrived"), entry(L"Optional"), entry(L"Ignored"), entry(L"Gone"), entry(L"Unselected")});
    const std::wstring kept =
        tv::JoinRollbackEntries({entry(L"Arrived"), entry(L"Ignored"), entry(L"Gone"), entry(L"Unselected")});
    struct Case { const char* name; const wchar_t *fastOem, *setupExeDir, *uiLevel; int answer; UINT result;
                  Strings prompts; };
    const Case cases[] = {
        {"optional yes, then mandatory", L"", L"", L"5", IDYES, 2, {L"W 4154 Optional", L"E 4153 Mandatory"}},
        {"optional no", L"", L"", L"5", IDNO, 2, {L"W 4154 Optional"}},
        {"setup.exe, silent", L"", L"C:\\s", L"2", IDYES, 2, {L"W 4154 Optional", L"E 4153 Mandatory"}},
        {"FASTOEM", L"1", L"C:\\s", L"5", IDYES, 0, {}},
        {"basic UI", L"", L"", L"3", IDYES, 0, {}},
        {"silent", L"", L"", L"2", IDYES, 0, {}},
    };
    for (const Case& c : cases) {
        SetProperty(L"FASTOEM", c.fastOem);
        SetProperty(L"SETUPEXEDIR", c.setupExeDir);
        SetProperty(L"UILevel", c.uiLevel);
        SetProperty(L"TV_ROLLBACK_PREREQS", all);
        mMessages.Clear();
        mMessages.Answer(0x02000000, {c.answer});
        EXPECT_EQ(tv::Install(mSession).Verify(tv::PhasePre), c.result) << c.name;
        EXPECT_EQ(Prompts(), c.prompts) << c.name;
        EXPECT_EQ(tv::TakeRollbackValue(mSession), c.result ? kept : L"") << c.name;  // stored before the prompts
        EXPECT_EQ(Fields(INSTALLMESSAGE_ACTIONSTART), Strings{L"TV_VerifyPrereq"}) << c.name;  // even when skipped
    }
}

TEST_F(InstallRun, PrereqsFulfilledForTheDialogs) {
    // Rows that never count, then three that do unless their selection property says no.
    AddSetupRow(L"Present", 1, {{L"MissingCondition", L"0"}});
    AddSetupRow(L"FeatureBound", 2, {{L"Options", L"f"}});
    AddSetupRow(L"NotToInstall", 3, {{L"InstallCondition", L"0"}});
    AddSetupRow(L"OtherLanguage", 4, {{L"Languages", L"1"}});
    AddSetupRow(L"OnlyOnArm64", 5, {{L"Options", L"d"}});
    AddSetupRow(L"EmptyMissingCondition", 6, {{L"MissingCondition", L""}});
    AddSetupRow(L"MalformedInstallCondition", 7, {{L"InstallCondition", L"(("}});
    AddSetupRow(L"Missing", 8);
    OpenIn();
    for (const std::wstring counted : {L"", L"EmptyMissingCondition", L"MalformedInstallCondition", L"Missing"}) {
        for (const std::wstring key : {L"EmptyMissingCondition", L"MalformedInstallCondition", L"Missing"})
            SetProperty(key, key == counted ? L"" : L"0");
        SetProperty(L"TV_PrereqsFulfilled", L"earlier");
        EXPECT_EQ(Call("DoAppSearchEx"), 0u) << Narrow(counted);
        EXPECT_EQ(Property(L"TV_PrereqsFulfilled"), counted.empty() ? L"1" : L"earlier") << Narrow(counted);
    }
}

TEST_F(InstallRun, RollbackRunsOnePhaseInStoredOrderUntilAFailedStart) {
    Open();
    DebugLogSwitch log;
    tv::DebugLog::Instance().Init(mSession, L"TV_RollbackPrereq");
    const auto undo = [&](const wchar_t* tag) { return L"\"" + Setup() + L"\" " + Recording() + tag; };
    tv::WriteRollbackValue(mSession, tv::JoinRollbackEntries({
        {L"A", L"", undo(L"A"), L"f"}, {L"B", L"", undo(L"B"), L"y"}, {L"C", L"", undo(L"C"), L"lf"},
        {L"D", L"", undo(L"D"), L"p"}, {L"G", L"C:\\gone\\g.exe", L"/u", L"f"}, {L"E", L"", undo(L"E"), L"f"}}));
    EXPECT_EQ(tv::Rollback(mSession).Run(tv::PhaseMain), 0u);
    EXPECT_EQ(Launches(), (Lines{"A", "C"}));  // E is lost behind the failed start of G
    EXPECT_EQ(tv::TakeRollbackValue(mSession), L"");  // and the pre-install entry B with the value
    const std::wstring prefix = L"TV_RollbackPrereq: ";
    Strings lines;  // its own lines: the failed start's is the last, with no end line
    for (const auto& line : mMessages.LogLines())
        if (line.find(L"Rollback", prefix.size()) != std::wstring::npos || line.find(L"Failed") != std::wstring::npos)
            lines.push_back(line.substr(0, line.find(L" Error: ")));
    EXPECT_EQ(lines, (Strings{prefix + L"Entering Rollback::Run()",
                              prefix + L"Rollback prereq: A File:  Cmd: " + undo(L"A"),
                              prefix + L"Rollback prereq: C File:  Cmd: " + undo(L"C"),
                              prefix + L"Rollback prereq: G File: C:\\gone\\g.exe Cmd: /u",
                              prefix + L"Failed to launch file: C:\\gone\\g.exe"}));
    mMessages.Clear();
    EXPECT_EQ(tv::Rollback(mSession).Run(tv::PhasePre), 0u);  // nothing stored any more: two lines, no launch
    EXPECT_EQ(Launches().size(), 2u);
    EXPECT_EQ(mMessages.LogLines(), (Strings{prefix + L"Entering Rollback::Run()", prefix + L"End Rollback::Run()"}));
    // The key follows ProductVersion: an upgrade doesn't find its predecessor's entries.
    tv::WriteRollbackValue(mSession, L"X");
    SetProperty(L"ProductVersion", L"2.0.0");
    EXPECT_EQ(tv::TakeRollbackValue(mSession), L"");
    SetProperty(L"ProductVersion", L"1.0.0");
    EXPECT_EQ(tv::TakeRollbackValue(mSession), L"X");
}
