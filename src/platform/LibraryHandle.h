#pragma once
#include <windows.h>
#include "platform/UniqueHandle.h"

namespace tv {

// A module loaded with LoadLibraryW for one call and released after it.
struct LibraryHandleTraits {
    using Handle = HMODULE;
    static Handle Invalid() noexcept { return nullptr; }
    static bool IsValid(Handle h) noexcept { return h != nullptr; }
    static void Close(Handle h) noexcept { ::FreeLibrary(h); }
};
using LibraryHandle = UniqueHandle<LibraryHandleTraits>;

}  // namespace tv
