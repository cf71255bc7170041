#pragma once
#include <windows.h>
#include <msi.h>
#include "frame/DebugLog.h"

namespace tv {

// No exception may reach the installer: one that escapes the work becomes a
// failed action.
template <class Work>
UINT Guarded(Work&& work) noexcept {
    try {
        return work();
    } catch (...) {
        TV_LOG(L"Unexpected failure; the action fails.");
        return ERROR_INSTALL_FAILURE;
    }
}

// The frame every entry point but ExtractSourceFiles shares: name the action
// to the log, then run the work, which builds its object on its own stack.
template <class Work>
UINT Framed(MSIHANDLE session, const wchar_t* logName, Work&& work) noexcept {
    return Guarded([&] {
        DebugLog::Instance().Init(session, logName);
        return work();
    });
}

}  // namespace tv
