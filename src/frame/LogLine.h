#pragma once
#include <cwchar>
#include <string>
#include <string_view>

namespace tv {

// Builds the text of one diagnostic line. Numbers are written in decimal
// with the width of their own type, so a DWORD error code never shows a sign.
class LogLine {
public:
    LogLine& operator<<(std::wstring_view text) { mText.append(text); return *this; }
    LogLine& operator<<(const wchar_t* text) { if (text) mText.append(text); return *this; }
    LogLine& operator<<(wchar_t c) { mText.push_back(c); return *this; }
    LogLine& operator<<(int value) { return Number(L"%d", value); }
    LogLine& operator<<(unsigned value) { return Number(L"%u", value); }
    LogLine& operator<<(long value) { return Number(L"%ld", value); }
    LogLine& operator<<(unsigned long value) { return Number(L"%lu", value); }
    LogLine& operator<<(long long value) { return Number(L"%lld", value); }
    LogLine& operator<<(unsigned long long value) { return Number(L"%llu", value); }

    const std::wstring& Text() const noexcept { return mText; }

private:
    template <class T>
    LogLine& Number(const wchar_t* format, T value) {
        wchar_t digits[32];
        int n = std::swprintf(digits, 32, format, value);
        if (n > 0) mText.append(digits, static_cast<size_t>(n));
        return *this;
    }
    std::wstring mText;
};

}  // namespace tv
