#pragma once
#include <windows.h>
#include <string>
#include "platform/LibraryHandle.h"

namespace tv {

// A library loaded from the system folder by its full path, never from the
// search path, so a file of the same name beside the installer can't stand
// in for it. Callers look up functions that not every system has; the
// library is freed with the object.
class SystemLibrary {
public:
    explicit SystemLibrary(const std::wstring& name);

    explicit operator bool() const noexcept { return static_cast<bool>(mModule); }
    HMODULE Get() const noexcept { return mModule.Get(); }

    // The export as the caller's function type; null when the library isn't
    // loaded or lacks it.
    template <class Function>
    Function Find(const char* exportName) const {
        if (!mModule) return nullptr;
        return reinterpret_cast<Function>(::GetProcAddress(mModule.Get(), exportName));
    }

    // The system's error number of a failed load; 0 after a good one.
    DWORD LastError() const noexcept { return mLastError; }

private:
    LibraryHandle mModule;
    DWORD mLastError = 0;
};

}  // namespace tv
