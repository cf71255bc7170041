#pragma once
#include <string>

namespace tv {

// UTF-16 to UTF-8 and back, for what leaves or enters the program as bytes:
// log files, form bodies, descriptions. An empty or unconvertible text
// gives an empty result.
std::string ToUtf8(const std::wstring& text);
std::wstring FromUtf8(const std::string& text);

}  // namespace tv
