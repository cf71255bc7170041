#include "platform/FileVersion.h"
#include <shlobj.h>
#include <shlwapi.h>
#include <knownfolders.h>
#include <new>
#include <vector>
#include "frame/OsInfo.h"
#include "platform/CoTaskMemory.h"
#include "platform/Files.h"
#include "platform/LibraryHandle.h"
#include "platform/TempFile.h"

namespace tv {

namespace {

std::wstring WindowsFolderPath() {
    CoTaskMemory<wchar_t> path;
    if (FAILED(::SHGetKnownFolderPath(FOLDERID_Windows, 0, nullptr, path.Put())) || !path) return {};
    return path.Get();
}

// Turns file-system redirection off for its scope where there is any.
class RedirectionOff {
public:
    RedirectionOff() : mOff(GetOsInfo().isWow64 && ::Wow64DisableWow64FsRedirection(&mOld)) {}
    ~RedirectionOff() {
        if (mOff) ::Wow64RevertWow64FsRedirection(mOld);
    }
    RedirectionOff(const RedirectionOff&) = delete;
    RedirectionOff& operator=(const RedirectionOff&) = delete;

private:
    PVOID mOld = nullptr;
    bool mOff;
};

// A copy of a system file outside the Windows folder, or nothing: the
// version calls then read the file itself.
TempFile ShimFreeCopy(const std::wstring& path) {
    if (!IsWindows10OrLater()) return {};
    const std::wstring windows = WindowsFolderPath();
    if (windows.empty() || path.compare(0, windows.size(), windows) != 0) return {};
    wchar_t buffer[MAX_PATH + 1] = {};
    if (::GetTempFileNameW(ToLongPath(GetTempFolders().workTemp).c_str(), L"shim_clone", 0, buffer) == 0) return {};
    TempFile copy(buffer);
    bool copied;
    {
        RedirectionOff redirection;
        copied = ::CopyFileW(ToLongPath(path).c_str(), buffer, FALSE) != FALSE;
    }
    if (!copied) return {};
    return copy;
}

}  // namespace

DWORD ReadFileVersion(const std::wstring& path, DWORD* high, DWORD* low) {
    const TempFile copy = ShimFreeCopy(path);
    const std::wstring source = ToLongPath(copy.Path().empty() ? path : copy.Path());
    DWORD handle = 0;
    const DWORD size = ::GetFileVersionInfoSizeW(source.c_str(), &handle);
    if (size == 0) return ::GetLastError();
    std::vector<BYTE> block;
    try {
        block.resize(size);
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    if (!::GetFileVersionInfoW(source.c_str(), 0, size, block.data())) return ::GetLastError();
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    if (!::VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &length) || !info ||
        length < sizeof(VS_FIXEDFILEINFO))
        return ERROR_RESOURCE_TYPE_NOT_FOUND;
    if (high) *high = info->dwFileVersionMS;
    if (low) *low = info->dwFileVersionLS;
    return 0;
}

bool ReadModuleVersion(const std::wstring& path, DWORD& major, DWORD& minor) {
    {
        LibraryHandle module(::LoadLibraryW(ToLongPath(path).c_str()));
        if (!module) return false;
        const auto getVersion =
            reinterpret_cast<DLLGETVERSIONPROC>(::GetProcAddress(module.Get(), "DllGetVersion"));
        if (getVersion) {
            DLLVERSIONINFO info{};
            info.cbSize = sizeof(info);
            if (FAILED(getVersion(&info))) return false;
            major = info.dwMajorVersion;
            minor = info.dwMinorVersion;
            return true;
        }
    }
    DWORD high = 0;
    if (ReadFileVersion(path, &high, nullptr) != 0) return false;
    major = HIWORD(high);
    minor = 0;
    return true;
}

std::wstring FileVersionToText(DWORD high, DWORD low) {
    return std::to_wstring(HIWORD(high)) + L"." + std::to_wstring(LOWORD(high)) + L"." + std::to_wstring(HIWORD(low)) +
           L"." + std::to_wstring(LOWORD(low));
}

}  // namespace tv
