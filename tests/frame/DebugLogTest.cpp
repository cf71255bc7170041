// The library's own log object, bound to a real session.
#include <thread>
#include "Harness.h"
#include "frame/DebugLog.h"

using namespace tvtest;
using Log = SessionTest;

TEST_F(Log, SendsOnlyWithAtomSessionAndNoEmbeddedCall) {
    // embedded: the value of TvEmbeddedDirectCall; the text is built only while enabled (atom and session).
    struct Case { bool atom, session; std::wstring embedded, prefix; std::vector<std::wstring> lines; };
    const Case cases[] = {
        {true, true, L"", L"TV_A", {L"TV_A: line 7"}},
        {false, true, L"", L"TV_A", {}},  // the atom is looked up again at each Init
        {true, false, L"", L"TV_A", {}},
        {true, true, L"1", L"TV_A", {}},
        {true, true, L"", L"", {L"line 7"}},
    };
    Open();
    for (const Case& c : cases) {
        SCOPED_TRACE(Narrow(c.prefix) + (c.atom ? " atom" : "") + (c.session ? " session " : " ") + Narrow(c.embedded));
        SetProperty(L"TvEmbeddedDirectCall", c.embedded);
        mMessages.Clear();
        int built = 0;
        auto seven = [&] { ++built; return 7; };
        {
            std::unique_ptr<DebugLogSwitch> atom(c.atom ? new DebugLogSwitch : nullptr);
            tv::DebugLog::Instance().Init(c.session ? mSession : 0, c.prefix);
            TV_LOG(L"line " << seven());
        }
        EXPECT_EQ(mMessages.LogLines(), c.lines);
        EXPECT_EQ(built, c.atom && c.session ? 1 : 0);
    }
}

TEST_F(Log, AtomCountsFromTheNextInitAndPrefixesChangeUnderAWritingThread) {
    const std::wstring prefixes[] = {L"TV_Long_Prefix_Of_The_First_Action", L"TV_B"};
    Open();
    tv::DebugLog::Instance().Init(mSession, L"TV_First");
    DebugLogSwitch atom;
    TV_LOG(L"atom made, no Init yet");  // not sent
    std::jthread writer([&](std::stop_token stop) { while (!stop.stop_requested()) TV_LOG(L"x"); });
    for (int i = 1; i <= 2000; ++i) tv::DebugLog::Instance().Init(mSession, prefixes[i % 2]);
    writer.request_stop();
    writer.join();
    const auto lines = mMessages.LogLines();
    ASSERT_FALSE(lines.empty());
    for (const auto& line : lines)
        ASSERT_TRUE(line == prefixes[0] + L": x" || line == prefixes[1] + L": x") << Narrow(line);
}

TEST(LogLine, NumbersInTheirOwnTypesWidth) {
    EXPECT_EQ((tv::LogLine() << static_cast<unsigned long>(0xE0000005)).Text(), L"3758096389");
    EXPECT_EQ((tv::LogLine() << L"a" << std::wstring(L"b") << -1 << L'c').Text(), L"ab-1c");
}
