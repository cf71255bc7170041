// The parallel route through real sessions: InstallPrereq delivers the files
// on a second thread from our test server while it launches our test setup
// program, row by row.
#include <algorithm>
#include <fstream>
#include <sstream>
#include "ServerFixture.h"
#include "frame/DebugLog.h"
#include "install/Install.h"

using namespace tvtest;
using Keys = std::vector<std::wstring>;

namespace {

// What a row's download does.
enum class Fetch { Ok, Missing, Slow };

struct RowSpec {
    RowSpec(std::wstring keyIn, std::wstring optionsIn, Fetch fetchIn = Fetch::Ok, int locationIn = 1,
            bool sharesSequenceIn = false, std::wstring beforeIn = L"")
        : key(std::move(keyIn)), options(std::move(optionsIn)), fetch(fetchIn), location(locationIn),
          sharesSequence(sharesSequenceIn), before(std::move(beforeIn)) {}
    std::wstring key;
    std::wstring options;
    Fetch fetch;
    int location;
    bool sharesSequence;  // with the row before it
    std::wstring before;  // RunCustActBefore
};

class ParallelRoute : public DownloadTest {
protected:
    void SetUp() override {
        DownloadTest::SetUp();
        ::CopyFileW((TvDll::Folder() + L"\\fakesetup.exe").c_str(), (Servers().FtpRoot() + L"\\setup.exe").c_str(),
                    FALSE);
        mPackage.Row(L"UIText", {L"DownloadingPrereq", L"Downloading [1]"});
        mPackage.Row(L"UIText", {L"InstallingPrereq", L"Installing [1]"});
        mPackage.Row(L"UIText", {L"PrereqCompletedSuffix", L" (done)"});
        mPackage.Row(L"UIText", {L"InstallPrereq", L"Installing prerequisites"});
        mPackage.Row(L"ActionText", {L"TV_DownloadPrereq", L"Fetching", L"[1]"});
        for (int number : {4153, 4154, 4155, 4156, 1702}) mPackage.Row(L"Error", {number, L"[2]"});
        mPackage.Property(L"TV_PREREQS_DIR", Prereqs());
        mPackage.Property(L"TV_PARALLEL_DOWNLOAD", L"1");
        mPackage.Row(L"CustomAction", {L"Fail", 19, Null{}, L"failing on purpose"});
    }
    std::wstring Prereqs() const { return mFolder + L"\\prereqs"; }
    std::wstring RecordPath() const { return mFolder + L"\\record.txt"; }
    std::wstring StampPath() const { return mFolder + L"\\stamps.txt"; }
    std::wstring FileOf(const std::wstring& key) const { return Prereqs() + L"\\" + key + L"\\setup.exe"; }

    void AddRows(const std::vector<RowSpec>& rows, const std::wstring& setupArguments = L"") {
        int sequence = 0;
        for (const RowSpec& row : rows) {
            std::wstring url = L"http://127.0.0.1:" + std::to_wstring(Servers().Port("http")) + L"/f/";
            url += row.fetch == Fetch::Missing ? L"absent.exe" : L"setup.exe";
            if (row.fetch == Fetch::Slow) url += L"?trickle=8";
            mPackage.Prereq({{L"PrereqKey", row.key},
                             {L"DisplayName", row.key},
                             {L"Location", row.location},
                             {L"SetupFileUrl", url},
                             {L"TargetName", row.key + L"?setup.exe"},
                             {L"Sequence", row.sharesSequence ? sequence : ++sequence},
                             {L"RunCustActBefore", row.before},
                             {L"MissingCondition", L"1"},
                             {L"Options", row.options},
                             {L"Feature_", L"F1"},
                             {L"ComLine", L"/record:\"" + RecordPath() + L"\" /stamp:\"" + StampPath() + L"\" " +
                                              setupArguments + L" " + row.key}});
        }
    }
    UINT RunRoute() {
        mPackage.Product({L"F1"});
        Open();
        SetProperty(L"UILevel", L"5");
        for (const wchar_t* step : {L"CostInitialize", L"FileCost", L"CostFinalize"}) ::MsiDoActionW(mSession, step);
        ::MsiSetFeatureStateW(mSession, L"F1", INSTALLSTATE_LOCAL);
        mMessages.Clear();
        DebugLogSwitch log;
        return Call("InstallPrereq");
    }
    // The rows whose setup ran, in the order they ran.
    Keys Launched() const {
        Keys keys;
        std::ifstream in(Narrow(RecordPath()));
        std::string command, folder;
        while (std::getline(in, command) && std::getline(in, folder))
            keys.push_back(Widen(command.substr(command.rfind(' ') + 1)));
        return keys;
    }
    std::vector<long long> Stamps() const {
        std::vector<long long> stamps;
        std::ifstream in(Narrow(StampPath()));
        for (long long stamp = 0; in >> stamp;) stamps.push_back(stamp);
        return stamps;
    }
    // The messages of the download line: those the filter gave their
    // last field 2.
    std::vector<RecordedMessage> DownloadLine() const {
        std::vector<RecordedMessage> line;
        for (const RecordedMessage& message : mMessages.Messages())
            if (message.Kind() == INSTALLMESSAGE_ACTIONDATA && message.fields.size() == 5 && message.Field(4) == L"2")
                line.push_back(message);
        return line;
    }
};

// While row A's setup runs, row B's file is still coming; the launches wait
// for their own file only.
TEST_F(ParallelRoute, ALaunchOverlapsTheNextDownload) {
    const std::vector<RowSpec> rows = {{L"A", L"f", Fetch::Slow}, {L"B", L"f", Fetch::Slow}};
    AddRows(rows, L"/sleep:1500");
    ASSERT_EQ(RunRoute(), 0u);
    EXPECT_EQ(Launched(), (Keys{L"A", L"B"}));

    std::vector<LoggedRequest> requests = Servers().TakeRequests();
    ASSERT_EQ(requests.size(), 2u);
    const std::vector<long long> stamps = Stamps();
    ASSERT_EQ(stamps.size(), 2u);
    ASSERT_NE(requests[1].finished, 0) << "B's body was not sent whole";
    // A started after its own file and before B's file was complete; B
    // started only after its file was.
    EXPECT_GE(stamps[0], requests[0].finished);
    EXPECT_LT(stamps[0], requests[1].finished);
    EXPECT_GE(stamps[1], requests[1].finished);

    // Every action-data message of the delivery carries the filter's fields:
    // its one text, two zeros, and the 2.
    const std::vector<RecordedMessage> line = DownloadLine();
    ASSERT_FALSE(line.empty());
    EXPECT_EQ(line.front().Field(1), L"Downloading A");
    EXPECT_EQ(line.front().Field(2), L"0");
    EXPECT_EQ(line.front().Field(3), L"0");
    const auto started = mMessages.OfType(INSTALLMESSAGE_ACTIONSTART);
    Keys actions;
    for (const RecordedMessage& message : started) actions.push_back(message.Field(1));
    EXPECT_NE(std::find(actions.begin(), actions.end(), L"TV_DownloadPrereq"), actions.end());
}

// Five rows, one of them failing, cancelled or of another kind: which were
// launched, which files arrived, and the result.
struct FiveRowCase {
    const char* name;
    RowSpec third;  // the others are plain rows to install
    // From the first action data of this row on, the user cancels on this
    // line ("download" or "install"); empty for none.
    const wchar_t* cancelRow;
    const wchar_t* cancelLine;
    UINT result;
    Keys launched;
    Keys delivered, absent;  // rows not named in either aren't checked
};

class FiveRows : public ParallelRoute, public ::testing::WithParamInterface<FiveRowCase> {};

const Keys kAll = {L"R1", L"R2", L"R3", L"R4", L"R5"};
const Keys kAllButThird = {L"R1", L"R2", L"R4", L"R5"};

const FiveRowCase kFiveRowCases[] = {
    {"MandatoryFailure", {L"R3", L"fm", Fetch::Missing}, L"", L"", ERROR_INSTALL_USEREXIT, {L"R1", L"R2"},
     {L"R1", L"R2"}, {L"R3", L"R4", L"R5"}},
    // Its promise is kept; the launch of a file that isn't there fails and
    // the run goes on.
    {"OptionalFailure", {L"R3", L"f", Fetch::Missing}, L"", L"", ERROR_PATH_NOT_FOUND, kAllButThird, kAllButThird,
     {L"R3"}},
    {"LaterPhaseDeliveredNotLaunched", {L"R3", L"p"}, L"", L"", 0, kAllButThird, kAll, {}},
    {"RowWithoutFileNotLaunched", {L"R3", L"f", Fetch::Ok, 2}, L"", L"", 0, kAllButThird, kAllButThird, {L"R3"}},
    {"CancelOnDownloadLine", {L"R3", L"f"}, L"R3", L"download", ERROR_INSTALL_USEREXIT, {L"R1", L"R2"},
     {L"R1", L"R2"}, {L"R4", L"R5"}},
    // Both rows wait for the one promise, which comes after the second file.
    {"SharedSequence", {L"R3", L"f", Fetch::Ok, 1, true}, L"", L"", 0, kAll, kAll, {}},
    // The delivery stops at R3, whose failing custom action makes the run
    // pass over it; R4's promise is then broken and reads as a stop.
    {"BrokenPromise", {L"R3", L"fm", Fetch::Missing, 1, false, L"Fail"}, L"", L"", ERROR_INSTALL_USEREXIT,
     {L"R1", L"R2"}, {L"R1", L"R2"}, {L"R3", L"R4", L"R5"}},
    // The delivery sees no cancel, and has finished when the route returns.
    {"CancelOnInstallLine", {L"R3", L"f"}, L"R2", L"install", ERROR_INSTALL_USEREXIT, {L"R1", L"R2"}, kAll, {}},
};

TEST_P(FiveRows, LaunchedDeliveredAndResult) {
    const FiveRowCase& c = GetParam();
    std::vector<RowSpec> rows = {{L"R1", L"f"}, {L"R2", L"f"}, c.third, {L"R4", L"f"}, {L"R5", L"f"}};
    AddRows(rows);
    if (*c.cancelRow) {
        const bool downloadLine = std::wstring(c.cancelLine) == L"download";
        const std::wstring row = c.cancelRow;  // as the action data's text ends
        // A user who cancels keeps the button pressed: every later message
        // of that line gets the cancel too.
        mMessages.AnswerWhen([=, cancelled = false](const RecordedMessage& m) mutable {
            const UINT kind = m.Kind();
            if (kind != INSTALLMESSAGE_ACTIONDATA && kind != INSTALLMESSAGE_PROGRESS) return 0;
            const bool onDownloadLine = m.fields.size() == 5 && m.Field(4) == L"2";
            if (onDownloadLine != downloadLine) return 0;
            if (kind == INSTALLMESSAGE_ACTIONDATA && m.Field(1) == (downloadLine ? L"Downloading " : L"Installing ") + row)
                cancelled = true;
            return cancelled ? IDCANCEL : 0;
        });
    }
    EXPECT_EQ(RunRoute(), c.result);
    EXPECT_EQ(Launched(), c.launched);
    for (const std::wstring& key : c.delivered) EXPECT_TRUE(Exists(FileOf(key))) << Narrow(key);
    for (const std::wstring& key : c.absent) EXPECT_FALSE(Exists(FileOf(key))) << Narrow(key);
}

INSTANTIATE_TEST_SUITE_P(ParallelRoute, FiveRows, ::testing::ValuesIn(kFiveRowCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
