#pragma once
#include <windows.h>
#include <string>

namespace tv {

// The system's wording for a Win32 error number, on one line (line breaks
// inside the message become spaces); empty when the system has none.
std::wstring SystemErrorText(DWORD error);

}  // namespace tv
