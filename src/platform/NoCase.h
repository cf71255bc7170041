#pragma once
#include <windows.h>
#include <string>

namespace tv {

// Comparison without regard to case, character by character as the file
// system compares names, whatever the user's locale: CSTR_LESS_THAN,
// CSTR_EQUAL or CSTR_GREATER_THAN.
inline int CompareNoCase(const std::wstring& a, const std::wstring& b) {
    return ::CompareStringOrdinal(a.c_str(), static_cast<int>(a.size()), b.c_str(), static_cast<int>(b.size()), TRUE);
}

inline bool EqualsNoCase(const std::wstring& a, const std::wstring& b) { return CompareNoCase(a, b) == CSTR_EQUAL; }

}  // namespace tv
