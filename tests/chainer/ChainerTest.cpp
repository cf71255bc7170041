// tvpackagechainer.exe run for real against .ini files: hand-made ones for
// the bad cases, and the one ConfigurePrereqLauncher writes in a session.
#include <fstream>
#include <sstream>
#include <thread>
#include "Harness.h"
#include "extract/IniDocument.h"
#include "platform/Files.h"
#include "platform/KernelHandle.h"

using namespace tvtest;

namespace {

struct Row {
    std::wstring name;
    std::wstring setupFile;  // "-" leaves the key out
    std::wstring commandLine;
    std::wstring options;
};

// Runs a launcher and gives its exit code; fails the test after 60 s.
DWORD RunLauncher(const std::wstring& launcher, const std::wstring& folder) {
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info{};
    std::wstring command = L"\"" + launcher + L"\"";
    if (!::CreateProcessW(launcher.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr, folder.c_str(),
                          &startup, &info)) {
        ADD_FAILURE() << "launcher did not start: " << ::GetLastError();
        return 0xFFFFFFFF;
    }
    tv::KernelHandle process(info.hProcess), thread(info.hThread);
    if (::WaitForSingleObject(process.Get(), 60000) != WAIT_OBJECT_0) {
        ::TerminateProcess(process.Get(), 1);
        ADD_FAILURE() << "launcher still running after 60 s";
    }
    DWORD code = 0;
    ::GetExitCodeProcess(process.Get(), &code);
    return code;
}

std::string ReadText(const std::wstring& path) {
    std::ifstream in(Narrow(path), std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// The arguments behind "tag:" of each start recorded by fakesetup, in order.
std::vector<std::string> TaggedLaunches(const std::wstring& record) {
    std::istringstream in(ReadText(record));
    std::vector<std::string> tags;
    for (std::string line; std::getline(in, line);) {
        const size_t tag = line.find("tag:");
        if (tag != std::string::npos) tags.push_back(line.substr(tag + 4, line.find_first_of(" \r", tag) - tag - 4));
    }
    return tags;
}

class Chainer : public ::testing::Test {
protected:
    void SetUp() override {
        mStop = TestPackage::TempPath(L"-chain");
        mFolder = mStop + L"\\prereqs";
        ::CreateDirectoryW(mStop.c_str(), nullptr);
        ::CreateDirectoryW(mFolder.c_str(), nullptr);
        ::CopyFileW((TvDll::Folder() + L"\\tvpackagechainer.exe").c_str(), Launcher().c_str(), FALSE);
        ::CopyFileW((TvDll::Folder() + L"\\fakesetup.exe").c_str(), Setup().c_str(), FALSE);
    }
    void TearDown() override {
        // Whatever the launcher left; folders deepest first.
        for (const std::wstring& path : {Launcher(), Setup(), Ini(), mFolder + L"\\tvpackagechainer.log",
                                         Record(), mFolder + L"\\junk.zzzq", mFolder + L"\\sub\\fetched.exe", mStop + L"\\outside.txt",
                                         mStop + L"b\\x.exe", mFolder + L"\\other.log"})
            ::DeleteFileW(path.c_str());
        for (const std::wstring& folder : {mFolder + L"\\sub", mFolder, mStop, mStop + L"b"})
            ::RemoveDirectoryW(folder.c_str());
    }

    std::wstring Launcher() const { return mFolder + L"\\tvpackagechainer.exe"; }
    std::wstring Ini() const { return mFolder + L"\\tvpackagechainer.ini"; }
    std::wstring Setup() const { return mFolder + L"\\fakesetup.exe"; }
    std::wstring Record() const { return mFolder + L"\\record.txt"; }
    std::wstring Recording(const std::wstring& tag) const { return L"/record:\"" + Record() + L"\" " + tag; }

    void WriteIni(const std::vector<Row>& rows, const std::wstring& cleanupFiles, const std::wstring& stop,
                  const std::wstring& logFile = L"") const {
        tv::IniDocument ini;
        ini.skipEmptyValues = ini.skipEmptySections = true;
        ini.path = Ini();
        ini.Section(L"GeneralOptions").Set(L"Options", L"qh");
        for (size_t i = 0; i < rows.size(); ++i) {
            const std::wstring key = L"App" + std::to_wstring(i + 1);
            ini.Section(L"PREREQUISITES").Set(key, rows[i].name);
            tv::IniSection& app = ini.Section(key);
            if (rows[i].setupFile != L"-") app.Set(L"SetupFile", rows[i].setupFile);
            app.Set(L"CommandLine", rows[i].commandLine);
            app.Set(L"Options", rows[i].options);
        }
        tv::IniSection& chainer = ini.Section(L"PREREQ_CHAINER");
        chainer.Set(L"CleanupFiles", cleanupFiles);
        chainer.Set(L"CleanupFolders", stop);
        chainer.Set(L"LogFile", logFile);
        ASSERT_TRUE(ini.Write());
    }

    DWORD Run() const { return RunLauncher(Launcher(), mFolder); }
    std::vector<std::string> Launches() const { return TaggedLaunches(Record()); }
    std::string Log(const std::wstring& path = L"") const {
        return ReadText(path.empty() ? mFolder + L"\\tvpackagechainer.log" : path);
    }

    std::wstring mStop, mFolder;
};

TEST_F(Chainer, RunsRowsInOrderAndDecidesTheExitCode) {
    struct Case {
        const char* what;
        std::vector<Row> rows;
        DWORD exitCode;
        std::vector<std::string> launched;
        const char* logged;
    };
    const std::wstring setup = Setup();
    const std::wstring missing = mFolder + L"\\missing.exe";
    // A file that exists but that the shell has nothing to open with.
    const std::wstring junk = mFolder + L"\\junk.zzzq";
    std::ofstream(Narrow(junk)) << "x";
    const std::vector<Case> cases = {
        {"two rows, in order", {{L"A", setup, Recording(L"tag:A /exit:0"), L"fi"}, {L"B", setup, Recording(L"tag:B /exit:3010"), L"fi"}},
         0, {"A", "B"}, "App2 (B): ended with exit code 3010"},
        {"optional failure goes on", {{L"A", setup, Recording(L"tag:A /exit:5"), L"fi"}, {L"B", setup, Recording(L"tag:B"), L"fi"}},
         0, {"A", "B"}, "App1 (A): failed, optional, chain goes on"},
        {"mandatory failure gives its code", {{L"A", setup, Recording(L"tag:A /exit:5"), L"fmi"}, {L"B", setup, Recording(L"tag:B /exit:7"), L"fmi"}},
         5, {"A", "B"}, "App1 (A): failed, mandatory"},
        {"optional row without its file is skipped", {{L"A", missing, Recording(L"tag:A"), L"fi"}, {L"B", setup, Recording(L"tag:B"), L"fi"}},
         0, {"B"}, "App1 (A): setup file not found"},
        {"mandatory row without its file stops", {{L"A", missing, Recording(L"tag:A"), L"fmi"}, {L"B", setup, Recording(L"tag:B"), L"fi"}},
         ERROR_FILE_NOT_FOUND, {}, "Chain stopped at App1"},
        {"section without SetupFile", {{L"A", L"-", Recording(L"tag:A"), L"fmi"}, {L"B", setup, Recording(L"tag:B"), L"fi"}},
         ERROR_INVALID_DATA, {}, "App1 (A): no SetupFile"},
        {"file that is no program can't start", {{L"A", junk, L"", L"fi"}, {L"B", setup, Recording(L"tag:B"), L"fi"}},
         0xFFFFFFFF, {}, "App1 (A): could not start"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ::DeleteFileW(Record().c_str());
        ::DeleteFileW((mFolder + L"\\tvpackagechainer.log").c_str());
        WriteIni(c.rows, L"", mStop);
        const DWORD code = Run();
        if (c.exitCode == 0xFFFFFFFF)
            EXPECT_NE(code, 0u);
        else
            EXPECT_EQ(code, c.exitCode);
        EXPECT_EQ(Launches(), c.launched);
        EXPECT_NE(Log().find(c.logged), std::string::npos) << Log();
    }
}

TEST_F(Chainer, BadIniFilesEndWithADefinedCode) {
    // Missing altogether.
    EXPECT_EQ(Run(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_NE(Log().find("The .ini file is missing"), std::string::npos);
    // Without the byte-order mark.
    {
        std::ofstream out(Narrow(Ini()), std::ios::binary);
        out << "[PREREQUISITES]\r\nApp1=A\r\n";
    }
    EXPECT_EQ(Run(), static_cast<DWORD>(ERROR_INVALID_DATA));
    // Without PREREQUISITES.
    tv::IniDocument ini;
    ini.path = Ini();
    ini.Section(L"GeneralOptions").Set(L"Options", L"qh");
    ASSERT_TRUE(ini.Write());
    EXPECT_EQ(Run(), static_cast<DWORD>(ERROR_INVALID_DATA));
    EXPECT_NE(Log().find("No [PREREQUISITES] section"), std::string::npos);
}

TEST_F(Chainer, ValuesWithQuotesAndBlanksReachTheSetup) {
    const std::wstring marker = mFolder + L"\\a b.txt";
    WriteIni({{L"Quoted", Setup(), Recording(L"tag:Q /marker:\"" + marker + L"\""), L"fi"}}, L"", mStop);
    EXPECT_EQ(Run(), 0u);
    EXPECT_TRUE(::GetFileAttributesW(marker.c_str()) != INVALID_FILE_ATTRIBUTES);
    ::DeleteFileW(marker.c_str());
}

TEST_F(Chainer, CleanupRemovesOnlyWhatLiesBelowTheStopFolder) {
    const std::wstring fetched = mFolder + L"\\sub\\fetched.exe";
    const std::wstring outside = mStop + L"\\..\\" + tv::FileNameOf(mStop) + L"b\\x.exe";
    ::CreateDirectoryW((mFolder + L"\\sub").c_str(), nullptr);
    ::CreateDirectoryW((mStop + L"b").c_str(), nullptr);
    for (const std::wstring& path : {fetched, mStop + L"b\\x.exe", mStop + L"\\outside.txt"})
        std::ofstream(Narrow(path)) << "x";
    const std::wstring list = fetched + L'\x0001' + (mStop + L"b\\x.exe") + L'\x0001' + outside + L'\x0001' +
                              mStop + L"\\sub\\..\\..\\" + tv::FileNameOf(mStop) + L"\\outside.txt" + L'\x0001' +
                              L"" + L'\x0001' + fetched;
    const std::wstring log = mFolder + L"\\other.log";
    WriteIni({{L"A", Setup(), Recording(L"tag:A"), L"fi"}}, list, mFolder, log);
    EXPECT_EQ(Run(), 0u);
    EXPECT_EQ(::GetFileAttributesW(fetched.c_str()), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(::GetFileAttributesW((mFolder + L"\\sub").c_str()), INVALID_FILE_ATTRIBUTES);
    // The stop folder and everything beside or above it stay.
    EXPECT_NE(::GetFileAttributesW(mFolder.c_str()), INVALID_FILE_ATTRIBUTES);
    EXPECT_NE(::GetFileAttributesW((mStop + L"b\\x.exe").c_str()), INVALID_FILE_ATTRIBUTES);
    EXPECT_NE(::GetFileAttributesW((mStop + L"\\outside.txt").c_str()), INVALID_FILE_ATTRIBUTES);
    // The log went where LogFile said.
    EXPECT_NE(Log(log).find("App1 (A): ended with exit code 0"), std::string::npos);
}

// The .ini that ConfigurePrereqLauncher writes in a session, run by the
// launcher it extracted from the package.
class ChainerFromSession : public SessionTest {
protected:
    void SetUp() override {
        const std::string launcher = ReadText(TvDll::Folder() + L"\\tvpackagechainer.exe");
        ASSERT_FALSE(launcher.empty());
        mPackage.Row(L"Binary", {L"tvpackagechainer.exe", Stream{{launcher.begin(), launcher.end()}}});
        mPackage.Row(L"Binary", {L"file_deleter.ps1", Stream{{'#'}}});
        ::CreateDirectoryW((mScratch.path + L"\\setup").c_str(), nullptr);
        ::CopyFileW((TvDll::Folder() + L"\\fakesetup.exe").c_str(), (mScratch.path + L"\\setup\\fakesetup.exe").c_str(),
                    FALSE);
    }
    std::wstring Record() const { return mScratch.path + L"\\record.txt"; }
    ScratchFolder mScratch{L"-chainrun"};
};

}  // namespace

TEST_F(ChainerFromSession, RunsTheChainSilentlyAndRemovesTheFetchedFiles) {
    const std::wstring recording = L" /record:\"" + Record() + L"\" tag:";
    // Quiet letter, and a UILevel-driven one that takes the silent switch at
    // UILevel 2; a row already present (k) stays out of the chain.
    mPackage.Prereq({{L"PrereqKey", L"A"}, {L"DisplayName", L"Alpha"}, {L"Location", 0},
                     {L"TargetName", L"fakesetup.exe"}, {L"Options", L"q"}, {L"Sequence", 1},
                     {L"NoUiComLine", L"/very-quiet"}, {L"MissingCondition", L"1"},
                     {L"ComLine", L"[TV_PREREQ_UILEVEL_SWITCH]" + recording + L"A"}});
    mPackage.Prereq({{L"PrereqKey", L"B"}, {L"DisplayName", L"Beta"}, {L"Location", 0},
                     {L"TargetName", L"fakesetup.exe"}, {L"Options", L"nm"}, {L"Sequence", 2},
                     {L"BasicUiComLine", L"/basic"}, {L"NoUiComLine", L"/silent"}, {L"MissingCondition", L"1"},
                     {L"ComLine", L"[TV_PREREQ_UILEVEL_SWITCH]" + recording + L"B /exit:3010"}});
    mPackage.Prereq({{L"PrereqKey", L"K"}, {L"DisplayName", L"Kept out"}, {L"Location", 0},
                     {L"TargetName", L"fakesetup.exe"}, {L"Options", L"k"}, {L"Sequence", 3},
                     {L"MissingCondition", L"1"}, {L"ComLine", recording + L"K"}});
    Open();
    SetProperty(L"SourceDir", mScratch.path + L"\\setup\\");
    SetProperty(L"UILevel", L"2");
    SetProperty(L"TV_PREREQS_DIR", mScratch.path + L"\\prereqs\\");
    SetProperty(L"TV_PREREQDIRS", mScratch.path);
    // Files an earlier step fetched, and one outside the stop folder.
    mScratch.Make(L"prereqs\\fetched\\one.exe");
    const std::wstring fetched = mScratch.path + L"\\prereqs\\fetched\\one.exe";
    const std::wstring outside = mScratch.path + L"\\..\\" + tv::FileNameOf(mScratch.path) + L"-not-ours.txt";
    SetProperty(L"TV_PREREQFILES", fetched + L'\x0001' + outside);

    EXPECT_EQ(Call("ConfigurePrereqLauncher"), 0u);
    const std::wstring launcher = Property(L"TV_PREREQ_CHAINER");
    ASSERT_EQ(launcher, mScratch.path + L"\\prereqs\\tvpackagechainer.exe");
    EXPECT_EQ(RunLauncher(launcher, mScratch.path), 0u);

    EXPECT_EQ(TaggedLaunches(Record()), (std::vector<std::string>{"A", "B"}));
    const std::string record = ReadText(Record());
    EXPECT_NE(record.find("/very-quiet"), std::string::npos) << record;
    EXPECT_NE(record.find("/silent"), std::string::npos) << record;
    EXPECT_EQ(record.find("/basic"), std::string::npos) << record;
    EXPECT_FALSE(mScratch.Exists(L"prereqs\\fetched"));
    EXPECT_TRUE(mScratch.Exists(L"prereqs\\tvpackagechainer.ini"));
    const std::string log = ReadText(mScratch.path + L"\\prereqs\\tvpackagechainer.log");
    EXPECT_NE(log.find("App2 (Beta): ended with exit code 3010"), std::string::npos) << log;
    EXPECT_NE(log.find("left in place, not below"), std::string::npos) << log;
}

// The cleanup follows the last setup at once, while what it removes may
// still be held: the setup's file by a copy of itself left running for a
// moment, or the folder by someone who still has it open, as the system
// keeps an ended process's working folder for a moment. Both must go all
// the same.
TEST_F(Chainer, RemovesASetupAndItsFolderStillHeldForAMoment) {
    struct Case {
        const char* what;
        const wchar_t* arguments;
        bool holdFolder;
    };
    const Case cases[] = {
        {"file held by a copy of the setup", L"tag:H /spawn:1000", false},
        {"folder held open", L"tag:H", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ::DeleteFileW(Record().c_str());
        const std::wstring folder = mFolder + L"\\held";
        const std::wstring setup = folder + L"\\setup.exe";
        ::CreateDirectoryW(folder.c_str(), nullptr);
        ASSERT_TRUE(::CopyFileW(Setup().c_str(), setup.c_str(), FALSE));
        WriteIni({{L"Held", setup, Recording(c.arguments), L"fi"}}, setup, mStop);
        // Opened without sharing the deletion, as a working folder is; let go
        // half a second after the setup started, by when the cleanup has
        // met it.
        std::thread holder;
        if (c.holdFolder) {
            HANDLE held = ::CreateFileW(folder.c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                        nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
            ASSERT_NE(held, INVALID_HANDLE_VALUE);
            holder = std::thread([this, held] {
                for (int wait = 0; wait < 1500 && ::GetFileAttributesW(Record().c_str()) == INVALID_FILE_ATTRIBUTES; ++wait)
                    ::Sleep(20);
                ::Sleep(500);
                ::CloseHandle(held);
            });
        }
        EXPECT_EQ(Run(), 0u);
        if (holder.joinable()) holder.join();
        EXPECT_EQ(Launches(), (std::vector<std::string>{"H"}));
        EXPECT_EQ(::GetFileAttributesW(setup.c_str()), INVALID_FILE_ATTRIBUTES) << Log();
        EXPECT_EQ(::GetFileAttributesW(folder.c_str()), INVALID_FILE_ATTRIBUTES) << Log();
        // Whatever a failed case left, once the copy has ended.
        ::Sleep(1200);
        ::DeleteFileW(setup.c_str());
        ::RemoveDirectoryW(folder.c_str());
    }
}
