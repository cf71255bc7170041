#pragma once
#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include "platform/UniqueHandle.h"

namespace tv {

// Records, views and databases that the library opens itself. The session
// handle is the installer's and is never put into one of these.
struct MsiHandleTraits {
    using Handle = MSIHANDLE;
    static Handle Invalid() noexcept { return 0; }
    static bool IsValid(Handle h) noexcept { return h != 0; }
    static void Close(Handle h) noexcept { ::MsiCloseHandle(h); }
};
using MsiHandle = UniqueHandle<MsiHandleTraits>;

}  // namespace tv
