// Switches the custom-action DLL's diagnostic log on or off for every
// process of this machine session by adding or deleting the global atom.
//   tvatom on | off | status
#include <windows.h>
#include <cstdio>
#include <cwchar>

int wmain(int argc, wchar_t** argv) {
    const wchar_t* name = L"TV_DebugLog";
    const wchar_t* verb = argc > 1 ? argv[1] : L"status";
    if (std::wcscmp(verb, L"on") == 0) {
        if (!::GlobalFindAtomW(name) && !::GlobalAddAtomW(name)) return 1;
    } else if (std::wcscmp(verb, L"off") == 0) {
        while (ATOM atom = ::GlobalFindAtomW(name)) ::GlobalDeleteAtom(atom);
    } else if (std::wcscmp(verb, L"status") != 0) {
        std::fwprintf(stderr, L"usage: tvatom on|off|status\n");
        return 2;
    }
    std::wprintf(L"TV_DebugLog is %ls\n", ::GlobalFindAtomW(name) ? L"on" : L"off");
    return 0;
}
