#include "install/Restart.h"
#include <windows.h>
#include "frame/DebugLog.h"
#include "platform/KernelHandle.h"

namespace tv {

RestartSeam& GetRestartSeam() {
#if TV_SYSTEM_RESTART
    static RestartSeam seam{&ReStartSystem};
#else
    static RestartSeam seam{&RecordRestart};
#endif
    return seam;
}

bool RecordRestart() {
    TV_LOG(L"Restart recorded, not done");
    return false;
}

bool ReStartSystem() {
    TV_LOG(L"Entering ReStartSystem");
    KernelHandle token;
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.Put())) {
        TV_LOG(L"Failed to OpenProcesToken() for current process");
        return false;
    }
    TOKEN_PRIVILEGES privileges{};
    ::LookupPrivilegeValueW(nullptr, L"SeShutdownPrivilege", &privileges.Privileges[0].Luid);
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    ::AdjustTokenPrivileges(token.Get(), FALSE, &privileges, 0, nullptr, nullptr);
    // The call succeeds without the privilege; only the last error tells.
    if (::GetLastError() != ERROR_SUCCESS) {
        TV_LOG(L"Failed to AdjustTokenPrivileges()");
        return false;
    }
    if (!::ExitWindowsEx(EWX_REBOOT | EWX_FORCE, 0x80040002)) {
        TV_LOG(L"Failed to ExitWindows() with last error=" << ::GetLastError());
        return false;
    }
    return true;
}

}  // namespace tv
