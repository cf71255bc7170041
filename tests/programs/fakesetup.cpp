// A stand-in for a prerequisite's setup program. It does what it is told by
// its arguments, one after the other in the order given, and then exits:
//
//   /record:<file>    appends two UTF-8 lines to the file: the full command
//                     line, then the current folder
//   /marker:<file>    creates the file (empty)
//   /stamp:<file>     appends a line with the wall-clock time in ms since
//                     1970, to set beside a server's log
//   /regvalue:<subkey>\<name>=<data>
//                     sets a string value under HKEY_CURRENT_USER
//   /regdelete:<subkey>\<name>
//                     deletes that value again (an undo command)
//   /window:<ms>      shows a top-level window for that long, or just waits
//                     where no window can be made (Wine without a display)
//   /sleep:<ms>       waits
//   /spawn:<ms>       starts a copy of itself that waits that long, and goes
//                     on without waiting for it
//   /exit:<n>         the exit code, used when everything else is done
//
// Anything else, such as an installer's /quiet or /norestart, is ignored.
#include <windows.h>
#include <cwchar>
#include <string>
#include "platform/Utf8.h"

namespace {

bool TakeValue(const std::wstring& argument, const wchar_t* option, std::wstring& value) {
    const size_t length = std::wcslen(option);
    if (_wcsnicmp(argument.c_str(), option, length) != 0) return false;
    value = argument.substr(length);
    return true;
}

DWORD ToNumber(const std::wstring& text) { return static_cast<DWORD>(std::wcstoul(text.c_str(), nullptr, 10)); }

void Append(const std::wstring& file, const std::string& bytes) {
    HANDLE handle = ::CreateFileW(file.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return;
    DWORD written = 0;
    ::WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    ::CloseHandle(handle);
}

void Record(const std::wstring& file) {
    wchar_t folder[MAX_PATH] = {};
    ::GetCurrentDirectoryW(MAX_PATH, folder);
    Append(file, tv::ToUtf8(::GetCommandLineW()) + "\n" + tv::ToUtf8(folder) + "\n");
}

void Stamp(const std::wstring& file) {
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    const unsigned long long ticks = (static_cast<unsigned long long>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
    Append(file, std::to_string((ticks - 116444736000000000ULL) / 10000) + "\n");
}

void Mark(const std::wstring& file) {
    HANDLE handle = ::CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                                  nullptr);
    if (handle != INVALID_HANDLE_VALUE) ::CloseHandle(handle);
}

// "<subkey>\<name>=<data>": the name is what lies between the last
// backslash before the "=" and the "=".
void SetRegistryValue(const std::wstring& assignment) {
    const size_t equals = assignment.find(L'=');
    if (equals == std::wstring::npos) return;
    const std::wstring path = assignment.substr(0, equals);
    const std::wstring data = assignment.substr(equals + 1);
    const size_t slash = path.rfind(L'\\');
    if (slash == std::wstring::npos) return;
    HKEY key = nullptr;
    if (::RegCreateKeyExW(HKEY_CURRENT_USER, path.substr(0, slash).c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                          &key, nullptr) != ERROR_SUCCESS)
        return;
    ::RegSetValueExW(key, path.substr(slash + 1).c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(data.c_str()),
                     static_cast<DWORD>((data.size() + 1) * sizeof(wchar_t)));
    ::RegCloseKey(key);
}

void DeleteRegistryValue(const std::wstring& path) {
    const size_t slash = path.rfind(L'\\');
    if (slash == std::wstring::npos) return;
    ::RegDeleteKeyValueW(HKEY_CURRENT_USER, path.substr(0, slash).c_str(), path.substr(slash + 1).c_str());
}

LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_TIMER: ::DestroyWindow(window); return 0;
        case WM_DESTROY: ::PostQuitMessage(0); return 0;
        default: return ::DefWindowProcW(window, message, wParam, lParam);
    }
}

void ShowWindowFor(DWORD milliseconds) {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = WindowProc;
    windowClass.hInstance = ::GetModuleHandleW(nullptr);
    windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    windowClass.lpszClassName = L"FakeSetupWindow";
    ::RegisterClassW(&windowClass);
    HWND window = ::CreateWindowExW(0, windowClass.lpszClassName, L"fakesetup", WS_OVERLAPPEDWINDOW | WS_VISIBLE,
                                    CW_USEDEFAULT, CW_USEDEFAULT, 320, 200, nullptr, nullptr,
                                    windowClass.hInstance, nullptr);
    if (!window || !::SetTimer(window, 1, milliseconds, nullptr)) {
        if (window) ::DestroyWindow(window);
        ::Sleep(milliseconds);
        return;
    }
    MSG message;
    while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

void SpawnSleeper(const std::wstring& milliseconds) {
    wchar_t self[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring commandLine = L"\"" + std::wstring(self) + L"\" /sleep:" + milliseconds;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started{};
    if (!::CreateProcessW(self, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                          &started))
        return;
    ::CloseHandle(started.hThread);
    ::CloseHandle(started.hProcess);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    DWORD exitCode = 0;
    for (int i = 1; i < argc; ++i) {
        const std::wstring argument = argv[i];
        std::wstring value;
        if (TakeValue(argument, L"/record:", value)) Record(value);
        else if (TakeValue(argument, L"/marker:", value)) Mark(value);
        else if (TakeValue(argument, L"/regvalue:", value)) SetRegistryValue(value);
        else if (TakeValue(argument, L"/regdelete:", value)) DeleteRegistryValue(value);
        else if (TakeValue(argument, L"/window:", value)) ShowWindowFor(ToNumber(value));
        else if (TakeValue(argument, L"/sleep:", value)) ::Sleep(ToNumber(value));
        else if (TakeValue(argument, L"/stamp:", value)) Stamp(value);
        else if (TakeValue(argument, L"/spawn:", value)) SpawnSleeper(value);
        else if (TakeValue(argument, L"/exit:", value)) exitCode = ToNumber(value);
    }
    return static_cast<int>(exitCode);
}
