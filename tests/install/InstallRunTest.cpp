// The install driver and launcher through real sessions, with our own test
// setup program as the prerequisite.
#include <fstream>
#include "Harness.h"
#include "install/Install.h"
#include "install/Launcher.h"
#include "install/Restart.h"

using namespace tvtest;

namespace {

class InstallRun : public SessionTest {
protected:
    void SetUp() override {
        mFolder = TestPackage::TempPath(L"-setup");
        ::CreateDirectoryW(mFolder.c_str(), nullptr);
        ::CopyFileW((TvDll::Folder() + L"\\fakesetup.exe").c_str(), (mFolder + L"\\fakesetup.exe").c_str(), FALSE);
        mPackage.Table(L"UIText");
        mPackage.Row(L"UIText", {L"InstallingPrereq", L"Installing [1]"});
        mPackage.Row(L"UIText", {L"PrereqCompletedSuffix", L" (done)"});
        mPackage.Row(L"UIText", {L"InstallPrereq", L"Installing prerequisites"});
        mPackage.Row(L"UIText", {L"RemovePrereq", L"Removing prerequisites"});
        mPackage.Row(L"ActionText", {L"TV_InstallPrerequisite", L"from the table", L"[1]"});
        mPackage.Table(L"Error");
        for (int number : {4155, 4156, 1702}) mPackage.Row(L"Error", {number, L"[2]"});
        mPackage.Row(L"CustomAction", {L"SetA", 51, L"ORDER", L"[ORDER]A"});
        mPackage.Row(L"CustomAction", {L"SetB", 51, L"ORDER", L"[ORDER]B"});
        mPackage.Row(L"CustomAction", {L"Fail", 19, Null{}, L"failing on purpose"});
        mPackage.Table(L"TV_PreRequisite");
    }
    void TearDown() override {
        for (const wchar_t* name : {L"\\fakesetup.exe", L"\\record.txt"}) ::DeleteFileW((mFolder + name).c_str());
        ::RemoveDirectoryW(mFolder.c_str());
    }
    // A row run by fakesetup in the pre-install phase; `cells` override.
    void AddSetupRow(const std::wstring& key, int sequence, std::map<std::wstring, Value> cells = {}) {
        std::map<std::wstring, Value> row = {
            {L"PrereqKey", key},       {L"DisplayName", key}, {L"Location", 0},        {L"TargetName", L"fakesetup.exe"},
            {L"Sequence", sequence},   {L"Options", L"y"},    {L"MissingCondition", L"1"},
            {L"ComLine", L"/record:\"" + RecordPath() + L"\" /exit:3 " + key}, {L"RetValPropName", key + L"_RET"}};
        for (auto& [name, value] : cells) row[name] = value;
        mPackage.Prereq(row);
    }
    MSIHANDLE OpenIn() {
        Open();
        SetProperty(L"SourceDir", mFolder + L"\\");
        SetProperty(L"UILevel", L"5");
        return mSession;
    }
    std::wstring RecordPath() const { return mFolder + L"\\record.txt"; }
    // The command lines fakesetup recorded, one per launch.
    std::vector<std::string> Launches() const {
        std::ifstream in(Narrow(RecordPath()));
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);)
            if (line.rfind("cmd:", 0) == 0 || line.find("fakesetup") != std::string::npos) lines.push_back(line);
        return lines;
    }
    std::vector<std::wstring> ActionStarts() const {
        std::vector<std::wstring> descriptions;
        for (const auto& m : mMessages.OfType(INSTALLMESSAGE_ACTIONSTART))
            if (m.Field(1) == L"TV_InstallPrerequisite") descriptions.push_back(m.Field(2));
        return descriptions;
    }
    std::wstring mFolder;
};

// Counts the restarts the driver asks for, in place of the machine's.
struct RestartCounter {
    RestartCounter() : mSaved(tv::GetRestartSeam()) {
        sCount = 0;
        tv::GetRestartSeam().restartSystem = [] { return ++sCount, true; };
    }
    ~RestartCounter() { tv::GetRestartSeam() = mSaved; }
    static inline int sCount = 0;
    tv::RestartSeam mSaved;
};

}  // namespace

TEST_F(InstallRun, RunListAndTheTwoNameLists) {
    AddSetupRow(L"Missing", 1);
    AddSetupRow(L"Present", 2, {{L"MissingCondition", L"0"}});
    AddSetupRow(L"Later", 3, {{L"Options", L"p"}, {L"Feature_", L"F1"}});
    AddSetupRow(L"Excluded", 4, {{L"Options", L"yw"}, {L"Feature_", L"F1"}});
    AddSetupRow(L"Absent", 5, {{L"TargetName", L"nothere.exe"}});
    mPackage.Product({L"F1"});
    OpenIn();
    for (const wchar_t* action : {L"CostInitialize", L"FileCost", L"CostFinalize"}) ::MsiDoActionW(mSession, action);
    ::MsiSetFeatureStateW(mSession, L"F1", INSTALLSTATE_LOCAL);
    {
        tv::Install install(mSession);
        EXPECT_EQ(install.Run(tv::PhasePre), 0u);
    }
    EXPECT_EQ(Launches().size(), 1u);
    EXPECT_EQ(Property(L"Missing_RET"), L"3");
    EXPECT_EQ(Property(L"TV_MISSING_PREREQS"), L"Missing|Later|Excluded|Absent");
    EXPECT_EQ(Property(L"TV_FOUND_PREREQS"), L"Present");
    EXPECT_EQ(ActionStarts(), std::vector<std::wstring>{L"Installing prerequisites"});

    SetProperty(L"REMOVE", L"ALL");
    { tv::Install(mSession).Run(tv::PhasePre); }
    EXPECT_EQ(Property(L"TV_MISSING_PREREQS"), L"Missing|Later|Excluded|Absent|Missing|Later|Excluded|Absent");
    SetProperty(L"REMOVE", L"all");
    { tv::Install(mSession).Run(tv::PhasePost); }  // the post phase leaves both lists alone
    EXPECT_EQ(Property(L"TV_FOUND_PREREQS"), L"Present|Present");
    EXPECT_EQ(ActionStarts(),
              (std::vector<std::wstring>{L"Installing prerequisites", L"Removing prerequisites", L"Installing prerequisites"}));
    EXPECT_EQ(Launches().size(), 3u);  // Missing again, then Later in its own phase
}

TEST_F(InstallRun, CustomActionsAroundEachRow) {
    AddSetupRow(L"First", 1, {{L"RunCustActBefore", L"SetA;SetB"}, {L"RunCustActAfter", L"SetA"}});
    AddSetupRow(L"Second", 2, {{L"RunCustActBefore", L"SetA;Fail"}, {L"RunCustActAfter", L"SetB"}});
    AddSetupRow(L"Third", 3);
    OpenIn();
    tv::Install install(mSession);
    EXPECT_EQ(install.Run(tv::PhasePre), 1u);  // a failed before-action, though the rest succeeded
    EXPECT_EQ(Property(L"ORDER"), L"BAA");     // B before A; A not run after Fail; Second skipped whole
    const auto launches = Launches();
    ASSERT_EQ(launches.size(), 2u);
    EXPECT_NE(launches[0].find("First"), std::string::npos);
    EXPECT_NE(launches[1].find("Third"), std::string::npos);
}

TEST_F(InstallRun, LaunchCommandLineExitCodeAndFailure) {
    AddSetupRow(L"Switch", 1, {{L"Options", L"yq"}, {L"NoUiComLine", L"/silent"},
                               {L"ComLine", L"/record:\"" + RecordPath() + L"\" [TV_PREREQ_UILEVEL_SWITCH] /exit:-2"},
                               {L"LogComLine", L"/log:\"[SourceDir]x y.log\""}});
    AddSetupRow(L"Broken", 2, {{L"Location", 2}, {L"ComLine", L"/quiet"}});
    AddSetupRow(L"After", 3, {{L"RetValPropName", Null{}}});
    OpenIn();
    tv::Install install(mSession);
    const UINT result = install.Run(tv::PhasePre);
    const auto launches = Launches();
    ASSERT_EQ(launches.size(), 2u);  // a failed start doesn't stop the run
    EXPECT_NE(launches[0].find("/silent /exit:-2 /log:\"" + Narrow(mFolder) + "\\x y.log\""), std::string::npos)
        << launches[0];
    EXPECT_EQ(Property(L"Switch_RET"), L"-2");
    // A row without a file and without a program of its own cannot start.
    const std::wstring error = Property(L"Broken_RET");
    EXPECT_NE(error, L"");
    EXPECT_NE(error, L"0");
    EXPECT_EQ(std::to_wstring(result), error);
    const std::wstring text = L"Failed to launch file:  Error: " + error;
    ASSERT_EQ(mMessages.OfType(INSTALLMESSAGE_ERROR).size(), 1u);
    EXPECT_EQ(mMessages.OfType(INSTALLMESSAGE_ERROR)[0].Field(1), text);
    bool logged = false;
    for (const auto& m : mMessages.OfType(INSTALLMESSAGE_INFO)) logged |= m.Field(1) == text;
    EXPECT_TRUE(logged);
    // Each launch shows its action data before and after.
    std::vector<std::wstring> data;
    for (const auto& m : mMessages.OfType(INSTALLMESSAGE_ACTIONDATA)) data.push_back(m.Field(1));
    EXPECT_EQ(data, (std::vector<std::wstring>{L"Installing Switch", L"Installing Switch (done)", L"Installing Broken",
                                               L"Installing After", L"Installing After (done)"}));
}

TEST_F(InstallRun, CancelStopsAfterTheCurrentRow) {
    AddSetupRow(L"First", 1, {{L"RunCustActAfter", L"SetA"}});
    AddSetupRow(L"Second", 2);
    OpenIn();
    // Two records start the bar; the third, the end of the first launch, cancels.
    mMessages.Answer(INSTALLMESSAGE_PROGRESS, {1, 1, IDCANCEL});
    tv::Install install(mSession);
    EXPECT_EQ(install.Run(tv::PhasePre), 1602u);
    EXPECT_EQ(Launches().size(), 1u);
    EXPECT_EQ(Property(L"ORDER"), L"A");
}

TEST_F(InstallRun, IntegrityCheckBeforeALaunch) {
    const std::wstring url = L"file:///" + mFolder + L"\\fakesetup.exe";
    WIN32_FILE_ATTRIBUTE_DATA data{};
    ::GetFileAttributesExW((mFolder + L"\\fakesetup.exe").c_str(), GetFileExInfoStandard, &data);
    const std::wstring size = std::to_wstring(data.nFileSizeLow);
    const std::wstring wrongSize = std::to_wstring(data.nFileSizeLow + 1);
    const std::wstring wrongMd5 = L"0123456789abcdef0123456789abcdef";
    struct Case {
        const wchar_t* options;
        std::wstring exactSize, md5;
        int answer;
        UINT result;
        UINT promptType;  // 0: no prompt, the file passes and is launched
    };
    const Case cases[] = {
        {L"ym", size, L"", IDYES, 0, 0},
        {L"ym", wrongSize, L"", IDYES, 2, 0x01010000},
        {L"ym", L"", wrongMd5, IDYES, 2, 0x01010000},
        {L"y", L"", wrongMd5, IDYES, 0, 0x02010004},
        {L"y", size, wrongMd5, IDNO, 2, 0x02010004},
    };
    OpenIn();
    for (const Case& c : cases) {
        mMessages.Clear();
        ::DeleteFileW(RecordPath().c_str());
        SetProperty(L"Checked_RET", L"");
        mMessages.Answer(0x02000000, {c.answer});
        const tv::Prerequisite row = {{L"PrereqKey", L"Checked"}, {L"DisplayName", L"Checked"}, {L"Location", L"1"},
                                      {L"SetupFileUrl", url}, {L"ExactSize", c.exactSize}, {L"MD5", c.md5},
                                      {L"Options", c.options}, {L"MissingCondition", L"1"},
                                      {L"RetValPropName", L"Checked_RET"},
                                      {L"ComLine", L"/record:\"" + RecordPath() + L"\" /exit:4"}};
        tv::Install install(mSession);
        install.LaunchPrereq(row);
        const std::string what = Narrow(c.options) + " size " + Narrow(c.exactSize) + " md5 " + Narrow(c.md5);
        EXPECT_EQ(install.Result(), c.result) << what;
        EXPECT_EQ(Launches().size(), c.promptType ? 0u : 1u) << what;
        EXPECT_EQ(Property(L"Checked_RET"), c.promptType ? L"" : L"4") << what;
        if (c.promptType) {
            ASSERT_EQ(mMessages.OfType(c.promptType).size(), 1u) << what;
            EXPECT_EQ(mMessages.OfType(c.promptType)[0].Field(2), L"fakesetup.exe");
        }
    }
}

TEST_F(InstallRun, RestartLettersReachTheRestartCall) {
    struct Case {
        const wchar_t* options;
        int exitCode;
        const wchar_t* uiLevel;
        int answer;
        int restarts;
        size_t questions;
    };
    const Case cases[] = {
        {L"yr", 5, L"5", IDYES, 1, 1},  {L"yrR", 5, L"5", IDYES, 0, 0}, {L"yrR", 0, L"5", IDYES, 1, 1},
        {L"yr", 0, L"2", IDNO, 1, 0},   {L"yr", 0, L"3", IDNO, 0, 1},   {L"yR", 0, L"5", IDYES, 0, 0},
    };
    OpenIn();
    RestartCounter counter;
    for (const Case& c : cases) {
        mMessages.Clear();
        mMessages.Answer(INSTALLMESSAGE_ERROR, {c.answer});
        SetProperty(L"UILevel", c.uiLevel);
        const tv::Prerequisite row = {{L"PrereqKey", L"R"}, {L"DisplayName", L"Restarting"}, {L"Location", L"0"},
                                      {L"TargetName", L"fakesetup.exe"}, {L"Options", c.options},
                                      {L"MissingCondition", L"1"}, {L"ComLine", L"/exit:" + std::to_wstring(c.exitCode)}};
        RestartCounter::sCount = 0;
        tv::Install install(mSession);
        install.LaunchPrereq(row);
        const std::string what = Narrow(c.options) + " exit " + std::to_string(c.exitCode) + " UILevel " + Narrow(c.uiLevel);
        EXPECT_EQ(RestartCounter::sCount, c.restarts) << what;
        const auto questions = mMessages.OfType(0x01000044);
        ASSERT_EQ(questions.size(), c.questions) << what;
        if (c.questions) {
            EXPECT_EQ(questions[0].Field(1), L"1702");
        }
    }
}

TEST_F(InstallRun, MsiPrerequisiteGoesThroughMsiexec) {
    TestPackage product;
    product.Product({L"Main"});
    product.Build();
    const std::wstring target = mFolder + L"\\product.msi";
    ASSERT_TRUE(::CopyFileW(product.Path().c_str(), target.c_str(), FALSE));
    AddSetupRow(L"Package", 1, {{L"TargetName", L"product.msi"}, {L"ComLine", L"/qn REBOOT=ReallySuppress"}});
    OpenIn();
    tv::Install install(mSession);
    EXPECT_EQ(install.Run(tv::PhasePre), 0u);
    EXPECT_EQ(Property(L"Package_RET"), L"0");
    EXPECT_EQ(::MsiQueryProductStateW(product.ProductCode().c_str()), INSTALLSTATE_DEFAULT);
    ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    ::MsiConfigureProductW(product.ProductCode().c_str(), INSTALLLEVEL_DEFAULT, INSTALLSTATE_ABSENT);
    ::DeleteFileW(target.c_str());
}

TEST_F(InstallRun, EntryPointsRunTheirPhase) {
    mPackage.Product({L"F1"});
    AddSetupRow(L"Main", 1, {{L"Options", L"f"}, {L"Feature_", L"F1"}});
    AddSetupRow(L"Pre", 2, {{L"Location", 2}, {L"ComLine", L"/quiet"}});
    OpenIn();
    for (const wchar_t* action : {L"CostInitialize", L"FileCost", L"CostFinalize"}) ::MsiDoActionW(mSession, action);
    ::MsiSetFeatureStateW(mSession, L"F1", INSTALLSTATE_LOCAL);
    EXPECT_EQ(Call("InstallPrePrereq"), 0u);  // its failed launch is not passed on
    EXPECT_NE(Property(L"Pre_RET"), L"");
    EXPECT_EQ(Call("InstallPrereq"), 0u);
    EXPECT_EQ(Property(L"Main_RET"), L"3");
    EXPECT_EQ(Launches().size(), 1u);
}

TEST_F(InstallRun, CommandLineByOperation) {
    struct Case {
        const char* name;
        bool installed;
        const wchar_t* options;
        const wchar_t* missing;
        const char* ran;  // the operation fakesetup was told, or null for no launch
    };
    const Case cases[] = {
        {"install", false, L"y=-", L"1", "install"},
        {"repair", true, L"y=", L"0", "repair"},
        {"removal", true, L"y-", L"0", "remove"},
        {"nothing to do", false, L"y=-", L"0", nullptr},
    };
    OpenIn();
    const std::wstring record = L"/record:\"" + RecordPath() + L"\" ";
    for (const Case& c : cases) {
        ::DeleteFileW(RecordPath().c_str());
        mMessages.Clear();
        SetProperty(L"Installed", c.installed ? L"1" : L"");
        const tv::Prerequisite row = {{L"PrereqKey", L"Op"}, {L"DisplayName", L"Op"}, {L"Location", L"0"},
                                      {L"TargetName", L"fakesetup.exe"}, {L"Options", c.options},
                                      {L"MissingCondition", c.missing}, {L"ComLine", record + L"install"},
                                      {L"RepairComLine", record + L"repair"}, {L"UninstallComLine", record + L"remove"}};
        tv::Install install(mSession);
        EXPECT_TRUE(install.LaunchPrereq(row)) << c.name;
        const auto launches = Launches();
        if (!c.ran) {
            EXPECT_TRUE(launches.empty()) << c.name;
            EXPECT_EQ(mMessages.OfType(INSTALLMESSAGE_ACTIONDATA).size(), 1u) << c.name;
            continue;
        }
        ASSERT_EQ(launches.size(), 1u) << c.name;
        EXPECT_NE(launches[0].find(std::string(" ") + c.ran), std::string::npos) << launches[0];
    }
}

TEST_F(InstallRun, ShellIsGivenThePathWithoutTheLongPrefix) {
    DWORD exitCode = 0;
    const std::wstring arguments = L"/record:\"" + RecordPath() + L"\" /exit:7";
    EXPECT_TRUE(tv::LaunchAndWait(L"\\\\?\\" + mFolder + L"\\fakesetup.exe", arguments, L"", true, exitCode));
    EXPECT_EQ(exitCode, 7u);
    std::ifstream in(Narrow(RecordPath()));
    std::string commandLine, folder;
    std::getline(in, commandLine);
    std::getline(in, folder);
    EXPECT_EQ(commandLine.find("\\\\?\\"), std::string::npos) << commandLine;
    EXPECT_EQ(folder, Narrow(mFolder));  // the file's folder, also without the prefix
    exitCode = 0;
    EXPECT_FALSE(tv::LaunchAndWait(mFolder + L"\\missing.exe", L"", L"", true, exitCode));
    EXPECT_NE(exitCode, 0u);
}

TEST_F(InstallRun, ConsentProcessIsMatchedByItsExactName) {
    EXPECT_EQ(tv::FindConsentProcess(), 0u);
    for (const wchar_t* name : {L"CONSENT.EXE", L"consent.exe"}) {
        const std::wstring copy = mFolder + L"\\" + name;
        ::CopyFileW((mFolder + L"\\fakesetup.exe").c_str(), copy.c_str(), FALSE);
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION process{};
        std::wstring commandLine = L"\"" + copy + L"\" /sleep:3000";
        ASSERT_TRUE(::CreateProcessW(copy.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                     &startup, &process));
        const DWORD found = tv::FindConsentProcess();
        EXPECT_EQ(found, std::wstring(name) == L"consent.exe" ? process.dwProcessId : 0u) << Narrow(name);
        // Headless, the process has no window to restore yet.
        EXPECT_FALSE(tv::RestoreConsentWindow());
        ::TerminateProcess(process.hProcess, 0);
        ::WaitForSingleObject(process.hProcess, INFINITE);
        ::CloseHandle(process.hThread);
        ::CloseHandle(process.hProcess);
        ::DeleteFileW(copy.c_str());
    }
}

TEST_F(InstallRun, PrereqDirsIsTheDeepestFolderThatExisted) {
    struct Case {
        std::wstring prereqsDir;
        std::wstring earlier;  // a value already set
        std::wstring expected;
    };
    const Case cases[] = {
        {mFolder + L"\\new\\deeper", L"", mFolder},
        {mFolder, L"", mFolder},
        {mFolder + L"\\new\\", L"", mFolder},
        {L"relative\\path", L"", L"relative"},
        {mFolder + L"\\new", L"C:\\kept", L"C:\\kept"},
    };
    OpenIn();
    for (const Case& c : cases) {
        SetProperty(L"TV_PREREQS_DIR", c.prereqsDir);
        SetProperty(L"TV_PREREQDIRS", c.earlier);
        tv::Install(mSession).SetPrereqDirs();
        EXPECT_EQ(Property(L"TV_PREREQDIRS"), c.expected) << Narrow(c.prereqsDir);
    }
}

TEST_F(InstallRun, NoRowPassesStillWritesTheNameLists) {
    AddSetupRow(L"One", 1, {{L"MissingCondition", L"0"}});
    AddSetupRow(L"Two", 2, {{L"MissingCondition", L"0"}, {L"DisplayName", L""}});
    OpenIn();
    SetProperty(L"TV_FOUND_PREREQS", L"");
    EXPECT_EQ(tv::Install(mSession).Run(tv::PhasePre), 0u);
    EXPECT_EQ(Property(L"TV_FOUND_PREREQS"), L"One|");  // an empty name keeps its place
    EXPECT_EQ(Property(L"TV_MISSING_PREREQS"), L"");
    EXPECT_EQ(ActionStarts().size(), 1u);
    EXPECT_TRUE(Launches().empty());

    // A package without a row for the install action: no action start.
    TestPackage bare;
    bare.Row(L"ActionText", {L"TV_VerifyPrereq", L"Verifying", L"[1]"});
    bare.Table(L"TV_PreRequisite");
    mMessages.Clear();
    EXPECT_EQ(tv::Install(bare.OpenSession()).Run(tv::PhasePre), 0u);
    EXPECT_TRUE(mMessages.OfType(INSTALLMESSAGE_ACTIONSTART).empty());
}

TEST_F(InstallRun, ExportsPassOnOrSwallowTheirResult) {
    // One mandatory row that can't start, in each phase, still missing after.
    mPackage.Product({L"F1"});
    const std::pair<const wchar_t*, const wchar_t*> phases[] = {{L"Pre", L"ym"}, {L"Main", L"fm"}, {L"Post", L"pm"}};
    int sequence = 0;
    for (const auto& [key, options] : phases)
        AddSetupRow(key, ++sequence, {{L"Location", 2}, {L"ComLine", L"/quiet"}, {L"Options", options},
                                      {L"Feature_", L"F1"}});
    mPackage.Row(L"ActionText", {L"TV_VerifyPrereq", L"Verifying", L"[1]"});
    mPackage.Row(L"Error", {4153, L"[2] is missing."});
    OpenIn();
    for (const wchar_t* action : {L"CostInitialize", L"FileCost", L"CostFinalize"}) ::MsiDoActionW(mSession, action);
    ::MsiSetFeatureStateW(mSession, L"F1", INSTALLSTATE_LOCAL);
    struct Case {
        const char* exportName;
        bool failurePassedOn;
    };
    const Case cases[] = {{"InstallPrePrereq", false}, {"VerifyPrePrereq", true}, {"InstallPrereq", true},
                          {"VerifyPrereq", true},      {"InstallPostPrereq", true}};
    for (const Case& c : cases) {
        const UINT result = Call(c.exportName);
        EXPECT_EQ(result != 0, c.failurePassedOn) << c.exportName << " gave " << result;
    }
    EXPECT_NE(Property(L"Post_RET"), L"");
}
