#include "platform/SystemSeam.h"

namespace tv {

SystemSeam& GetSystemSeam() {
    static SystemSeam seam{&RealDefaultLanguage, &RealNativeMachine};
    return seam;
}

LANGID RealDefaultLanguage() { return ::GetSystemDefaultLangID(); }

NativeMachine RealNativeMachine() {
    using IsWow64Process2Fn = BOOL(WINAPI*)(HANDLE, USHORT*, USHORT*);
    static const IsWow64Process2Fn isWow64Process2 = reinterpret_cast<IsWow64Process2Fn>(
        ::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "IsWow64Process2"));
    NativeMachine result;
    if (!isWow64Process2) return result;
    USHORT process = 0;
    USHORT native = 0;
    if (!isWow64Process2(::GetCurrentProcess(), &process, &native)) {
        result.state = NativeMachine::CallFailed;
        return result;
    }
    result.state = NativeMachine::Known;
    result.machine = native;
    return result;
}

}  // namespace tv
