#pragma once
#include <windows.h>
#include <msi.h>
#include <string>
#include "frame/CharBuffer.h"

namespace tv {

// Unset, empty and unreadable properties all read as the empty string.
std::wstring GetProperty(MSIHANDLE session, const std::wstring& name);
// True with the value in `buffer`; what the buffer held before is freed first.
bool GetPropertyBuffer(MSIHANDLE session, const std::wstring& name, CharBuffer& buffer);
// The formatted text of an open record; empty on failure.
std::wstring FormatRecord(MSIHANDLE session, MSIHANDLE record);
// `text` with the installer's formatted-text references expanded.
std::wstring FormatText(MSIHANDLE session, const std::wstring& text);

}  // namespace tv
