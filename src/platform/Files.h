#pragma once
#include <string>

namespace tv {

// True when the path names something that exists. A bare name is never
// looked up in the current folder: the path must begin with "\" or hold a
// ":". A wildcard pattern that matches counts as existing.
bool FileExists(const std::wstring& path);

}  // namespace tv
