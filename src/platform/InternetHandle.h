#pragma once
#include <windows.h>
#include <wininet.h>
#include "platform/UniqueHandle.h"

namespace tv {

// Connections, requests and remote files of WinINet.
struct InternetHandleTraits {
    using Handle = HINTERNET;
    static Handle Invalid() noexcept { return nullptr; }
    static bool IsValid(Handle h) noexcept { return h != nullptr; }
    static void Close(Handle h) noexcept { ::InternetCloseHandle(h); }
};
using InternetHandle = UniqueHandle<InternetHandleTraits>;

// A session: its status callback is cleared before it is closed, so that
// no callback reaches an object that is going away.
struct InternetSessionTraits : InternetHandleTraits {
    static void Close(Handle h) noexcept {
        ::InternetSetStatusCallbackW(h, nullptr);
        ::InternetCloseHandle(h);
    }
};
using InternetSession = UniqueHandle<InternetSessionTraits>;

}  // namespace tv
