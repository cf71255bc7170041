#pragma once
#include <windows.h>
#include <msi.h>
#include <msiquery.h>
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

// The installer's result for a condition text: 0 false, 1 true, 2 none
// (empty text), 3 error.
MSICONDITION EvaluateCondition(MSIHANDLE session, const std::wstring& condition);
// True or empty: a malformed condition does not pass.
bool ConditionPasses(MSIHANDLE session, const std::wstring& condition);

}  // namespace tv
