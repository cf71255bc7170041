#pragma once
#include <windows.h>
#include <string>

namespace tv {

// The system's wording for a Win32 error number, on one line (line breaks
// inside the message become spaces); empty when the system has none.
std::wstring SystemErrorText(DWORD error);

}  // namespace tv

namespace tv {

// The message text as the system formats it, line breaks kept; with a module
// its own message table is searched before the system's. Empty when neither
// has one.
std::wstring SystemMessageText(DWORD code, HMODULE module);

}  // namespace tv
