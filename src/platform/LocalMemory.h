#pragma once
#include <windows.h>
#include "platform/UniqueHandle.h"

namespace tv {

// Memory that the system hands out to be released with LocalFree: message
// texts, converted SIDs, access lists, security descriptors.
template <class T>
struct LocalMemoryTraits {
    using Handle = T*;
    static Handle Invalid() noexcept { return nullptr; }
    static bool IsValid(Handle h) noexcept { return h != nullptr; }
    static void Close(Handle h) noexcept { ::LocalFree(h); }
};
template <class T = void>
using LocalMemory = UniqueHandle<LocalMemoryTraits<T>>;

}  // namespace tv
