#pragma once
#include <windows.h>

namespace tv {

// What the system says about itself that a test cannot change on this
// machine: its default language and its native processor. Tests replace
// the functions; by default they are the real calls.
struct NativeMachine {
    enum State { Unavailable, CallFailed, Known } state = Unavailable;
    USHORT machine = 0;  // IMAGE_FILE_MACHINE_* when Known
};

struct SystemSeam {
    LANGID (*defaultLanguage)();
    NativeMachine (*nativeMachine)();
};

SystemSeam& GetSystemSeam();
// The real calls: GetSystemDefaultLangID, and IsWow64Process2 looked up in
// kernel32 once per process.
LANGID RealDefaultLanguage();
NativeMachine RealNativeMachine();

}  // namespace tv
