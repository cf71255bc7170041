// DownloadPrereq through real sessions: the LAN, local and URL ways with
// their log lines, the integrity prompt after each file, the mandatory stop
// and a cancel; and the soak of many dropped downloads.
#include <random>
#include "ServerFixture.h"
#include "download/FileTransfer.h"
#include "frame/DebugLog.h"

using namespace tvtest;
using Lines = std::vector<std::wstring>;

namespace {

constexpr size_t kSize = 3000;

class PrereqFetch : public DownloadTest {
protected:
    void SetUp() override {
        DownloadTest::SetUp();
        mPackage.Row(L"UIText", {L"DownloadingPrereq", L"Downloading [1]"});
        mPackage.Row(L"UIText", {L"PrereqCompletedSuffix", L" (done)"});
        for (int number : {4155, 4156}) mPackage.Row(L"Error", {number, L"[2]"});
        mPackage.Property(L"TV_PREREQS_DIR", mFolder + L"\\prereqs");
    }
    // A row to install, fetched from `url`; `cells` override.
    void AddRow(const std::wstring& key, int sequence, const std::wstring& url,
                std::map<std::wstring, Value> cells = {}) {
        cells.merge(std::map<std::wstring, Value>{{L"PrereqKey", key}, {L"DisplayName", key}, {L"Location", 1},
                                                  {L"SetupFileUrl", url}, {L"Sequence", sequence},
                                                  {L"MissingCondition", L"1"}, {L"Options", L""}});
        mPackage.Prereq(cells);
    }
    std::wstring FileOf(const std::wstring& key, const std::wstring& name) const {
        return mFolder + L"\\prereqs\\" + key + L"\\" + name;
    }
    // The log lines of the download action, without its prefix.
    Lines Log() const {
        Lines lines;
        const std::wstring prefix = L"TV_DownloadPrereq: ";
        for (const std::wstring& line : mMessages.LogLines())
            if (line.compare(0, prefix.size(), prefix) == 0) lines.push_back(line.substr(prefix.size()));
        return lines;
    }
    // True when `wanted` appear in `lines` in this order.
    static bool InOrder(const Lines& lines, const Lines& wanted) {
        size_t next = 0;
        for (const std::wstring& line : lines)
            if (next < wanted.size() && line == wanted[next]) ++next;
        return next == wanted.size();
    }
    UINT Fetch() {
        DebugLogSwitch log;
        return Call("DownloadPrereq");
    }
};

}  // namespace

TEST_F(PrereqFetch, TheThreeWaysAndTheirLogLines) {
    const std::wstring source = mFolder + L"\\share\\tool.exe";
    ::CreateDirectoryW((mFolder + L"\\share").c_str(), nullptr);
    WriteAll(source, Pattern(kSize));
    const std::wstring there = mFolder + L"\\here.exe";
    WriteAll(there, "present");
    const std::wstring http = Servers().HttpUrl(L"size=3000", L"tool.exe");
    const std::wstring missing = Servers().HttpUrl(L"status=404", L"tool.exe");
    // Wine has no share client; "\\?\" paths are share paths to it.
    const std::wstring lan = L"\\\\?\\" + source;
    struct Case {
        std::wstring key;
        std::wstring url;
        std::wstring file;  // where the file should be, empty for none
        Lines lines;
    };
    const Case cases[] = {
        {L"Web", http, FileOf(L"Web", L"tool.exe"),
         {L"Prereq URL: [ " + http + L" ]", L"Started dowloading prereq from URL: [" + http + L"]",
          L"Prereq downloaded succesfully."}},
        {L"WebGone", missing, L"", {L"FAILED to download prereq from URL: [ " + missing + L" ]"}},
        {L"Lan", L"file://" + lan, FileOf(L"Lan", L"tool.exe"),
         {L"Started dowloading prereq from LAN: [ " + lan + L" ]", L"Prereq downloaded succesfully."}},
        {L"LanGone", L"file://\\\\nohost\\share\\tool.exe", L"",
         {L"Started dowloading prereq from LAN: [ \\\\nohost\\share\\tool.exe ]",
          L"FAILED to download prereq from LAN: [ \\\\nohost\\share\\tool.exe ]"}},
        {L"LocalGone", L"file:///" + mFolder + L"/absent.exe", L"",
         {L"Prereq URL is a local path: [ " + mFolder + L"\\absent.exe ]",
          L"FAILED to locate file on disk: [ " + mFolder + L"\\absent.exe ]"}},
        {L"Local", L"file:///" + there, there, {L"Prerequsite file already downloaded."}},
    };
    Lines wanted = {L"Entering Install::ReadAndDownload", L"Number of prerequisites to download: [ 6 ]",
                    L"Prerequisites download location: [ " + mFolder + L"\\prereqs ]",
                    L"Entering PrereqDownload::Download", L"Prerequisites download started."};
    int sequence = 0;
    for (const Case& c : cases) {
        AddRow(c.key, ++sequence, c.url);
        wanted.push_back(L"Preparing prereq download: [ " + c.key + L" ]");
        wanted.insert(wanted.end(), c.lines.begin(), c.lines.end());
        wanted.push_back(L"Start update MSI action data.");
    }
    wanted.insert(wanted.end(), {L"Prerequisites download ended.", L"Exit PrereqDownload::Download",
                                 L"Exit Install::ReadAndDownload"});
    Open();
    mMessages.Clear();
    EXPECT_EQ(Fetch(), 0u);  // all rows optional: failures go on to the next
    const Lines log = Log();
    EXPECT_TRUE(InOrder(log, wanted));
    for (const Case& c : cases) {
        SCOPED_TRACE(Narrow(c.key));
        EXPECT_EQ(Exists(FileOf(c.key, L"tool.exe")), c.file == FileOf(c.key, L"tool.exe"));
        if (c.file.empty() || c.file == there) continue;
        EXPECT_EQ(ReadAll(c.file), Pattern(kSize));
        EXPECT_NE(Property(L"TV_PREREQFILES").find(c.file), std::wstring::npos);
    }
    // Action data: the row's line, then the same completed.
    const auto data = mMessages.OfType(INSTALLMESSAGE_ACTIONDATA);
    ASSERT_EQ(data.size(), 12u);
    EXPECT_EQ(data[0].Field(1), L"Downloading Web");
    EXPECT_EQ(data[1].Field(1), L"Downloading Web (done)");
}

TEST_F(PrereqFetch, IntegrityPromptMandatoryStopAndCancel) {
    const std::wstring good = Md5Of(Pattern(kSize));
    const std::wstring wrong = L"0cc175b9c0f1b6a831c399e269772661";
    struct Case {
        const char* name;
        const wchar_t* firstOptions;
        std::wstring firstUrlOptions;
        std::wstring firstMd5;
        int answer;        // to the prompt, or to the progress records with -2: cancel
        UINT result;
        bool secondFetched;
        const wchar_t* line;  // the log line the case turns on
    };
    const Case cases[] = {
        {"optional, digest right", L"", L"size=3000", good, IDOK, 0, true, L"Integrity check passed."},
        {"optional, wrong, yes", L"", L"size=3000", wrong, IDYES, 0, true, nullptr},
        {"optional, wrong, no", L"", L"size=3000", wrong, IDNO, 2, false, L"FAILED user aborted download."},
        {"mandatory, wrong", L"m", L"size=3000", wrong, IDOK, 2, false, L"FAILED user aborted download."},
        {"mandatory, failing", L"m", L"status=404", good, IDOK, 0, false,
         L"FAILED to download a mandatory prerequisite. All downloads will be aborted."},
        {"optional, failing, checked", L"", L"status=404", good, IDYES, 0, true, nullptr},
        {"cancel", L"", L"size=300000,trickle=5", good, -2, ERROR_INSTALL_USEREXIT, false,
         L"Prerequisites download was canceled by user."},
    };
    int sequence = 0;
    for (const Case& c : cases) {
        const std::wstring key = L"First" + std::to_wstring(++sequence);
        AddRow(key, sequence * 10, Servers().HttpUrl(c.firstUrlOptions, key + L".exe"),
               {{L"Options", c.firstOptions}, {L"MD5", c.firstMd5}});
        AddRow(L"Second" + std::to_wstring(sequence), sequence * 10 + 1,
               Servers().HttpUrl(L"size=10", L"second" + std::to_wstring(sequence) + L".exe"));
    }
    Open();
    sequence = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ++sequence;
        // Only this case's two rows are needed: the others' selection
        // properties name a false condition.
        for (int other = 1; other <= static_cast<int>(std::size(cases)); ++other)
            for (const wchar_t* prefix : {L"First", L"Second"})
                SetProperty(prefix + std::to_wstring(other), other == sequence ? L"" : L"0");
        mMessages.Clear();
        Servers().TakeRequests();
        // Every message gets the case's answer; a cancel comes on a progress
        // record in the middle of the first file.
        mMessages.DefaultAnswer(c.answer == -2 ? IDOK : c.answer);
        if (c.answer == -2) mMessages.Answer(INSTALLMESSAGE_PROGRESS, {IDOK, IDOK, IDOK, IDOK, IDCANCEL});
        EXPECT_EQ(Fetch(), c.result);
        const Lines log = Log();
        if (c.line) {
            EXPECT_TRUE(InOrder(log, {c.line}));
        }
        bool second = false;
        for (const auto& request : Servers().TakeRequests()) second |= request.path.find("/second") != std::string::npos;
        EXPECT_EQ(second, c.secondFetched);
        const bool prompted = c.firstMd5 == wrong || std::wstring(c.firstUrlOptions) == L"status=404";
        if (prompted && c.line && std::wstring(c.line).find(L"mandatory") == std::wstring::npos) {
            EXPECT_TRUE(InOrder(log, {L"FAILED integrity check for prereq: First" + std::to_wstring(sequence) +
                                      L" Prompt with message."}));
        }
    }
}

TEST_F(PrereqFetch, SoakOfDroppedDownloads) {
    // Each download loses its connection once, at a random place, on a
    // server that honours ranges.
    constexpr size_t kSoakSize = 16384;
    constexpr int kCount = 100;
    const std::wstring digest = Md5Of(Pattern(kSoakSize));
    std::mt19937 random(20261125);
    std::uniform_int_distribution<size_t> offset(1, kSoakSize - 1);
    Open();
    int right = 0, countedOnce = 0, partsLeft = 0;
    const DWORD start = ::GetTickCount();
    for (int i = 0; i < kCount; ++i) {
        const std::wstring target = mFolder + L"\\soak" + std::to_wstring(i) + L".bin";
        const std::wstring url = Servers().HttpUrl(
            L"size=" + std::to_wstring(kSoakSize) + L",drop=" + std::to_wstring(offset(random)), L"soak" + std::to_wstring(i));
        CountingProgress progress(mSession);
        tv::FileTransfer transfer(&progress);
        if (transfer.Download(url, target) == 0 && Md5Of(ReadAll(target)) == digest) ++right;
        if (progress.bytes == static_cast<long long>(kSoakSize)) ++countedOnce;
        if (Exists(target + L".part")) ++partsLeft;
        ::DeleteFileW(target.c_str());
    }
    const auto requests = Servers().TakeRequests();
    std::printf("soak: %d downloads, %d with the right MD5, %d counted each byte once, %d .part left, %zu requests, %lu ms\n",
                kCount, right, countedOnce, partsLeft, requests.size(), ::GetTickCount() - start);
    EXPECT_EQ(right, kCount);
    EXPECT_EQ(countedOnce, kCount);
    EXPECT_EQ(partsLeft, 0);
    EXPECT_EQ(requests.size(), static_cast<size_t>(2 * kCount)) << "one resume each";
}
