// tvpackagechainer.exe: started by a package that runs without a full user
// interface, it installs the prerequisites listed in tvpackagechainer.ini
// beside itself.
#include <windows.h>
#include <string>
#include "chainer/ChainRunner.h"

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) return static_cast<int>(::GetLastError());
        if (length < path.size()) {
            path.resize(length);
            break;
        }
        path.resize(path.size() * 2);
    }
    const size_t dot = path.rfind(L'.');
    const size_t slash = path.rfind(L'\\');
    if (dot != std::wstring::npos && (slash == std::wstring::npos || dot > slash)) path.resize(dot);
    try {
        return static_cast<int>(tv::RunChain(path + L".ini"));
    } catch (...) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}
