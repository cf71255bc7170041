// The library's own log object, bound to a real session.
#include <atomic>
#include <thread>
#include "Harness.h"
#include "frame/DebugLog.h"

using namespace tvtest;

namespace {

class Log : public SessionTest {
protected:
    tv::DebugLog& mLog = tv::DebugLog::Instance();
};

}  // namespace

TEST_F(Log, SendsOnlyWithAtomSessionAndNoEmbeddedCall) {
    struct Case {
        bool atom;
        bool session;
        const wchar_t* embedded;  // value of TvEmbeddedDirectCall, null: unset
        const wchar_t* prefix;
        std::vector<std::wstring> lines;
    };
    const Case cases[] = {
        {false, true, nullptr, L"TV_A", {}},
        {true, false, nullptr, L"TV_A", {}},
        {true, true, nullptr, L"TV_A", {L"TV_A: line 7"}},
        {true, true, L"1", L"TV_A", {}},
        {true, true, L"", L"TV_A", {L"TV_A: line 7"}},
        {true, true, nullptr, L"", {L"line 7"}},
    };
    Open();
    for (const Case& c : cases) {
        SCOPED_TRACE(Narrow(c.prefix) + (c.atom ? " atom" : "") + (c.session ? " session" : ""));
        SetProperty(L"TvEmbeddedDirectCall", c.embedded ? c.embedded : L"");
        mMessages.Clear();
        {
            std::unique_ptr<DebugLogSwitch> atom(c.atom ? new DebugLogSwitch : nullptr);
            mLog.Init(c.session ? mSession : 0, c.prefix);
            TV_LOG(L"line " << 7);
        }
        EXPECT_EQ(mMessages.LogLines(), c.lines);
    }
}

TEST_F(Log, AtomIsLookedUpAgainAtEachInit) {
    Open();
    mLog.Init(mSession, L"TV_First");
    TV_LOG(L"before");
    {
        DebugLogSwitch atom;
        TV_LOG(L"atom made, no Init yet");
        mLog.Init(mSession, L"TV_Second");
        TV_LOG(L"after");
    }
    EXPECT_EQ(mMessages.LogLines(), std::vector<std::wstring>{L"TV_Second: after"});
    mLog.Init(mSession, L"TV_Third");
    EXPECT_FALSE(mLog.IsEnabled());
}

TEST_F(Log, TextIsNotBuiltWhileDisabled) {
    Open();
    mLog.Init(mSession, L"TV_A");
    int built = 0;
    auto count = [&] { ++built; return L"x"; };
    TV_LOG(count());
    EXPECT_EQ(built, 0);
    DebugLogSwitch atom;
    mLog.Init(mSession, L"TV_A");
    TV_LOG(count());
    EXPECT_EQ(built, 1);
}

TEST_F(Log, PrefixReplacedWhileAnotherThreadLogs) {
    DebugLogSwitch atom;
    Open();
    mLog.Init(mSession, L"TV_Long_Prefix_Of_The_First_Action");
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        while (!stop) TV_LOG(L"x");
    });
    for (int i = 0; i < 2000; ++i)
        mLog.Init(mSession, i % 2 ? L"TV_Long_Prefix_Of_The_First_Action" : L"TV_B");
    stop = true;
    writer.join();
    const auto lines = mMessages.LogLines();
    ASSERT_FALSE(lines.empty());
    for (const auto& line : lines)
        ASSERT_TRUE(line == L"TV_Long_Prefix_Of_The_First_Action: x" || line == L"TV_B: x") << Narrow(line);
}

TEST(LogLine, NumbersInTheirOwnTypesWidth) {
    EXPECT_EQ((tv::LogLine() << -5).Text(), L"-5");
    EXPECT_EQ((tv::LogLine() << 4294967295u).Text(), L"4294967295");
    EXPECT_EQ((tv::LogLine() << static_cast<unsigned long>(0xE0000005)).Text(), L"3758096389");
    EXPECT_EQ((tv::LogLine() << -9000000000LL).Text(), L"-9000000000");
    EXPECT_EQ((tv::LogLine() << L"a" << std::wstring(L"b") << 1 << L'c').Text(), L"ab1c");
}
