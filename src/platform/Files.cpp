#include "platform/Files.h"
#include <windows.h>
#include "platform/FindHandle.h"

namespace tv {

bool FileExists(const std::wstring& path) {
    if (path.empty()) return false;
    if (path[0] != L'\\' && path.find(L':') == std::wstring::npos) return false;
    WIN32_FIND_DATAW data;
    FindHandle find(::FindFirstFileW(path.c_str(), &data));
    return static_cast<bool>(find);
}

}  // namespace tv
