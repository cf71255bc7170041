#pragma once
#include <unknwn.h>
#include "platform/UniqueHandle.h"

namespace tv {

// One reference to a COM or Windows Runtime object, released with the owner.
template <class T>
struct ComObjectTraits {
    using Handle = T*;
    static Handle Invalid() noexcept { return nullptr; }
    static bool IsValid(Handle h) noexcept { return h != nullptr; }
    static void Close(Handle h) noexcept { h->Release(); }
};
template <class T>
using ComObject = UniqueHandle<ComObjectTraits<T>>;

}  // namespace tv
