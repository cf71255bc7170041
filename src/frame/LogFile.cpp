#include "frame/LogFile.h"
#include <cpuid.h>
#include <shlobj.h>
#include <shlwapi.h>
#include <cstdio>
#include "frame/OsInfo.h"
#include "platform/AccessList.h"
#include "platform/CoTaskMemory.h"

namespace tv {

// Constant-initialized, so that a build's switch may raise `active` from any
// translation unit's initializer.
constinit FileLog gLogFile;

FileLog::~FileLog() {
    if (active) Write(L"=====================End of Log=====================\r\n");
}

LogFile::~LogFile() {
    if (mInitialized.load() == 2) ::DeleteCriticalSection(&mLock);
}

void LogFile::EnsureLock() {
    unsigned char state = mInitialized.load(std::memory_order_acquire);
    if (state == 2) return;
    unsigned char expected = 0;
    if (mInitialized.compare_exchange_strong(expected, 1)) {
        ::InitializeCriticalSection(&mLock);
        mInitialized.store(2, std::memory_order_release);
        return;
    }
    while (mInitialized.load(std::memory_order_acquire) != 2) ::Sleep(0);
}

void LogFile::SetEnabled(bool enabled) {
    EnsureLock();
    ::EnterCriticalSection(&mLock);
    mEnabled.store(enabled, std::memory_order_relaxed);
    ::LeaveCriticalSection(&mLock);
}

}  // namespace tv

namespace tv {

namespace {

std::wstring Printed(const wchar_t* format, auto... values) {
    wchar_t text[160];
    const int n = std::swprintf(text, 160, format, values...);
    return n > 0 ? std::wstring(text, static_cast<size_t>(n)) : std::wstring();
}

std::wstring ProcessorBrand() {
    if (__get_cpuid_max(0x80000000, nullptr) < 0x80000004) return L"UnkownCPU";
    unsigned int words[12] = {};
    for (unsigned int i = 0; i < 3; ++i) __cpuid(0x80000002 + i, words[4 * i], words[4 * i + 1], words[4 * i + 2], words[4 * i + 3]);
    const char* brand = reinterpret_cast<const char*>(words);
    std::wstring text;
    for (size_t i = 0; i < sizeof(words) && brand[i]; ++i) text.push_back(static_cast<unsigned char>(brand[i]));
    return text;
}

std::wstring HostPath() {
    wchar_t buffer[MAX_PATH] = {};
    const DWORD n = ::GetModuleFileNameW(nullptr, buffer, MAX_PATH);
    return std::wstring(buffer, n < MAX_PATH ? n : 0);
}

}  // namespace

void LogFile::Write(const std::wstring& text) {
    EnsureLock();
    ::EnterCriticalSection(&mLock);
    OpenFile();
    SYSTEMTIME now{};
    ::GetLocalTime(&now);
    WritePiece(Printed(L"%04d-%02d-%02d %02d-%02d-%02d", now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute,
                       now.wSecond));
    WritePiece(L"-");
    WritePiece(text);
    WritePiece(L"\r\n");
    ::LeaveCriticalSection(&mLock);
}

void LogFile::Close() {
    EnsureLock();
    ::EnterCriticalSection(&mLock);
    file.Reset();
    ::LeaveCriticalSection(&mLock);
}

void LogFile::WritePiece(const void* data, DWORD bytes) {
    DWORD written = 0;
    if (!file || !::WriteFile(file.Get(), data, bytes, &written, nullptr)) return;
    ::FlushFileBuffers(file.Get());
}

void LogFile::WritePiece(const std::wstring& text) {
    WritePiece(text.data(), static_cast<DWORD>(text.size() * sizeof(wchar_t)));
}

void LogFile::OpenFile() {
    if (file) return;
    DWORD lastError = 0;
    for (int attempt = 0;;) {
        if (path.empty() && !ChooseLocation(attempt++)) break;
        HANDLE opened = ::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        lastError = ::GetLastError();
        if (opened != INVALID_HANDLE_VALUE) {
            file.Reset(opened);
            break;
        }
        ::OutputDebugStringW((L"LOGGER->failed to create LOG at:" + path).c_str());
        path.clear();
    }
    if (!file) return;
    if (lastError == ERROR_ALREADY_EXISTS) {
        ::OutputDebugStringW((L"LOGGER->Reusing LOG file at:" + path + L"\r\n").c_str());
        ::SetFilePointer(file.Get(), 0, nullptr, FILE_END);
    } else if (lastError == ERROR_SUCCESS) {
        ::OutputDebugStringW((L"LOGGER->Creating LOG file at:" + path + L"\r\n").c_str());
        const wchar_t mark = 0xFEFF;
        WritePiece(&mark, sizeof(mark));
    } else {
        file.Reset();
        return;
    }
    const OsInfo& os = GetOsInfo();
    WritePiece(banner);
    WritePiece(Printed(L"OS Version: %u.%u.%u SP%u (%ls) [%ls]", static_cast<unsigned>(os.major),
                       static_cast<unsigned>(os.minor), static_cast<unsigned>(os.build),
                       static_cast<unsigned>(os.servicePack), os.isServer ? L"server" : L"workstation",
                       os.isWow64 ? L"x64" : L"x86") + L"\r\n");
    WritePiece(L"CPU: " + ProcessorBrand() + L"\r\n");
    WritePiece(L"\r\n");
}

std::wstring LogFile::DefaultFileName() const {
    if (!fileName.empty()) return fileName;
    std::wstring name = HostPath();
    name = name.substr(name.rfind(L'\\') + 1);
    const size_t dot = name.rfind(L'.');
    return (dot == std::wstring::npos ? name : name.substr(0, dot)) + L".LOG";
}

bool LogFile::ChooseLocation(int attempt) {
    if (attempt == 0) {
        CoTaskMemory<wchar_t> programData;
        if (FAILED(::SHGetKnownFolderPath(FOLDERID_ProgramData, 0, nullptr, programData.Put()))) return false;
        const std::wstring folder = std::wstring(programData.Get()) + L"\\TARVO_LOGS";
        if (!::PathFileExistsW(folder.c_str())) {
            // Every account that runs an installation may add its own log.
            AccessListBuilder everyone;
            if (!everyone.Add(L"S-1-1-0", GENERIC_ALL, true)) return false;
            SECURITY_ATTRIBUTES attributes{sizeof(attributes), everyone.Build(), FALSE};
            if (!attributes.lpSecurityDescriptor || !::CreateDirectoryW(folder.c_str(), &attributes)) return false;
        }
        path = folder + L"\\" + DefaultFileName();
        return true;
    }
    if (attempt == 1) {
        std::wstring host = HostPath();
        const size_t dot = host.rfind(L'.');
        if (host.empty() || dot == std::wstring::npos) return false;
        path = host.substr(0, dot + 1) + L"LOG";
        return true;
    }
    if (attempt == 2) {
        wchar_t temp[MAX_PATH + 1] = {};
        const DWORD n = ::GetTempPathW(MAX_PATH + 1, temp);
        if (n == 0 || n > MAX_PATH) return false;
        const std::wstring folder = std::wstring(temp, n) + L"TARVO_LOGS";
        if (!::CreateDirectoryW(folder.c_str(), nullptr)) return false;  // also when it exists
        path = folder + L"\\" + DefaultFileName();
        return true;
    }
    return false;
}

}  // namespace tv
