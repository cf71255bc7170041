#pragma once
#include <string>

namespace tv {

// The folder of the setup executable as the expansion of "[SETUPEXEDIR]"
// gives it; filled with the host process's folder on first use when empty.
// The search driver replaces it for the length of one expansion.
extern std::wstring gSetupExeDirValue;

// Expands "[Folder]", "%VARIABLE%" and "!HKLM\Key\Value!" in one pass from
// left to right, without the installer's session. An unknown folder name
// stays as written; an unset variable or an unreadable value vanishes. What
// a value holds is never expanded again. `is64` picks the registry view and
// the meaning of SystemFolder.
std::wstring ExpandFolderVariables(const std::wstring& text, bool is64);

// The folder an installer folder name stands for, with a final "\". False
// for a name the library doesn't know.
bool ResolveFolder(const std::wstring& name, bool is64, std::wstring& value);

// The text of the value a registry value path names; empty when it can't be
// read. A final "\" names the key's default value.
std::wstring ReadRegistryPathText(const std::wstring& path, bool is64);

}  // namespace tv
