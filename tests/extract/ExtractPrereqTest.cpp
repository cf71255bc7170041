// ExtractPrereq with our own stand-in for the setup executable at the other
// end of the callback pipe: the arguments, the conversation message by
// message, cancel, a peer that goes away, stalls or lies, and the
// disk-space prompt.
#include "PeerFixture.h"
#include "extract/PrereqExtractor.h"
#include "frame/DebugLog.h"
#include "frame/PrereqProgress.h"

using namespace tvtest;

namespace {

class ExtractFromSetup : public PeerTest {
protected:
    void OpenWithPeer() {
        Open();
        SetProperty(L"TV_SETUPEXEPATH", Setup());
        mMessages.Clear();
    }
    std::string Args() const {
        return "args: /groupsextract:103;107; /out:\"" + Narrow(Out()) +
               "\" /callbackid:" + std::to_string(::GetCurrentProcessId());
    }
    std::wstring Noted() const { return Property(L"TV_PREREQFILES"); }
};

const std::string kTotal = "> 184549376";
const std::string kProgress = "> 167772160";
const std::string kGroup = "> 134217728";
const std::string kFile = "> 150994944";

}  // namespace

TEST_F(ExtractFromSetup, GroupsFilesProgressAndActionText) {
    AddRow(L"Three", 3, L"group103.bin");
    AddRow(L"Seven", 7, L"group107.bin");
    OpenWithPeer();
    DebugLogSwitch logSwitch;
    EXPECT_EQ(Call("ExtractPrereq"), 0u);

    const std::string f103 = Narrow(Out()) + "\\group103.bin";
    const std::string f107 = Narrow(Out()) + "\\group107.bin";
    // Each file is 64 lines of "extracted <name>\n", 23 bytes: 1472 bytes.
    const Lines expected = {Args(),
                            kTotal, "< OK", "> 2944", "< OK", "> 0", "< OK",
                            kGroup, "< OK", "> 103", "< OK",
                            kProgress, "< OK", "> 1472", "< OK", "> 0", "< OK",
                            kFile, "< OK", "> " + f103, "< OK",
                            kGroup, "< OK", "> 107", "< OK",
                            kProgress, "< OK", "> 2944", "< OK", "> 0", "< OK",
                            kFile, "< OK", "> " + f107, "< OK",
                            "> CLOSE", "done"};
    EXPECT_EQ(Transcript(), expected);
    EXPECT_EQ(Noted(), Out() + L"\\group103.bin\x0001" + Out() + L"\\group107.bin");
    EXPECT_EQ(ReadBytes(Out() + L"\\group107.bin").substr(0, 23), "extracted group107.bin\n");
    EXPECT_EQ(Fields(INSTALLMESSAGE_ACTIONSTART, 1), (Strings{L"TV_ExtractPrereq"}));
    EXPECT_EQ(Fields(INSTALLMESSAGE_ACTIONDATA, 1), (Strings{L"Extracting Three", L"Extracting Seven"}));
    // The bar is the caller's, planned as two steps: no reset, the
    // conversation moves one step's ticks and the end fills the rest.
    EXPECT_EQ(Progress(), (Strings{L"1 1 0", L"0 4096 0", L"2 1024 0", L"2 1024 0", L"2 2048 0"}));
    EXPECT_TRUE(HasLogLine(L"TV_ExtractPrereq: exeCmd: [/groupsextract:103;107; /out:\"" + Out() + L"\" /callbackid:"));
    EXPECT_TRUE(HasLogLine(L"TV_ExtractPrereq: exePath: [" + Setup() + L"]"));
    EXPECT_TRUE(HasLogLine(L"TV_ExtractPrereq: Pipe Inited: [true]"));

    // The files are there now: nothing is left to extract, nobody is started.
    mMessages.Clear();
    ::DeleteFileW((Setup() + L".transcript").c_str());
    EXPECT_EQ(Call("ExtractPrereq"), 0u);
    EXPECT_TRUE(Transcript().empty());
}

TEST_F(ExtractFromSetup, LiesAndOddsGetTheirAnswersAndNothingOutsideIsNoted) {
    AddRow(L"Only", 0, L"group100.bin");
    Script({"progress 500",  // before any total: no scale, nothing shown
            "total 4096", "group 999", "group 100", "msg 12345", "msg text for an unknown type",
            "msg 150994944", "msg \\\\?\\%out%\\long.bin", "note C:\\windows\\win.ini", "note %out%\\..\\escape.bin",
            "msg not-a-number", "msg ignored", "big 20000", "progress 2048", "progress 100000", "close"});
    OpenWithPeer();
    DebugLogSwitch logSwitch;
    EXPECT_EQ(Call("ExtractPrereq"), 0u);
    const Lines expected = {"args: /groupsextract:100; /out:\"" + Narrow(Out()) + "\" /callbackid:" +
                                std::to_string(::GetCurrentProcessId()),
                            kProgress, "< OK", "> 500", "< OK", "> 0", "< OK",
                            kTotal, "< OK", "> 4096", "< OK", "> 0", "< OK",
                            kGroup, "< OK", "> 999", "< OK",
                            kGroup, "< OK", "> 100", "< OK",
                            "> 12345", "< OK", "> text for an unknown type", "< OK",
                            kFile, "< OK", "> \\\\?\\" + Narrow(Out()) + "\\long.bin", "< OK",
                            kFile, "< OK", "> C:\\windows\\win.ini", "< OK",
                            kFile, "< OK", "> " + Narrow(Out()) + "\\..\\escape.bin", "< OK",
                            "> not-a-number", "< OK", "> ignored", "< OK",
                            "> (20000 chars)", "< OK",
                            kProgress, "< OK", "> 2048", "< OK", "> 0", "< OK",
                            kProgress, "< OK", "> 100000", "< OK", "> 0", "< OK",
                            "> CLOSE", "done"};
    EXPECT_EQ(Transcript(), expected);
    // Only the name inside the folder is noted, without its long prefix.
    EXPECT_EQ(Noted(), Out() + L"\\long.bin");
    EXPECT_TRUE(HasLogLine(L"Not noted, outside the extraction folder: [C:\\windows\\win.ini]"));
    // The unknown group shows nothing; the one step has all 4096 ticks:
    // half at 2048 bytes, the rest at a count past the total.
    EXPECT_EQ(Fields(INSTALLMESSAGE_ACTIONDATA, 1), (Strings{L"Extracting Only"}));
    EXPECT_EQ(Progress(), (Strings{L"1 1 0", L"0 4096 0", L"2 2048 0", L"2 2048 0"}));
}

TEST_F(ExtractFromSetup, CancelSendsCloseAndTheConversationRunsToThePeersEnd) {
    AddRow(L"Three", 3, L"group103.bin");
    AddRow(L"Seven", 7, L"group107.bin");
    OpenWithPeer();
    // The reset passes; the first ticks are cancelled, and so is every
    // later record, as a host answers once the user has cancelled.
    mMessages.Answer(INSTALLMESSAGE_PROGRESS, {1});
    mMessages.DefaultAnswer(IDCANCEL);
    tv::PrereqProgress progress(mSession);
    tv::PrereqExtractor extractor(mSession, Out(), progress);
    std::vector<tv::Prerequisite> rows = {{{L"Sequence", L"3"}, {L"DisplayName", L"Three"}},
                                          {{L"Sequence", L"7"}, {L"DisplayName", L"Seven"}}};
    EXPECT_EQ(extractor.ExtractFromSetup(rows), 1u);
    // The peer stops at the CLOSE, finishes the file it wrote and ends.
    const Lines transcript = Transcript();
    ASSERT_GE(transcript.size(), 10u);
    EXPECT_EQ(Lines(transcript.end() - 10, transcript.end()),
              (Lines{"> 1472", "< OK", "> 0", "< CLOSE", kFile, "< OK", "> " + Narrow(Out()) + "\\group103.bin",
                     "< OK", "> CLOSE", "done"}));
    EXPECT_TRUE(progress.IsCancelled());
    // No step was planned: the conversation reset the bar to 4096 itself.
    EXPECT_EQ(Progress(), (Strings{L"0 4096 0", L"2 2048 0", L"2 2048 0"}));

    // After its own CLOSE the library still answers until the peer's CLOSE.
    Script({"total 100", "progress 50", "msg 1", "msg after", "group 103", "close"});
    mMessages.Clear();
    mMessages.Answer(INSTALLMESSAGE_PROGRESS, {1});
    tv::PrereqProgress second(mSession);
    tv::PrereqExtractor again(mSession, Out(), second);
    EXPECT_EQ(again.ExtractFromSetup(rows), 1u);
    EXPECT_EQ(Conversation(), (Lines{kTotal, "< OK", "> 100", "< OK", "> 0", "< OK", kProgress, "< OK", "> 50", "< OK",
                                     "> 0", "< CLOSE", "> 1", "< OK", "> after", "< OK", kGroup, "< OK", "> 103",
                                     "< OK", "> CLOSE", "done"}));
}

TEST_F(ExtractFromSetup, APeerThatVanishesStallsOrNeverComesEndsTheConversation) {
    AddRow(L"Three", 3, L"group103.bin");
    OpenWithPeer();
    const struct {
        const char* name;
        Lines script;
        size_t minMs;
    } cases[] = {
        {"vanishes between words", {"total 8192", "msg 167772160", "msg 4096", "vanish"}, 0},
        {"vanishes inside a path", {"msg 150994944", "vanish"}, 0},
        {"stalls, then goes on", {"total 100", "sleep 1500", "progress 100", "close"}, 1500},
        {"stalls, then vanishes", {"total 100", "sleep 1500", "exit 7", "vanish"}, 1500},
        {"never connects", {"exit 3", "noconnect"}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Script(c.script);
        mMessages.Clear();
        tv::PrereqProgress progress(mSession);
        tv::PrereqExtractor extractor(mSession, Out(), progress);
        const DWORD start = ::GetTickCount();
        EXPECT_EQ(extractor.ExtractFromSetup({{{L"Sequence", L"3"}, {L"DisplayName", L"Three"}}}), 0u);
        const DWORD took = ::GetTickCount() - start;
        EXPECT_GE(took + 50, c.minMs);
        EXPECT_LT(took, 15000u);
    }
    // With a total given, what the peer didn't report still fills the bar.
    Script({"total 8192", "progress 2048", "vanish"});
    mMessages.Clear();
    tv::PrereqProgress progress(mSession);
    tv::PrereqExtractor extractor(mSession, Out(), progress);
    extractor.ExtractFromSetup({{{L"Sequence", L"3"}}});
    EXPECT_EQ(Progress(), (Strings{L"0 4096 0", L"2 1024 0", L"2 3072 0"}));
}

TEST_F(ExtractFromSetup, OutOfDiskSpaceIsAskedUntilThereIsRoomOrTheUserGivesUp) {
    AddRow(L"Three", 3, L"group103.bin");
    // 2^50 bytes are never free; 1024 bytes always are.
    Script({"disk \\\\?\\%out% 1125899906842624", "disk %out% 1024", "close"});
    OpenWithPeer();
    ::CreateDirectoryW(Out().c_str(), nullptr);
    const UINT prompt = 0x01000005;
    // Retry twice on the first prompt, then give up; retry on the second.
    mMessages.Answer(prompt, {IDRETRY, IDRETRY, IDCANCEL, IDRETRY});
    tv::PrereqProgress progress(mSession);
    tv::PrereqExtractor extractor(mSession, Out(), progress);
    EXPECT_EQ(extractor.ExtractFromSetup({{{L"Sequence", L"3"}}}), 0u);
    EXPECT_EQ(Conversation(),
              (Lines{"> 117440512", "< OK", "> \\\\?\\" + Narrow(Out()), "< OK", "> 0", "< OK", "> 262144", "< CLOSE",
                     "> 117440512", "< OK", "> " + Narrow(Out()), "< OK", "> 1024", "< OK", "> 0", "< OK",
                     "> CLOSE", "done"}));
    const auto prompts = mMessages.OfType(prompt);
    ASSERT_EQ(prompts.size(), 4u);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(prompts[i].Field(1), L"1601");
        EXPECT_EQ(prompts[i].Field(2), Out());  // shown without the long prefix
        EXPECT_EQ(prompts[i].Field(3), L"1099511627776");
        EXPECT_FALSE(prompts[i].Field(4).empty());
    }
    EXPECT_EQ(prompts[3].Field(3), L"1");
}

TEST_F(ExtractFromSetup, FindingTheExecutable) {
    AddRow(L"Three", 3, L"group103.bin");
    mPackage.Row(L"CustomAction", {L"TV_FindExeLzma", 51, L"TV_SETUPEXEPATH", L"[FOUND_EXE]"});
    Open();
    DebugLogSwitch logSwitch;
    tv::DebugLog::Instance().Init(mSession, L"Find");
    tv::PrereqProgress progress(mSession);
    tv::PrereqExtractor extractor(mSession, Out(), progress);
    const std::vector<tv::Prerequisite> rows = {{{L"Sequence", L"3"}}};
    // The action finds nothing, or names a file that isn't there: quiet, no pipe.
    for (const std::wstring found : {L"", L"C:\\nowhere\\setup.exe"}) {
        SetProperty(L"FOUND_EXE", found);
        SetProperty(L"TV_SETUPEXEPATH", L"");
        mMessages.Clear();
        EXPECT_EQ(extractor.ExtractFromSetup(rows), 0u);
        EXPECT_TRUE(HasLogLine(L"Find: exePath: [" + found + L"]"));
        EXPECT_FALSE(HasLogLine(L"Pipe Inited"));
    }
    SetProperty(L"FOUND_EXE", Setup());
    SetProperty(L"TV_SETUPEXEPATH", L"");
    EXPECT_EQ(extractor.ExtractFromSetup(rows), 0u);
    EXPECT_EQ(Transcript().front(), "args: /groupsextract:103; /out:\"" + Narrow(Out()) + "\" /callbackid:" +
                                        std::to_string(::GetCurrentProcessId()));
    EXPECT_EQ(Property(L"TV_PREREQFILES"), Out() + L"\\group103.bin");
}

TEST_F(ExtractFromSetup, AnExtractedPrerequisiteIsThenInstalled) {
    // The executable carries fakesetup.exe as group 101.
    ::CopyFileW((TvDll::Folder() + L"\\fakesetup.exe").c_str(), (mFolder + L"\\fakesetup.exe").c_str(), FALSE);
    Script({"payload 101 fakesetup.exe fakesetup.exe", "auto"});
    const std::wstring record = mFolder + L"\\record.txt";
    mPackage.Prereq({{L"PrereqKey", L"Carried"}, {L"DisplayName", L"Carried"}, {L"Sequence", 1}, {L"Location", 0},
                     {L"TargetName", L"fakesetup.exe"}, {L"MissingCondition", L"NOT CARRIED_RET"},
                     {L"Options", L"y"}, {L"RetValPropName", L"CARRIED_RET"},
                     {L"ComLine", L"/record:\"" + record + L"\" /exit:0"}});
    OpenWithPeer();
    EXPECT_EQ(Call("ExtractPrereq"), 0u);
    EXPECT_EQ(Property(L"TV_PREREQFILES"), Out() + L"\\fakesetup.exe");
    EXPECT_EQ(Call("InstallPrePrereq"), 0u);
    EXPECT_EQ(Property(L"CARRIED_RET"), L"0");
    const std::string launched = ReadBytes(record);
    EXPECT_NE(launched.find(Narrow(Out()) + "\\fakesetup.exe"), std::string::npos) << launched;
}
