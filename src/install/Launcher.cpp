#include "install/Launcher.h"
#include <shellapi.h>
#include <tlhelp32.h>
#include <cwchar>
#include <system_error>
#include "frame/DebugLog.h"
#include "platform/KernelHandle.h"
#include "platform/ProcessUtil.h"

namespace tv {

std::atomic<unsigned char> gWatchConsent{1};

namespace {

std::wstring WithoutLongPrefix(const std::wstring& path) {
    return path.rfind(L"\\\\?\\", 0) == 0 ? path.substr(4) : path;
}

struct WindowSearch {
    DWORD processId;
    HWND found;
};

// The first captioned, visible top-level window of the process, or else the
// last one of it seen.
BOOL CALLBACK FindProcessWindow(HWND window, LPARAM context) {
    auto* search = reinterpret_cast<WindowSearch*>(context);
    DWORD owner = 0;
    ::GetWindowThreadProcessId(window, &owner);
    if (owner != search->processId) return TRUE;
    search->found = window;
    const LONG style = ::GetWindowLongW(window, GWL_STYLE);
    return (style & WS_CAPTION) == WS_CAPTION && (style & WS_VISIBLE) ? FALSE : TRUE;
}

// Brings the launched setup's first window to the front: the installer's
// own window would otherwise cover it.
void ForegroundFirstWindow(DWORD processId) {
    const DWORD foregroundThread = ::GetWindowThreadProcessId(::GetForegroundWindow(), nullptr);
    const DWORD thisThread = ::GetCurrentThreadId();
    const bool attached = foregroundThread && ::AttachThreadInput(thisThread, foregroundThread, TRUE);
    ::Sleep(500);
    bool done = false;
    for (DWORD id : ProcessUtil::GetProcessTree(processId)) {
        for (int attempt = 0; attempt < 5 && !done; ++attempt) {
            ::Sleep(50);
            WindowSearch search{id, nullptr};
            ::EnumWindows(&FindProcessWindow, reinterpret_cast<LPARAM>(&search));
            if (search.found) {
                ::BringWindowToTop(search.found);
                done = true;
            }
        }
        if (done) break;
    }
    if (attached) ::AttachThreadInput(thisThread, foregroundThread, FALSE);
}

BOOL CALLBACK RestoreFirstWindow(HWND window, LPARAM context) {
    auto* search = reinterpret_cast<WindowSearch*>(context);
    DWORD owner = 0;
    ::GetWindowThreadProcessId(window, &owner);
    if (owner != search->processId) return TRUE;
    ::SendMessageW(window, WM_SYSCOMMAND, SC_RESTORE, 0);
    search->found = window;
    return FALSE;
}

}  // namespace

bool LaunchAndWait(const std::wstring& application, const std::wstring& arguments,
                   const std::wstring& workingFolder, bool hidden, DWORD& exitCode) {
    const std::wstring file = WithoutLongPrefix(application);
    std::wstring folder = workingFolder;
    if (folder.empty()) {
        const size_t slash = application.rfind(L'\\');
        if (slash != std::wstring::npos) folder = application.substr(0, slash);
    }
    folder = WithoutLongPrefix(folder);

    SHELLEXECUTEINFOW info{};
    info.cbSize = sizeof(info);
    info.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_FLAG_NO_UI;
    info.lpVerb = L"open";
    info.lpFile = file.c_str();
    info.lpParameters = arguments.empty() ? nullptr : arguments.c_str();
    info.lpDirectory = folder.empty() ? nullptr : folder.c_str();
    info.nShow = hidden ? SW_HIDE : SW_SHOWNORMAL;
    if (!::ShellExecuteExW(&info)) {
        exitCode = ::GetLastError();
        return false;
    }
    // The shell handed the file to a process that was already running.
    if (info.hProcess == nullptr) return true;
    KernelHandle process(info.hProcess);
    const DWORD processId = ::GetProcessId(process.Get());
    ::AllowSetForegroundWindow(processId);
    if (!hidden) ForegroundFirstWindow(processId);
    ::WaitForSingleObject(process.Get(), INFINITE);
    ::GetExitCodeProcess(process.Get(), &exitCode);
    return true;
}

DWORD FindConsentProcess() {
    KernelHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) {
        TV_LOG(L"EMBUI " << L"CreateToolhelp32Snapshot failed");
        return 0;
    }
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    if (!::Process32FirstW(snapshot.Get(), &entry)) {
        TV_LOG(L"EMBUI " << L"Process32First failed");
        return 0;
    }
    do {
        if (std::wcscmp(entry.szExeFile, L"consent.exe") == 0) return entry.th32ProcessID;
    } while (::Process32NextW(snapshot.Get(), &entry));
    return 0;
}

bool RestoreConsentWindow() {
    const DWORD process = FindConsentProcess();
    if (process == 0) return false;
    // The process may not have its window yet; the next poll tries again.
    WindowSearch search{process, nullptr};
    ::EnumWindows(&RestoreFirstWindow, reinterpret_cast<LPARAM>(&search));
    return search.found != nullptr;
}

ConsentWatcherThread::ConsentWatcherThread() {
    try {
        mThread = std::thread(&ConsentWatcher);
    } catch (const std::system_error&) {
        TV_LOG(L"The consent watcher could not be started.");
    }
}

ConsentWatcherThread::~ConsentWatcherThread() {
    gWatchConsent.store(0);
    if (mThread.joinable()) mThread.join();
}

void ConsentWatcher() {
    while (gWatchConsent.load() != 0) {
        // Only clear: a driver's clear must never be undone by a late poll.
        // Nothing may leave the thread, or the process ends.
        try {
            if (RestoreConsentWindow()) gWatchConsent.store(0);
        } catch (...) {
        }
        ::Sleep(100);
    }
}

}  // namespace tv
