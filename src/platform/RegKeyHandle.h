#pragma once
#include <windows.h>
#include "platform/UniqueHandle.h"

namespace tv {

// An opened or created registry key. The predefined hives are never wrapped:
// they are borrowed, like the session handle.
struct RegKeyHandleTraits {
    using Handle = HKEY;
    static Handle Invalid() noexcept { return nullptr; }
    static bool IsValid(Handle h) noexcept { return h != nullptr; }
    static void Close(Handle h) noexcept { ::RegCloseKey(h); }
};
using RegKeyHandle = UniqueHandle<RegKeyHandleTraits>;

}  // namespace tv
