// The frame shared by the exports, driven from the library itself.
#include <new>
#include <stdexcept>
#include "Harness.h"
#include "frame/EntryFrame.h"

using namespace tvtest;

TEST(EntryFrame, AnExceptionBecomesAFailedAction) {
    EXPECT_EQ(tv::Guarded([]() -> UINT { throw std::runtime_error("boom"); }), 1603u);
    EXPECT_EQ(tv::Guarded([]() -> UINT { throw std::bad_alloc(); }), 1603u);
    EXPECT_EQ(tv::Guarded([]() -> UINT { throw 42; }), 1603u);
    EXPECT_EQ(tv::Guarded([]() -> UINT { return 1602; }), 1602u);
}

class Frame : public SessionTest {
protected:
    DebugLogSwitch mLog;
};

TEST_F(Frame, NamesTheActionBeforeTheWorkAndPassesItsResultOn) {
    Open();
    UINT result = tv::Framed(mSession, L"TV_Something", [] {
        TV_LOG(L"working " << 3);
        return 1602u;
    });
    EXPECT_EQ(result, 1602u);
    EXPECT_EQ(mMessages.LogLines(), std::vector<std::wstring>{L"TV_Something: working 3"});

    mMessages.Clear();
    EXPECT_EQ(tv::Framed(mSession, L"TV_Other", []() -> UINT { throw std::runtime_error("x"); }), 1603u);
    ASSERT_EQ(mMessages.LogLines().size(), 1u);
    EXPECT_EQ(mMessages.LogLines()[0].rfind(L"TV_Other: ", 0), 0u);
}
