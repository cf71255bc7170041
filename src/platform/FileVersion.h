#pragma once
#include <windows.h>
#include <string>

namespace tv {

// The fixed file version of a file: 0 with `high` = dwFileVersionMS and
// `low` = dwFileVersionLS (either may be null), or the system's error
// number. A file below the Windows folder is read from a private copy on
// Windows 10 and later, so the compatibility layer can't answer for it.
DWORD ReadFileVersion(const std::wstring& path, DWORD* high, DWORD* low);
// "a.b.c.d" of the two halves ReadFileVersion gives.
std::wstring FileVersionToText(DWORD high, DWORD low);

// The version a module reports through DllGetVersion, or else the major
// part of its file version with minor 0. False when the module can't be
// loaded or has no version.
bool ReadModuleVersion(const std::wstring& path, DWORD& major, DWORD& minor);

}  // namespace tv
