#pragma once
#include <windows.h>
#include <string>

namespace tv {

// The predefined key named by the text in front of the first "\" of a key
// path, compared without case; any name the table doesn't know means
// HKEY_USERS. Null for a path without "\".
HKEY RootFromPath(const std::wstring& path);

// The text of a string or DWORD value of an open key: string types lose
// their final terminators (a multi-string keeps those between its strings,
// an expandable string isn't expanded), a DWORD is written in "%u". False
// for a value that can't be read or has any other type.
bool ReadValueText(HKEY key, const std::wstring& name, std::wstring& outText);

}  // namespace tv
