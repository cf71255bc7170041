#include "platform/SystemLibrary.h"

namespace tv {

SystemLibrary::SystemLibrary(const std::wstring& name) {
    wchar_t folder[MAX_PATH + 1] = {};
    const UINT length = ::GetSystemDirectoryW(folder, MAX_PATH + 1);
    if (length == 0) {
        mLastError = ::GetLastError();
        return;
    }
    // A longer result is the size the folder would need, not a folder.
    if (length > MAX_PATH) {
        mLastError = ERROR_INSUFFICIENT_BUFFER;
        return;
    }
    std::wstring path(folder, length);
    if (path.back() != L'\\') path += L'\\';
    path += name;
    mModule.Reset(::LoadLibraryExW(path.c_str(), nullptr, 0));
    if (!mModule) mLastError = ::GetLastError();
}

}  // namespace tv
