#include "chainer/ChainerLog.h"
#include <cstdio>
#include "platform/Utf8.h"

namespace tv {

namespace {

}  // namespace

void ChainerLog::Open(const std::wstring& path) {
    KernelHandle file(::CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return;
    mFile = std::move(file);
    mPath = path;
    std::string pending;
    pending.swap(mPending);
    Append(pending);
}

void ChainerLog::Line(const std::wstring& text) {
    SYSTEMTIME now{};
    ::GetLocalTime(&now);
    char stamp[32];
    std::snprintf(stamp, sizeof(stamp), "%04u-%02u-%02u %02u:%02u:%02u ", now.wYear, now.wMonth, now.wDay,
                  now.wHour, now.wMinute, now.wSecond);
    Append(stamp + ToUtf8(text) + "\r\n");
}

void ChainerLog::Append(const std::string& utf8) {
    if (utf8.empty()) return;
    if (!mFile) {
        mPending += utf8;
        return;
    }
    DWORD written = 0;
    ::WriteFile(mFile.Get(), utf8.data(), static_cast<DWORD>(utf8.size()), &written, nullptr);
}

}  // namespace tv
