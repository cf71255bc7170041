#pragma once
#include <windows.h>
#include <string>
#include "platform/RegKeyHandle.h"
#include "search/SearchItem.h"

namespace tv {

// Opens a key path for reading: the 64-bit view when `is64` and the process
// runs under WOW64, else the process's own. A closed handle on failure.
RegKeyHandle OpenSearchKey(const std::wstring& path, bool is64);

// Kind 2 (`isValue`): the value's text; kind 1: the names of the sub-keys.
void RegistryVersionSearch(const std::wstring& searchText, bool isValue, bool is64, SearchResult& result);
// Kind 12: the names of the key's values, the default value's empty name
// among them.
void RegistrySubValueSearch(const std::wstring& searchText, bool is64, SearchResult& result);
// Kinds 5 to 8: whether the key or value exists equals `wantExists`.
bool RegistryExistenceSearch(const std::wstring& searchText, bool is64, bool isValue, bool wantExists);
// Kind 9: the text of a string or DWORD value; false when there is none.
bool RegistryContentSearch(const std::wstring& searchText, bool is64, std::wstring& outText);
// The comparison of kind 9: `letter` C, X, S, E, M, D on text (with case), G
// and L on whole numbers; any other letter never passes.
bool MatchContent(const std::wstring& pattern, const std::wstring& value, wchar_t letter);

}  // namespace tv
