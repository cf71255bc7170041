// Reading and formatting through a real session.
#include "Harness.h"
#include "frame/Session.h"

using namespace tvtest;
using Session = SessionTest;

TEST_F(Session, PropertiesAndFormattedTextsOfAnyLengthReadWhole) {
    const std::wstring longValue(70000, L'w');
    Open();
    for (const std::wstring& value : {std::wstring(), std::wstring(L"a"), std::wstring(L"[brackets]"), longValue}) {
        SetProperty(L"TESTPROP", value);
        EXPECT_EQ(tv::GetProperty(mSession, L"TESTPROP"), value) << value.size();
    }
    EXPECT_EQ(tv::GetProperty(mSession, L"NEVERSET"), L"");
    // A buffer that held an old value ends with the new one, or with none.
    tv::CharBuffer buffer;
    wcscpy(buffer.Allocate(10), L"old");
    EXPECT_TRUE(tv::GetPropertyBuffer(mSession, L"ProductName", buffer));
    EXPECT_EQ(buffer.Text(), L"TV Test Product");
    EXPECT_FALSE(tv::GetPropertyBuffer(0, L"ProductName", buffer));
    EXPECT_EQ(buffer.Data(), nullptr);

    // Formatting is the installer's, whatever the length.
    const std::pair<std::wstring, std::wstring> cases[] = {
        {L"", L""},
        {L"[ProductName] setup", L"TV Test Product setup"},
        {L"/q [TESTPROP]", L"/q " + longValue},
    };
    for (const auto& [text, formatted] : cases) EXPECT_EQ(tv::FormatText(mSession, text), formatted) << Narrow(text);
}
