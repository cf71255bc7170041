#include "platform/SystemErrorText.h"
#include "platform/LocalMemory.h"

namespace tv {

std::wstring SystemErrorText(DWORD error) {
    LocalMemory<wchar_t> text;
    const DWORD length = ::FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
            FORMAT_MESSAGE_MAX_WIDTH_MASK,
        nullptr, error, 0, reinterpret_cast<LPWSTR>(text.Put()), 0, nullptr);
    if (length == 0 || !text) return {};
    return std::wstring(text.Get(), length);
}

}  // namespace tv

namespace tv {

std::wstring SystemMessageText(DWORD code, HMODULE module) {
    LocalMemory<wchar_t> text;
    DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
    if (module) flags |= FORMAT_MESSAGE_FROM_HMODULE;
    const DWORD length = ::FormatMessageW(flags, module, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                          reinterpret_cast<LPWSTR>(text.Put()), 0, nullptr);
    if (length == 0 || !text) return {};
    return std::wstring(text.Get(), length);
}

}  // namespace tv
