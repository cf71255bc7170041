#pragma once
#include <windows.h>
#include "platform/UniqueHandle.h"

namespace tv {

// A SID made by AllocateAndInitializeSid, which only FreeSid may release.
struct AllocatedSidTraits {
    using Handle = PSID;
    static Handle Invalid() noexcept { return nullptr; }
    static bool IsValid(Handle h) noexcept { return h != nullptr; }
    static void Close(Handle h) noexcept { ::FreeSid(h); }
};
using AllocatedSid = UniqueHandle<AllocatedSidTraits>;

}  // namespace tv
