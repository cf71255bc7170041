// The resume after a restart: its command from a real session, its
// registration in RunOnce (what runs here) and through the Task Scheduler as
// far as Wine's goes, its removal, and the restart prompt.
#include <objbase.h>
#include <taskschd.h>
#include <lm.h>
#include "Harness.h"
#include "extract/PrereqCleanup.h"
#include "frame/DebugLog.h"
#include "frame/MsiSession.h"
#include "frame/ScopeGuard.h"
#include "install/RelaunchProperties.h"
#include "install/Install.h"
#include "install/PrereqCommand.h"
#include "install/Restart.h"
#include "install/ResumeTask.h"
#include "platform/RegistryKey.h"

using namespace tvtest;

namespace {

std::wstring RunOnceValue(const std::wstring& name) {
    return tv::RegistryKey(tv::gRunOnceKey, HKEY_CURRENT_USER, false).GetText(name);
}
std::wstring ParkedValue(const std::wstring& author, const std::wstring& name) {
    return tv::RegistryKey(L"Software\\" + tv::ResumeTempKeyName(author), HKEY_CURRENT_USER, false).GetText(name);
}
bool TempKeyExists(const std::wstring& author) {
    return tv::RegistryKey(L"Software\\" + tv::ResumeTempKeyName(author), HKEY_CURRENT_USER, false).IsOpen();
}

class Resume : public SessionTest {
protected:
    void SetUp() override {
        mPackage.Row(L"Error", {1702, L"[2]"});
        mPackage.Product({L"F1", L"F2", L"F3"});
    }
    // The product costed with F1 to install, F2 to remove, F3 installed by its level.
    void OpenCosted() {
        Open();
        Cost();
    }
    void Cost() {
        for (const wchar_t* step : {L"CostInitialize", L"FileCost", L"CostFinalize"}) ::MsiDoActionW(mSession, step);
        ::MsiSetFeatureStateW(mSession, L"F1", INSTALLSTATE_LOCAL);
        ::MsiSetFeatureStateW(mSession, L"F2", INSTALLSTATE_ABSENT);
        mMessages.Clear();
    }
    std::wstring Registered() const { return RunOnceValue(mPackage.ProductCode()); }
};

}  // namespace

TEST(ResumeRunOnce, LongCommandsParkTheirArgumentsAndRemovalTakesExactlyThem) {
    const std::wstring name = NewGuid(), other = NewGuid(), author = L"TV Resume Test";
    const std::wstring app = L"\"C:\\setup.exe\"";
    struct Case { const char* what; std::wstring application, arguments, author; bool written; bool parked; };
    const Case cases[] = {
        {"254 together", app, std::wstring(254 - app.size(), L'a'), author, true, false},
        {"255 together", app, std::wstring(255 - app.size(), L'b'), author, true, true},
        {"no author", app, std::wstring(300, L'c'), L"", true, true},
        {"msiexec, long", tv::GetMsiexecPath(), std::wstring(300, L'd'), author, false, false},
        {"msiexec, short", tv::GetMsiexecPath(), L"/i x", author, true, false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(tv::AddToRunOnce(name, c.application, c.arguments, c.author), c.written) << c.what;
        const std::wstring place = L"HKCU\\Software\\" + tv::ResumeTempKeyName(c.author) + L"\\" + name;
        const std::wstring expected = !c.written ? L"" : c.application + L" " +
                                      (c.parked ? L"/cmdloc \"" + place + L"\"" : c.arguments);
        EXPECT_EQ(RunOnceValue(name), expected) << c.what;
        EXPECT_EQ(ParkedValue(c.author, name), c.parked ? c.arguments : L"") << c.what;
        tv::RemoveResumeRunOnce(name, c.author);
        EXPECT_EQ(RunOnceValue(name), L"") << c.what;
        EXPECT_FALSE(TempKeyExists(c.author)) << c.what;
    }
    // Two products of one manufacturer share its temp key until the last goes.
    const std::wstring parked(300, L'e');
    ASSERT_TRUE(tv::AddToRunOnce(name, app, parked, author));
    ASSERT_TRUE(tv::AddToRunOnce(other, app, parked, author));
    tv::RemoveResumeRunOnce(name, author);
    EXPECT_EQ(ParkedValue(author, other), parked);
    EXPECT_NE(RunOnceValue(other), L"");
    tv::RemoveResumeRunOnce(other, author);
    EXPECT_FALSE(TempKeyExists(author));
}

TEST(ResumeTask, LogonTypeByAccountText) {
    // Wine's NetLocalGroupGetInfo calls every name a local group; Windows
    // knows none of these names.
    LPBYTE info = nullptr;
    const bool everyNameAGroup = ::NetLocalGroupGetInfo(nullptr, NewGuid().c_str(), 1, &info) == NERR_Success;
    if (info) ::NetApiBufferFree(info);
    const LONG plainText = everyNameAGroup ? TASK_LOGON_GROUP : TASK_LOGON_INTERACTIVE_TOKEN;
    struct Case { std::wstring account; LONG type; std::wstring registeredFor; };
    const Case cases[] = {
        {L"", TASK_LOGON_SERVICE_ACCOUNT, L"SYSTEM"},
        {L"SYSTEM", TASK_LOGON_SERVICE_ACCOUNT, L"SYSTEM"},
        {L"DOMAIN\\SYSTEM", TASK_LOGON_SERVICE_ACCOUNT, L"SYSTEM"},
        {L"a\\b\\SYSTEM", plainText, L"a\\b\\SYSTEM"},  // three pieces: the first decides
        {L"DOMAIN\\someone", plainText, L"DOMAIN\\someone"},
        {L"S-1-5-32-544", TASK_LOGON_GROUP, L"S-1-5-32-544"},  // the Administrators alias by its SID
        {L"S-1-5-18", plainText, L"S-1-5-18"},  // a SID of an account, not a group
        {L"not a sid", plainText, L"not a sid"},
    };
    for (const Case& c : cases) {
        const tv::TaskLogon logon = tv::ChooseTaskLogon(c.account);
        EXPECT_EQ(logon.type, c.type) << Narrow(c.account);
        EXPECT_EQ(logon.account, c.registeredFor) << Narrow(c.account);
    }
}

// Wine's scheduler has no idle trigger, so the task that the library asks
// for is refused there and RunOnce takes it; the rest of the task path runs
// with a daily trigger in its place.
TEST(ResumeTask, TaskPathAsFarAsTheSchedulerGoesAndFallbackWithoutIt) {
    ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    tv::ScopeGuard uninit([] { ::CoUninitialize(); });
    const std::wstring name = NewGuid(), nested = L"TvResumeTest\\" + NewGuid() + L".job";
    tv::ResumeTrigger daily;
    daily.kind = TASK_TRIGGER_DAILY;
    for (const std::wstring& task : {name, nested}) {
        EXPECT_EQ(tv::CreateScheduledTask(task, L"C:\\setup.exe", L"/x", L"", false, daily, {}), S_OK);
        // A second registration replaces the first without an error.
        EXPECT_EQ(tv::CreateScheduledTask(task, L"C:\\setup.exe", L"/y", L"", false, daily, {}), S_OK);
        EXPECT_TRUE(tv::RemoveResumeTask(task)) << Narrow(task);
        EXPECT_FALSE(tv::RemoveResumeTask(task)) << Narrow(task);  // nothing left to remove
    }
    const HRESULT idle = tv::CreateScheduledTask(name, L"C:\\setup.exe", L"/x", L"", false, {}, {});
    if (idle == S_OK) {
        tv::RemoveResumeTask(name);
        GTEST_SKIP() << "this scheduler has an idle trigger";
    }
    EXPECT_TRUE(tv::RegisterResumeTask(name, L"C:\\setup.exe", L"/x", L"", L"", false));
    EXPECT_EQ(RunOnceValue(name), L"C:\\setup.exe /x");
    EXPECT_FALSE(tv::RemoveResumeTask(name));  // half a task is never left behind
    tv::RemoveResumeRunOnce(name, L"");
    EXPECT_EQ(RunOnceValue(name), L"");
}

TEST_F(Resume, CommandFormsFromTheSession) {
    const std::wstring msiexec = tv::GetMsiexecPath();
    struct Case { const char* what; std::wstring setupPath, restartArgs, installed; std::wstring expected; };
    Open();
    const std::wstring package = Property(L"OriginalDatabase"), code = mPackage.ProductCode();
    // Before costing no feature has an action state: no list at all.
    tv::Install(mSession).PrepareResume();
    EXPECT_EQ(Registered(), msiexec + L" /i \"" + package + L"\" ");
    Cost();
    const std::wstring features = L"ADDLOCAL=F1,F3 REMOVE=F2 ";
    // Only the setup's form carries what the session decided, never the list of what is missing.
    const std::wstring kept = L"INSTALLLEVEL=\"1\" ROOTDRIVE=\"C:\\\" KEPT=\"a \"\"quoted\"\" value\"";
    const std::wstring setupTail = L"TV_SETUPEXEPATH=\"C:\\a b\\setup.exe\" SETUPEXEDIR=\"\" TV_BOOTSTRAPPER_RESUME=1 ";
    const Case cases[] = {
        {"package", L"", L"", L"", msiexec + L" /i \"" + package + L"\" " + features},
        {"installed product", L"", L"", L"1", msiexec + L" /i " + code + L" " + features},
        {"setup, no arguments", L"C:\\a b\\setup.exe", L"", L"", L"\"C:\\a b\\setup.exe\"  " + setupTail + features + kept},
        {"setup with arguments", L"C:\\a b\\setup.exe", L"/s", L"", L"\"C:\\a b\\setup.exe\" /s " + setupTail + features + kept},
    };
    SetProperty(L"TV_MISSING_PREREQS", L"One|Two");
    SetProperty(L"TV_MISSING_PREREQS_TOO", L"x");
    SetProperty(L"SecureCustomProperties", L"KEPT;TV_MISSING_PREREQS_TOO");
    SetProperty(L"KEPT", L"a \"quoted\" value");
    const std::wstring mangled = L"C__a b_setup.exe";
    for (const Case& c : cases) {
        SetProperty(L"TV_SETUPEXEPATH", c.setupPath);
        SetProperty(L"RESTART_EXE_CMD_LINE", c.restartArgs);
        SetProperty(L"Installed", c.installed);
        // An earlier registration under the setup's own name.
        ASSERT_TRUE(tv::AddToRunOnce(mangled, L"old", L"", L""));
        tv::Install(mSession).PrepareResume();
        EXPECT_EQ(Registered(), c.expected) << c.what;
        EXPECT_EQ(RunOnceValue(mangled), c.setupPath.empty() ? L"old " : L"") << c.what;
        tv::RemoveResumeRunOnce(mangled, L"");
    }
    // The setup's form can be longer than RunOnce takes: it moves to the
    // manufacturer's temp key, and CleanPrereq takes both away.
    SetProperty(L"TV_SETUPEXEPATH", L"C:\\a b\\setup.exe");
    SetProperty(L"KEPT", std::wstring(300, L'k'));
    tv::Install(mSession).PrepareResume();
    EXPECT_EQ(Registered(), L"\"C:\\a b\\setup.exe\" /cmdloc \"HKCU\\Software\\TV Tests TvTemp\\" + code + L"\"");
    EXPECT_NE(ParkedValue(L"TV Tests", code).find(L"KEPT=\"kkk"), std::wstring::npos);
    EXPECT_EQ(Call("CleanPrereq"), 0u);
    EXPECT_EQ(Registered(), L"");
    EXPECT_FALSE(TempKeyExists(L"TV Tests"));
}

TEST_F(Resume, RestartPromptAnswersAndTheSeamOfThisBuild) {
    // A build of this tree never restarts: its seam records.
    EXPECT_EQ(tv::GetRestartSeam().restartSystem, &tv::RecordRestart);
    static int restarts = 0;
    const tv::RestartSeam saved = tv::GetRestartSeam();
    tv::ScopeGuard restore([saved] { tv::GetRestartSeam() = saved; });
    tv::GetRestartSeam().restartSystem = [] { return ++restarts, true; };
    struct Case { const char* what; bool silent; int answer; bool result; int restarts; size_t prompts; };
    const Case cases[] = {
        {"yes", false, IDYES, true, 1, 1}, {"no", false, IDNO, false, 0, 1},
        {"cancel is not no", false, IDCANCEL, true, 1, 1}, {"silent", true, IDNO, true, 1, 0},
    };
    OpenCosted();
    for (const Case& c : cases) {
        mMessages.Clear();
        mMessages.Answer(INSTALLMESSAGE_ERROR, {c.answer});
        EXPECT_EQ(tv::Install(mSession).RestartIfConfirmed(L"Prereq", c.silent), c.result) << c.what;
        EXPECT_EQ(std::exchange(restarts, 0), c.restarts) << c.what;
        const auto prompts = mMessages.OfType(0x01000044);
        ASSERT_EQ(prompts.size(), c.prompts) << c.what;
        if (c.prompts) {
            EXPECT_EQ(prompts[0].Field(1) + L" " + prompts[0].Field(2), L"1702 Prereq") << c.what;
        }
    }
}

TEST_F(Resume, RelaunchPropertiesCarryWhatDiffersFromThePackage) {
    for (const auto& [name, value] : {std::pair{L"DefaultUIFont", L"Tahoma"}, {L"SETBYPACKAGE", L"1"},
                                      {L"SAME", L"same"}, {L"INSTALLLEVEL", L"1"}, {L"ROOTDRIVE", L"C:\\"}})
        mPackage.Property(name, value);
    mPackage.Row(L"Directory", {L"INSTALLDIR", L"TARGETDIR", L"App"});
    mPackage.Row(L"Directory", {L"SUBDIR", L"INSTALLDIR", L"Sub:Sub"});
    mPackage.Row(L"Directory", {L"STAYS", L"TARGETDIR", L"Stays"});
    mPackage.Row(L"CustomAction", {L"SetIt", 51, L"FROMACTION", L"x"});
    mPackage.Row(L"CustomAction", {L"RunIt", 34, L"NOTSETBYIT", L"x"});
    OpenCosted();
    const std::wstring root = Property(L"TARGETDIR");
    ASSERT_EQ(::MsiSetTargetPathW(mSession, L"INSTALLDIR", L"C:\\Elsewhere\\App2"), 0u);
    const std::pair<const wchar_t*, const wchar_t*> session[] = {
        {L"DefaultUIFont", L"Other"}, {L"SETBYPACKAGE", L""}, {L"ADDLOCAL", L"F1"}, {L"QUOTE", L"a\"b"},
        {L"SecureCustomProperties", L"QUOTE;ADDLOCAL;lower"}, {L"lower", L"x"}, {L"FROMACTION", L"y"},
        {L"NOTSETBYIT", L"z"}, {L"TV_PREREQFILES", L"C:\\f.exe"}, {L"TV_MISSING_PREREQS", L"One"}};
    for (const auto& [name, value] : session) SetProperty(name, value);
    DebugLogSwitch logOn;
    tv::DebugLog::Instance().Init(mSession, L"TV_Test");
    tv::MsiTableReader reader(mSession);
    tv::MsiSession wrapped(mSession, reader);
    tv::RelaunchPropertyCollector collector;
    collector.session = &wrapped;
    // The fixed lists first, then the secure ones, then what the package
    // sets in its order, then the folders that moved: one argument a name.
    EXPECT_EQ(collector.Collect(), (std::vector<std::wstring>{
        L"ADDLOCAL=\"F1\"", L"TV_PREREQFILES=\"C:\\f.exe\"", L"TV_MISSING_PREREQS=\"One\"", L"QUOTE=\"a\"\"b\"",
        L"FROMACTION=\"y\"", L"SETBYPACKAGE=\"\"", L"INSTALLDIR=\"C:\\Elsewhere\\App2\""}));
    EXPECT_EQ(Property(L"SUBDIR"), L"C:\\Elsewhere\\App2\\Sub\\");  // moved with its parent, so not carried
    EXPECT_EQ(Property(L"STAYS"), root + L"Stays\\");
    const auto lines = mMessages.LogLines();
    EXPECT_NE(std::find(lines.begin(), lines.end(), L"TV_Test: ADD PROP TO CMD: QUOTE Value: a\"b"), lines.end());
    // A local path is no share: it travels as it stands.
    EXPECT_EQ(tv::UniversalName(L"C:\\windows"), L"C:\\windows");
    EXPECT_EQ(tv::JoinQuoted({L"a b", L"\"c d", L"e", L"", L"after the end"}), L"\"a b\" \"c d e");
}

TEST_F(Resume, SessionObjectFoldsFailuresIntoItsResults) {
    mPackage.TableSql(L"CREATE TABLE `Blobs` (`Name` CHAR(20) NOT NULL, `Data` OBJECT PRIMARY KEY `Name`)");
    mPackage.Row(L"Blobs", {L"a", Stream{{1, 2, 3}}});
    mPackage.Row(L"Blobs", {L"b", Null{}});
    mPackage.TableSql(L"CREATE TABLE `Texts` (`Name` CHAR(20) NOT NULL, `Text` CHAR(20) PRIMARY KEY `Name`)");
    mPackage.Row(L"Texts", {L"a", L"{Binary Data}"});
    OpenCosted();
    tv::MsiTableReader reader(mSession);
    tv::MsiSession session(mSession, reader);
    EXPECT_FALSE(session.SetProperty(L"", L"x"));
    EXPECT_TRUE(session.SetProperty(L"SOMEPROP", L"x"));
    EXPECT_EQ(session.GetProperty(L"SOMEPROP"), L"x");
    EXPECT_TRUE(session.EvaluateCondition(L""));
    EXPECT_TRUE(session.EvaluateCondition(L"SOMEPROP = \"x\""));
    EXPECT_FALSE(session.EvaluateCondition(L"SOMEPROP ="));
    EXPECT_EQ(session.GetFeatureState(L"F2"), (tv::InstallStates{INSTALLSTATE_ABSENT, INSTALLSTATE_ABSENT}));
    EXPECT_EQ(session.GetFeatureState(L"NoSuchFeature"), (tv::InstallStates{}));
    EXPECT_TRUE(session.SetFeatureState(L"F2", INSTALLSTATE_LOCAL));
    EXPECT_EQ(session.GetFeatureState(L"F2").second, INSTALLSTATE_LOCAL);
    EXPECT_FALSE(session.IsInstalled());
    EXPECT_EQ(session.QueryReserved(), 0);
    // Binary cells are numbered in walking order; a text that only reads
    // like one is taken for one, with no bytes left for it.
    struct Collect : tv::FullRowCallback {
        bool OnRow(const std::vector<tv::TableCell>& cells) override {
            for (const auto& cell : cells) seen.push_back(cell.GetText() + (cell.GetBinary() ? L"+" : L"-"));
            return true;
        }
        std::vector<std::wstring> seen;
    } blobs, texts;
    const wchar_t* const columns[] = {L"Name", L"Data", nullptr};
    EXPECT_TRUE(session.ReadFullTable(L"Blobs", columns, nullptr, nullptr, blobs));
    EXPECT_EQ(blobs.seen, (std::vector<std::wstring>{L"a-", L"+", L"b-", L"+"}));  // a null stream has no bytes
    const wchar_t* const textColumns[] = {L"Name", L"Text", nullptr};
    EXPECT_TRUE(session.ReadFullTable(L"Texts", textColumns, nullptr, nullptr, texts));
    EXPECT_EQ(texts.seen, (std::vector<std::wstring>{L"a-", L"-"}));
    struct Count : tv::RowCallback {
        bool OnRow(const std::vector<std::wstring>&) override { return ++rows < 2; }
        int rows = 0;
    } count;
    const wchar_t* const featureColumns[] = {L"Feature", nullptr};
    EXPECT_TRUE(session.ReadTable(L"Feature", featureColumns, nullptr, nullptr, count));
    EXPECT_EQ(count.rows, 2);  // stopped by the callback
    EXPECT_FALSE(session.ReadTable(L"NoSuchTable", featureColumns, nullptr, nullptr, count));
}
