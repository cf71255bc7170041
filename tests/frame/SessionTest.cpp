// Reading and formatting through a real session.
#include "Harness.h"
#include "frame/Session.h"

using namespace tvtest;

namespace {
class Session : public SessionTest {};
}  // namespace

TEST_F(Session, PropertiesOfAnyLengthReadWhole) {
    const std::wstring longValue(70000, L'w');
    const std::wstring cases[] = {L"", L"a", L"value with [brackets]", longValue};
    Open();
    for (const auto& value : cases) {
        SetProperty(L"TESTPROP", value);
        EXPECT_EQ(tv::GetProperty(mSession, L"TESTPROP"), value);
    }
    EXPECT_EQ(tv::GetProperty(mSession, L"NEVERSET"), L"");
    EXPECT_EQ(tv::GetProperty(0, L"ProductName"), L"");
}

TEST_F(Session, BufferFreesItsOldValue) {
    Open();
    SetProperty(L"TESTPROP", L"new");
    tv::CharBuffer buffer;
    buffer.Allocate(10);
    wcscpy(buffer.Data(), L"old");
    EXPECT_TRUE(tv::GetPropertyBuffer(mSession, L"TESTPROP", buffer));
    EXPECT_EQ(buffer.Text(), L"new");
    EXPECT_FALSE(tv::GetPropertyBuffer(0, L"TESTPROP", buffer));
    EXPECT_EQ(buffer.Data(), nullptr);
    EXPECT_EQ(buffer.Text(), L"");
}

TEST_F(Session, FormatTextExpandsTheInstallersReferences) {
    struct Case {
        std::wstring text;
        std::wstring formatted;
    };
    const std::wstring longValue(5000, L'z');
    const Case cases[] = {
        {L"", L""},
        {L"plain", L"plain"},
        {L"[ProductName] setup", L"TV Test Product setup"},
        {L"[NOTSET]x", L"x"},
        {L"/q [LONG]", L"/q " + longValue},
        {L"[[NAMEPROP]]", L"TV Test Product"},
    };
    Open();
    SetProperty(L"LONG", longValue);
    SetProperty(L"NAMEPROP", L"ProductName");
    for (const Case& c : cases) EXPECT_EQ(tv::FormatText(mSession, c.text), c.formatted) << Narrow(c.text);
}
