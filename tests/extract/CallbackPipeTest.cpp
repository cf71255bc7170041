// The callback pipe on its own: numbers, framing and the ends of a
// conversation, with the peer's end held by the test itself.
#include <string>
#include <thread>
#include <vector>
#include "Harness.h"
#include "extract/CallbackPipe.h"
#include "frame/DebugLog.h"

using namespace tvtest;
using tv::CallbackPipe;

namespace {

// The peer's end, on a thread of its own since every reply is flushed
// until the peer has read it: it sends each message, reads the number of
// replies given, and closes its end once `release` is set.
struct PeerThread {
    struct Step {
        std::wstring text;
        int replies;
    };
    PeerThread(const std::wstring& id, std::vector<Step> steps)
        : release(::CreateEventW(nullptr, TRUE, FALSE, nullptr)),
          thread([this, id, steps] {
              tv::KernelHandle end(::CreateFileW(CallbackPipe::PipeName(id).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                                 nullptr, OPEN_EXISTING, 0, nullptr));
              for (const Step& step : steps) {
                  DWORD count = 0;
                  ::WriteFile(end.Get(), step.text.data(), static_cast<DWORD>(step.text.size() * sizeof(wchar_t)),
                              &count, nullptr);
                  for (int i = 0; i < step.replies; ++i) {
                      wchar_t buffer[64] = {};
                      if (!::ReadFile(end.Get(), buffer, sizeof(buffer) - sizeof(wchar_t), &count, nullptr)) count = 0;
                      replies.emplace_back(buffer, count / sizeof(wchar_t));
                  }
              }
              ::WaitForSingleObject(release.Get(), 10000);
          }) {}
    ~PeerThread() {
        ::SetEvent(release.Get());
        if (thread.joinable()) thread.join();
    }
    tv::KernelHandle release;
    std::vector<std::wstring> replies;
    std::thread thread;
};

std::wstring UniqueId() { return L"test" + std::to_wstring(::GetCurrentProcessId()) + L"_" + std::to_wstring(::GetTickCount()); }

}  // namespace

TEST(CallbackPipe, NumbersAndTheirSixtyFourBitPairs) {
    const struct { const wchar_t* text; int value; } numbers[] = {
        {L"0", 0}, {L"", 0}, {L"42", 42}, {L"-17", -17}, {L"12ab", 12}, {L"ab12", 0}, {L"+5", 0},
        {L"2147483648", -2147483647 - 1}, {L"4294967297", 1}, {L"-", 0}, {L"CLOSE", 0},
    };
    for (const auto& c : numbers) EXPECT_EQ(CallbackPipe::ParseNumber(c.text), c.value) << c.text;
    const struct { int low, high; long long value; } pairs[] = {
        {-1, 0, -1}, {-1, 1, 4294967295LL}, {5, 0, 5}, {0, 1, 4294967296LL},
        {-2147483647 - 1, 0, -2147483648LL}, {7, 2, 8589934599LL},
    };
    for (const auto& c : pairs) EXPECT_EQ(CallbackPipe::Combine(c.low, c.high), c.value) << c.low << " " << c.high;
}

TEST_F(SessionTest, CallbackPipeServerReadsRepliesAndSeesThePeerGo) {
    mPackage.Property(L"P", L"1");
    Open();
    DebugLogSwitch logSwitch;
    tv::DebugLog::Instance().Init(mSession, L"PipeTest");
    const std::wstring id = UniqueId();
    CallbackPipe server;
    ASSERT_TRUE(server.Init(true, id));
    EXPECT_TRUE(server.Init(true, L"other"));  // open already: nothing happens, nothing logged
    PeerThread peer(id, {{L"184549376", 1}, {L"-1", 1}, {L"1", 1}, {L"", 1}, {L"C:\\some\\path", 1},
                         {std::wstring(20000, L'7'), 2}, {L"CLOSE", 1}, {L"CLOSE", 0}});
    int value = -5;
    EXPECT_TRUE(server.ReadNumber(value));  // the first connect, then 535 from the second read on
    EXPECT_EQ(value, 184549376);
    server.SendOk();
    long long pair = 0;
    // The high word comes after the OK to the low word.
    EXPECT_TRUE(server.ReadNumber64(pair));
    EXPECT_EQ(pair, 4294967295LL);
    server.SendOk();
    EXPECT_TRUE(server.ReadNumber(value));
    EXPECT_EQ(value, 0);
    server.SendOk();
    std::wstring text;
    EXPECT_FALSE(server.ReadText(text));
    EXPECT_EQ(text, L"C:\\some\\path");
    server.SendOk();
    // A message too long for one read is dropped as empty text; its
    // remainder arrives as the next message.
    EXPECT_TRUE(server.ReadNumber(value));
    EXPECT_EQ(value, 0);
    server.SendOk();
    EXPECT_TRUE(server.ReadNumber(value));
    server.SendOk();
    EXPECT_FALSE(server.PeerGone());
    EXPECT_TRUE(server.ReadText(text));
    server.SendClose();
    value = 9;
    EXPECT_FALSE(server.ReadNumber(value));
    EXPECT_EQ(value, 0);
    EXPECT_FALSE(server.PeerGone());
    ::SetEvent(peer.release.Get());
    peer.thread.join();
    EXPECT_EQ(peer.replies, (std::vector<std::wstring>{L"OK", L"OK", L"OK", L"OK", L"OK", L"OK", L"OK", L"CLOSE"}));
    // The peer's end is closed: the conversation is over instead of reading
    // empty messages for ever.
    value = 3;
    EXPECT_FALSE(server.ReadNumber(value));
    EXPECT_TRUE(server.PeerGone());
    text = L"x";
    server.ReadText(text);
    EXPECT_EQ(text, L"");
    int inited = 0;
    for (const std::wstring& line : mMessages.LogLines()) inited += line == L"PipeTest: Pipe Inited: [true]";
    EXPECT_EQ(inited, 1);
}
