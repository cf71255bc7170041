#pragma once
#include <objbase.h>
#include <oleauto.h>
#include <string>
#include "platform/UniqueHandle.h"

namespace tv {

// One reference to a COM interface, released on destruction.
template <class T>
struct ComPointerTraits {
    using Handle = T*;
    static Handle Invalid() noexcept { return nullptr; }
    static bool IsValid(Handle h) noexcept { return h != nullptr; }
    static void Close(Handle h) noexcept { h->Release(); }
};
template <class T>
using ComPointer = UniqueHandle<ComPointerTraits<T>>;

// A string allocated for a COM call; empty text gives a null BSTR, which
// every automation call takes for "".
struct BStringTraits {
    using Handle = BSTR;
    static Handle Invalid() noexcept { return nullptr; }
    static bool IsValid(Handle h) noexcept { return h != nullptr; }
    static void Close(Handle h) noexcept { ::SysFreeString(h); }
};
class BString : public UniqueHandle<BStringTraits> {
public:
    BString() = default;
    explicit BString(const std::wstring& text)
        : UniqueHandle(text.empty() ? nullptr : ::SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
};

}  // namespace tv
