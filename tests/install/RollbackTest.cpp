// The rollback record from launch to registry to undo, through real
// sessions, Wine's registry and our test setup program.
#include <fstream>
#include "Harness.h"
#include "frame/DebugLog.h"
#include "install/Install.h"
#include "install/Rollback.h"
#include "install/RollbackRecord.h"
#include "platform/RegistryKey.h"

using namespace tvtest;
using tv::RollbackEntry;

namespace {

const std::wstring kF1 = L"\x0001";
const std::wstring kE2 = L"\x0002";

class RollbackRun : public SessionTest {
protected:
    void SetUp() override {
        mRecord = TestPackage::TempPath(L"-undo.txt");
        mSetup = TvDll::Folder() + L"\\fakesetup.exe";
        mPackage.Table(L"ActionText");
        mPackage.Row(L"ActionText", {L"TV_VerifyPrereq", L"Verifying prerequisites", L"[1]"});
        mPackage.Table(L"Error");
        for (int number : {4153, 4154}) mPackage.Row(L"Error", {number, L"[2] is missing."});
        mPackage.Table(L"TV_PreRequisite");
    }
    void TearDown() override {
        if (mSession) tv::TakeRollbackValue(mSession);
        ::DeleteFileW(mRecord.c_str());
    }
    // An undo command for fakesetup that leaves `tag` in the record file.
    std::wstring Undo(const std::wstring& tag) const {
        return L"\"" + mSetup + L"\" /record:\"" + mRecord + L"\" " + tag;
    }
    std::vector<std::string> Undone() const {
        std::ifstream in(Narrow(mRecord));
        std::vector<std::string> tags;
        for (std::string line; std::getline(in, line);)
            if (line.find("fakesetup") != std::string::npos) tags.push_back(line.substr(line.rfind(' ') + 1));
        return tags;
    }
    std::wstring Stored() {
        tv::RegistryKey key(tv::RollbackKeyText(mSession), HKEY_CURRENT_USER, false);
        return key.GetText(L"TV_ROLLBACK_PREREQS");
    }
    std::wstring mRecord, mSetup;
};

}  // namespace

TEST(RollbackRecord, DamagedValuesNeverReadMissingFields) {
    const std::wstring a = L"A" + kF1 + L"C:\\a.exe" + kF1 + L"/undo" + kF1 + L"fl";
    const std::wstring b = L"B" + kF1 + kF1 + L"cmd" + kF1 + L"y";
    struct Case {
        std::wstring text;
        std::vector<std::wstring> keys;
    };
    const Case cases[] = {
        {L"", {}},
        {a, {L"A"}},
        {a + kE2 + b, {L"A", L"B"}},
        {a + kE2, {L"A"}},                                  // trailing separator
        {kE2 + kE2 + b, {L"B"}},                            // empty entries
        {L"A" + kF1 + L"file" + kF1 + L"cmd", {}},          // a field missing
        {a + kF1 + L"extra" + kE2 + b, {L"B"}},             // a field too many
        {L"no separators at all", {}},
    };
    for (const Case& c : cases) {
        std::vector<std::wstring> keys;
        for (const RollbackEntry& entry : tv::ParseRollbackEntries(c.text)) keys.push_back(entry.key);
        EXPECT_EQ(keys, c.keys) << Narrow(c.text);
    }
    const auto entries = tv::ParseRollbackEntries(a + kE2 + b);
    EXPECT_EQ(entries[1].file, L"");
    EXPECT_EQ(entries[0].command, L"/undo");
    EXPECT_EQ(tv::JoinRollbackEntries(entries), a + kE2 + b);
    EXPECT_EQ(tv::JoinRollbackEntries({}), L"");
}

TEST_F(RollbackRun, BothPhasesFromOneStoredValueInStoredOrder) {
    Open();
    DebugLogSwitch log;
    tv::DebugLog::Instance().Init(mSession, L"TV_RollbackPrereq");
    tv::WriteRollbackValue(mSession, tv::JoinRollbackEntries({{L"A", L"", Undo(L"A"), L"f"},
                                                             {L"B", L"", Undo(L"B"), L"y"},
                                                             {L"C", L"", Undo(L"C"), L"lf"},
                                                             {L"D", L"", Undo(L"D"), L"p"}}));
    EXPECT_EQ(tv::Rollback(mSession).Run(tv::PhaseMain), 0u);
    EXPECT_EQ(Undone(), (std::vector<std::string>{"A", "C"}));
    EXPECT_EQ(Stored(), L"");  // the pre-install entry is lost with the value
    std::vector<std::wstring> lines;
    for (const auto& line : mMessages.LogLines())
        if (line.find(L"Rollback::Run") != std::wstring::npos || line.find(L": Rollback prereq: ") != std::wstring::npos)
            lines.push_back(line);
    const std::wstring prefix = L"TV_RollbackPrereq: ";
    EXPECT_EQ(lines, (std::vector<std::wstring>{prefix + L"Entering Rollback::Run()",
                                                prefix + L"Rollback prereq: A File:  Cmd: " + Undo(L"A"),
                                                prefix + L"Rollback prereq: C File:  Cmd: " + Undo(L"C"),
                                                prefix + L"End Rollback::Run()"}));
    // Nothing stored any more: the two lines and no launch.
    mMessages.Clear();
    EXPECT_EQ(tv::Rollback(mSession).Run(tv::PhasePre), 0u);
    EXPECT_EQ(Undone().size(), 2u);
    EXPECT_EQ(mMessages.LogLines(),
              (std::vector<std::wstring>{prefix + L"Entering Rollback::Run()", prefix + L"End Rollback::Run()"}));
}

TEST_F(RollbackRun, AFailedStartLosesTheRest) {
    Open();
    DebugLogSwitch log;
    tv::DebugLog::Instance().Init(mSession, L"TV_RollbackPrereq");
    tv::WriteRollbackValue(mSession, tv::JoinRollbackEntries({{L"A", L"", Undo(L"A"), L"f"},
                                                             {L"B", L"C:\\gone\\setup.exe", L"/uninstall", L"f"},
                                                             {L"C", L"", Undo(L"C"), L"f"}}));
    tv::Rollback(mSession).Run(tv::PhaseMain);
    EXPECT_EQ(Undone(), std::vector<std::string>{"A"});
    EXPECT_EQ(Stored(), L"");
    const auto lines = mMessages.LogLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back().rfind(L"TV_RollbackPrereq: Failed to launch file: C:\\gone\\setup.exe Error: ", 0), 0u);
}

TEST_F(RollbackRun, LaunchRecordsTheUndoOfWhatItDid) {
    struct Case {
        const char* name;
        bool installed;
        const wchar_t* options;
        const wchar_t* missing;
        std::wstring stored;  // the entry's command, or "" for no entry
    };
    const Case cases[] = {
        {"install", false, L"yl=-", L"1", L"/remove"},
        {"repair", true, L"yl=", L"0", L""},
        {"removal", true, L"yl-", L"0", L"/install"},
        {"no l", false, L"y", L"1", L""},
    };
    Open();
    SetProperty(L"SourceDir", TvDll::Folder() + L"\\");
    SetProperty(L"UILevel", L"5");
    std::wstring expected;  // entries follow one another in launch order
    for (const Case& c : cases) {
        SetProperty(L"Installed", c.installed ? L"1" : L"");
        const tv::Prerequisite row = {{L"PrereqKey", L"K"}, {L"Location", L"0"}, {L"TargetName", L"fakesetup.exe"},
                                      {L"Options", c.options}, {L"MissingCondition", c.missing},
                                      {L"ComLine", L"/install"}, {L"RepairComLine", L"/repair"},
                                      {L"UninstallComLine", L"/remove"}};
        tv::Install(mSession).LaunchPrereq(row);
        if (!c.stored.empty())
            expected += (expected.empty() ? L"" : kE2) + L"K" + kF1 + TvDll::Folder() + L"\\fakesetup.exe" + kF1 +
                        c.stored + kF1 + c.options;
        EXPECT_EQ(Property(L"TV_ROLLBACK_PREREQS"), expected) << c.name;
    }
}

TEST_F(RollbackRun, VerificationStoresFirstThenAsks) {
    mPackage.Prereq({{L"PrereqKey", L"Arrived"}, {L"DisplayName", L"Arrived"}, {L"Options", L"yl"}, {L"Sequence", 1},
                     {L"MissingCondition", L"0"}});
    mPackage.Prereq({{L"PrereqKey", L"Unselected"}, {L"DisplayName", L"Unselected"}, {L"Options", L"yml"},
                     {L"Sequence", 5}, {L"MissingCondition", L"1"}});
    mPackage.Prereq({{L"PrereqKey", L"Optional"}, {L"DisplayName", L"Optional"}, {L"Options", L"y"}, {L"Sequence", 2},
                     {L"MissingCondition", L"1"}});
    mPackage.Prereq({{L"PrereqKey", L"Ignored"}, {L"DisplayName", L"Ignored"}, {L"Options", L"yi"}, {L"Sequence", 3},
                     {L"MissingCondition", L"1"}});
    mPackage.Prereq({{L"PrereqKey", L"Mandatory"}, {L"DisplayName", L"Mandatory"}, {L"Options", L"ym"},
                     {L"Sequence", 4}, {L"MissingCondition", L"1"}});
    Open();
    SetProperty(L"UILevel", L"5");
    SetProperty(L"Unselected", L"0");  // its selection property says no
    const std::wstring entries = tv::JoinRollbackEntries({{L"Arrived", L"", L"/u", L"yl"},
                                                         {L"Optional", L"", L"/u", L"yl"},
                                                         {L"Ignored", L"", L"/u", L"yl"},
                                                         {L"Gone", L"", L"/u", L"yl"},
                                                         {L"Unselected", L"", L"/u", L"yl"}});
    struct Case {
        const char* name;
        std::vector<int> answers;
        UINT result;
        std::vector<std::wstring> reported;
    };
    const Case cases[] = {
        {"optional yes, then mandatory", {IDYES}, 2, {L"4154 Optional", L"4153 Mandatory"}},
        {"optional no", {IDNO}, 2, {L"4154 Optional"}},
    };
    for (const Case& c : cases) {
        tv::TakeRollbackValue(mSession);
        SetProperty(L"TV_ROLLBACK_PREREQS", entries);
        mMessages.Clear();
        mMessages.Answer(0x02000000, c.answers);
        EXPECT_EQ(tv::Install(mSession).Verify(tv::PhasePre), c.result) << c.name;
        std::vector<std::wstring> reported;
        for (const auto& m : mMessages.Messages())
            if (m.Kind() == INSTALLMESSAGE_ERROR || m.Kind() == INSTALLMESSAGE_WARNING)
                reported.push_back(m.Field(1) + L" " + m.Field(2));
        EXPECT_EQ(reported, c.reported) << c.name;
        // The missing row's entry is dropped; the others stay: arrived, marked
        // i, no longer in the table, or not selected.
        EXPECT_EQ(Stored(), tv::JoinRollbackEntries({{L"Arrived", L"", L"/u", L"yl"}, {L"Ignored", L"", L"/u", L"yl"},
                                                     {L"Gone", L"", L"/u", L"yl"}, {L"Unselected", L"", L"/u", L"yl"}}))
            << c.name;
    }
}

TEST_F(RollbackRun, WhenVerificationIsSkipped) {
    mPackage.Prereq({{L"PrereqKey", L"M"}, {L"DisplayName", L"M"}, {L"Options", L"ym"}, {L"Sequence", 1},
                     {L"MissingCondition", L"1"}});
    struct Case {
        const wchar_t* fastOem;
        const wchar_t* setupExeDir;
        const wchar_t* uiLevel;
        bool verified;
    };
    const Case cases[] = {
        {L"1", L"C:\\s", L"5", false}, {L"", L"", L"3", false}, {L"", L"", L"2", false},
        {L"", L"", L"5", true},        {L"", L"C:\\s", L"2", true},
    };
    Open();
    for (const Case& c : cases) {
        tv::TakeRollbackValue(mSession);
        SetProperty(L"FASTOEM", c.fastOem);
        SetProperty(L"SETUPEXEDIR", c.setupExeDir);
        SetProperty(L"UILevel", c.uiLevel);
        SetProperty(L"TV_ROLLBACK_PREREQS", tv::JoinRollbackEntries({{L"X", L"", L"/u", L"yl"}}));
        mMessages.Clear();
        const UINT result = tv::Install(mSession).Verify(tv::PhasePre);
        const std::string what = Narrow(c.fastOem) + "|" + Narrow(c.setupExeDir) + "|" + Narrow(c.uiLevel);
        EXPECT_EQ(result, c.verified ? 2u : 0u) << what;
        EXPECT_EQ(mMessages.OfType(0x01010000).size(), c.verified ? 1u : 0u) << what;
        EXPECT_EQ(Stored().empty(), !c.verified) << what;
        ASSERT_EQ(mMessages.OfType(INSTALLMESSAGE_ACTIONSTART).size(), 1u) << what;
        EXPECT_EQ(mMessages.OfType(INSTALLMESSAGE_ACTIONSTART)[0].Field(1), L"TV_VerifyPrereq");
    }
}

TEST_F(RollbackRun, KeysFollowProductVersion) {
    Open();
    tv::WriteRollbackValue(mSession, L"A" + kF1 + kF1 + L"/u" + kF1 + L"f");
    SetProperty(L"ProductVersion", L"2.0.0");
    EXPECT_EQ(tv::TakeRollbackValue(mSession), L"");
    SetProperty(L"ProductVersion", L"1.0.0");
    EXPECT_EQ(tv::TakeRollbackValue(mSession), L"A" + kF1 + kF1 + L"/u" + kF1 + L"f");
    EXPECT_EQ(tv::TakeRollbackValue(mSession), L"");
}

TEST_F(RollbackRun, PrereqsFulfilledForTheDialogs) {
    struct Case {
        const char* name;
        std::vector<std::map<std::wstring, Value>> rows;
        bool fulfilled;
    };
    const Case cases[] = {
        {"empty table", {}, true},
        {"present", {{{L"MissingCondition", L"0"}}}, true},
        {"empty MissingCondition counts as missing", {{{L"MissingCondition", L""}}}, false},
        {"missing", {{{L"MissingCondition", L"1"}}}, false},
        {"only feature-bound rows", {{{L"MissingCondition", L"1"}, {L"Options", L"f"}}}, true},
        {"malformed InstallCondition holds", {{{L"MissingCondition", L"1"}, {L"InstallCondition", L"(("}}}, false},
        {"InstallCondition false", {{{L"MissingCondition", L"1"}, {L"InstallCondition", L"0"}}}, true},
        {"not selected", {{{L"MissingCondition", L"1"}, {L"PrereqKey", L"Unselected"}}}, true},
        {"other language", {{{L"MissingCondition", L"1"}, {L"Languages", L"1"}}}, true},
        {"only on ARM64", {{{L"MissingCondition", L"1"}, {L"Options", L"d"}}}, true},
    };
    for (const Case& c : cases) {
        TestPackage package;
        package.Table(L"TV_PreRequisite");
        int sequence = 0;
        for (auto row : c.rows) {
            if (!row.count(L"PrereqKey")) row[L"PrereqKey"] = L"P" + std::to_wstring(sequence);
            row[L"Sequence"] = ++sequence;
            package.Prereq(row);
        }
        MSIHANDLE session = package.OpenSession();
        ::MsiSetPropertyW(session, L"Unselected", L"0");
        ::MsiSetPropertyW(session, L"TV_PrereqsFulfilled", L"earlier");
        EXPECT_EQ(TvDll::Get().Call("DoAppSearchEx", session), 0u) << c.name;
        wchar_t value[32] = {0};
        DWORD size = 32;
        ::MsiGetPropertyW(session, L"TV_PrereqsFulfilled", value, &size);
        EXPECT_EQ(std::wstring(value), c.fulfilled ? L"1" : L"earlier") << c.name;
    }
}
