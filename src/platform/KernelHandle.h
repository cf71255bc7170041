#pragma once
#include <windows.h>
#include "platform/UniqueHandle.h"

namespace tv {

// Process, thread, event and file handles. Both null and
// INVALID_HANDLE_VALUE mean "none": the system uses either, by call.
struct KernelHandleTraits {
    using Handle = HANDLE;
    static constexpr Handle Invalid() noexcept { return nullptr; }
    static bool IsValid(Handle h) noexcept { return h != nullptr && h != INVALID_HANDLE_VALUE; }
    static void Close(Handle h) noexcept { ::CloseHandle(h); }
};
using KernelHandle = UniqueHandle<KernelHandleTraits>;

}  // namespace tv
