#pragma once
#include <windows.h>
#include "platform/UniqueHandle.h"

namespace tv {

struct FindHandleTraits {
    using Handle = HANDLE;
    static Handle Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static bool IsValid(Handle h) noexcept { return h != INVALID_HANDLE_VALUE && h != nullptr; }
    static void Close(Handle h) noexcept { ::FindClose(h); }
};
using FindHandle = UniqueHandle<FindHandleTraits>;

}  // namespace tv
