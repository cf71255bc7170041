// ExtractSourceFiles against our stand-in for the setup executable, which
// holds the pipe this time: the relayed bar, step texts, cancel, a peer
// that goes away, and when the relay doesn't run at all.
#include "PeerFixture.h"

using namespace tvtest;

namespace {

class SourceRelay : public PeerTest {
protected:
    // The identifying text, unique per test so that pipes never meet.
    std::wstring Text() const { return L"relay-" + std::to_wstring(::GetCurrentProcessId()) + L"-" + mTag; }
    std::wstring mTag = std::to_wstring(::GetTickCount());
};

}  // namespace

TEST_F(SourceRelay, StepsTotalsAndCountsReachTheBar) {
    Script({"step 0 Copying files", "total 100", "progress 40", "progress 70", "step 1 Counting up", "progress 5",
            "progress 5", "total 8589934592", "progress 4294967296", "laststep 0 Done"});
    Open();
    // Blanks and the line feed around the text are not part of the name.
    SetProperty(L"TV_SETUPEXEPATH", L" " + Text() + L"\r\n");
    ASSERT_TRUE(StartRelayPeer(Text()));
    mMessages.Clear();
    EXPECT_EQ(Call("ExtractSourceFiles"), 0u);
    EXPECT_EQ(PeerExit(), 0u);
    EXPECT_EQ(Conversation(),
              (Lines{"< OK",
                     "> 218103808", "< OK", "> Copying files", "< OK", "> 0", "< OK",
                     "> 184549376", "< OK", "> 100", "< OK", "> 0", "< OK",
                     "> 167772160", "< OK", "> 40", "< OK", "> 0", "< OK",
                     "> 167772160", "< OK", "> 70", "< OK", "> 0", "< OK",
                     "> 218103808", "< OK", "> Counting up", "< OK", "> 1", "< OK",
                     "> 167772160", "< OK", "> 5", "< OK", "> 0", "< OK",
                     "> 167772160", "< OK", "> 5", "< OK", "> 0", "< OK",
                     "> 184549376", "< OK", "> 0", "< OK", "> 2", "< OK",
                     "> 167772160", "< OK", "> 0", "< OK", "> 1", "< OK",
                     "> 201326592", "< OK", "> Done", "< OK", "> 0", "< OK", "done"}));
    EXPECT_EQ(Fields(INSTALLMESSAGE_ACTIONSTART, 2), (Strings{L"Copying files", L"Counting up", L"Done"}));
    // Running totals become differences, increments pass as they are, and a
    // total past 31 bits is scaled down to fit.
    EXPECT_EQ(Progress(), (Strings{L"0 100 0", L"2 40", L"2 30", L"2 5", L"2 5", L"0 2147483647 0", L"2 1073741823"}));
}

TEST_F(SourceRelay, CancelAndAVanishedPeerEndTheRelay) {
    const struct {
        const char* name;
        Lines script;
        std::vector<int> answers;
        UINT result;
        Lines tail;
    } cases[] = {
        {"cancelled", {"total 100", "progress 50", "progress 60", "laststep 0 End"}, {1, IDCANCEL}, 2,
         {"> 167772160", "< OK", "> 50", "< OK", "> 0", "< CLOSE",
          "> 167772160", "< OK", "> 60", "< OK", "> 0", "< OK",
          "> 201326592", "< OK", "> End", "< OK", "> 0", "< OK", "done"}},
        {"vanished", {"total 100", "msg 167772160", "msg 50", "vanish"}, {}, 0,
         {"> 167772160", "< OK", "> 50", "< OK", "vanished"}},
        // CLOSE in place of the total's count ends the relay.
        {"total cut short", {"msg 184549376", "msg CLOSE"}, {}, 0, {"> 184549376", "< OK", "> CLOSE", "< (gone)"}},
    };
    Open();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        mTag = Widen(c.name).substr(0, 3) + std::to_wstring(::GetTickCount());
        Script(c.script);
        SetProperty(L"TV_SETUPEXEPATH", Text());
        ASSERT_TRUE(StartRelayPeer(Text()));
        mMessages.Clear();
        mMessages.Answer(INSTALLMESSAGE_PROGRESS, c.answers);
        const DWORD start = ::GetTickCount();
        EXPECT_EQ(Call("ExtractSourceFiles"), c.result);
        EXPECT_LT(::GetTickCount() - start, 15000u);
        PeerExit();
        const Lines conversation = Conversation();
        ASSERT_GE(conversation.size(), c.tail.size());
        EXPECT_EQ(Lines(conversation.end() - static_cast<long>(c.tail.size()), conversation.end()), c.tail);
    }
}

TEST_F(SourceRelay, WhenTheRelayDoesNotRun) {
    Script({"laststep 0 Done"});
    Open();
    const struct {
        const char* name;
        const wchar_t* lzma;
        const wchar_t* reinstall;
        bool exePath;
        bool customData;
        bool talks;
    } cases[] = {
        {"sources downloaded, nothing added", L"true", L"", true, false, false},
        {"sources downloaded, a repair", L"true", L"ALL", true, false, true},
        {"not exactly true", L"TRUE", L"", true, false, true},
        {"deferred: the text from CustomActionData", L"", L"", false, true, true},
        {"no text at all", L"", L"", false, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        mTag = std::to_wstring(::GetTickCount());
        SetProperty(L"TV_DOWNLOAD_LZMA", c.lzma);
        SetProperty(L"REINSTALL", c.reinstall);
        SetProperty(L"TV_SETUPEXEPATH", c.exePath ? Text() : L"");
        SetProperty(L"CustomActionData", c.customData ? Text() : L"");
        ASSERT_TRUE(StartRelayPeer(Text()));
        EXPECT_EQ(Call("ExtractSourceFiles"), 0u);
        // A peer nobody talked to is still waiting for its caller.
        EXPECT_EQ(::WaitForSingleObject(mPeer.Get(), c.talks ? 10000 : 300),
                  c.talks ? WAIT_OBJECT_0 : static_cast<DWORD>(WAIT_TIMEOUT));
        ::TerminateProcess(mPeer.Get(), 99);
        ::WaitForSingleObject(mPeer.Get(), 5000);
    }
    // Nobody listening at all: silent success.
    SetProperty(L"TV_DOWNLOAD_LZMA", L"");
    SetProperty(L"TV_SETUPEXEPATH", L"nobody-listens-here");
    EXPECT_EQ(Call("ExtractSourceFiles"), 0u);
}
