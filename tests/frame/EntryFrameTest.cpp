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
