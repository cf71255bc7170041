#pragma once
#include <objbase.h>
#include "platform/UniqueHandle.h"

namespace tv {

// Memory the shell and COM hand out to be released with CoTaskMemFree, such
// as the path of a known folder.
template <class T>
struct CoTaskMemoryTraits {
    using Handle = T*;
    static Handle Invalid() noexcept { return nullptr; }
    static bool IsValid(Handle h) noexcept { return h != nullptr; }
    static void Close(Handle h) noexcept { ::CoTaskMemFree(h); }
};
template <class T = void>
using CoTaskMemory = UniqueHandle<CoTaskMemoryTraits<T>>;

}  // namespace tv
