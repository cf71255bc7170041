#include "search/FileSearch.h"
#include <cwchar>
#include "frame/DebugLog.h"
#include "frame/OsInfo.h"
#include "platform/FileVersion.h"
#include "platform/Files.h"
#include "platform/FindHandle.h"
#include "platform/FolderVariables.h"
#include "search/Version.h"

namespace tv {

FsRedirectionGuard::FsRedirectionGuard(bool is64) {
    if (is64 && GetOsInfo().isWow64) mDisabled = ::Wow64DisableWow64FsRedirection(&mOldValue) != FALSE;
}

FsRedirectionGuard::~FsRedirectionGuard() {
    if (mDisabled) ::Wow64RevertWow64FsRedirection(mOldValue);
}

namespace {

bool IsSubfolder(const WIN32_FIND_DATAW& entry) {
    return (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && std::wcscmp(entry.cFileName, L".") != 0 &&
           std::wcscmp(entry.cFileName, L"..") != 0;
}

// Calls `visit(name)` for each subfolder of `folder` (with its final "\")
// until it answers true. False when the enumeration could not start.
template <class Visit>
bool ForEachSubfolder(const std::wstring& folder, Visit&& visit) {
    WIN32_FIND_DATAW entry{};
    FindHandle find(::FindFirstFileW(ToLongPath(folder + L"*").c_str(), &entry));
    if (!find) return false;
    do {
        if (IsSubfolder(entry) && visit(std::wstring(entry.cFileName))) break;
    } while (::FindNextFileW(find.Get(), &entry));
    return true;
}

bool CheckFile(const std::wstring& folder, const std::wstring& name, std::wstring& outVersion) {
    const std::wstring path = folder + name;
    WIN32_FIND_DATAW entry{};
    FindHandle find(::FindFirstFileW(ToLongPath(path).c_str(), &entry));
    if (!find) return false;
    DWORD high = 0, low = 0;
    // A file without version information, or a wildcard name, is version 0.
    if (ReadFileVersion(path, &high, &low) != 0) high = low = 0;
    outVersion = FileVersionToText(high, low);
    TV_LOG(L"File    compared        : " << path);
    TV_LOG(L"Version of file compared: " << outVersion);
    return true;
}

bool SearchFolder(std::wstring folder, int depth, const std::wstring& name, SearchResult& result) {
    folder = AddBackslash(folder);
    TV_LOG(L"Folder  to  search  in : " << folder);
    TV_LOG(L"File  to   search   for: " << name);
    std::wstring version;
    if (CheckFile(folder, name, version)) {
        Version parsed;
        ParseVersion(version, parsed);
        result.versions.push_back(NormalizeVersion(parsed));
        return true;
    }
    if (depth < 1) return false;
    bool found = false;
    ForEachSubfolder(folder, [&](const std::wstring& entry) {
        found = SearchFolder(folder + entry, depth - 1, name, result);
        return found;
    });
    return found;
}

bool SearchFile(std::wstring candidate, bool is64, SearchResult& result) {
    TV_LOG(L"Searching for file: " << candidate);
    int depth = 0;
    const size_t mark = candidate.find(L'?');
    if (mark != std::wstring::npos && mark > 0) {
        depth = static_cast<int>(std::wcstol(candidate.c_str() + mark + 1, nullptr, 10));
        candidate.resize(mark);
    }
    const std::wstring expanded = ExpandFolderVariables(candidate, is64);
    const size_t slash = expanded.rfind(L'\\');
    const std::wstring folder = slash == std::wstring::npos ? std::wstring() : expanded.substr(0, slash + 1);
    const std::wstring name = slash == std::wstring::npos ? expanded : expanded.substr(slash + 1);
    TV_LOG(L"Expanded path to search: " << folder);
    return SearchFolder(folder, depth, name, result);
}

}  // namespace

std::vector<std::wstring> LogicalDriveRoots() {
    std::vector<wchar_t> buffer(100);
    DWORD length = ::GetLogicalDriveStringsW(static_cast<DWORD>(buffer.size()), buffer.data());
    // More drives than the buffer holds: the call answers with the size it needs.
    while (length > buffer.size()) {
        buffer.assign(length + 1, L'\0');
        length = ::GetLogicalDriveStringsW(static_cast<DWORD>(buffer.size()), buffer.data());
    }
    std::vector<std::wstring> roots;
    for (const wchar_t* root = buffer.data(); length > 0 && *root; root += std::wcslen(root) + 1) roots.emplace_back(root);
    return roots;
}

void FileVersionSearch(const std::wstring& searchText, bool is64, SearchResult& result) {
    const size_t mark = searchText.find(L'?');
    const bool hasDepth = mark != std::wstring::npos && mark > 0;
    const std::wstring file = hasDepth ? searchText.substr(0, mark) : searchText;
    const std::wstring tail = hasDepth ? searchText.substr(mark) : std::wstring();
    std::vector<std::wstring> candidates;
    // A path, or a variable that will give one, is searched where it points.
    if (file.find_first_of(L"\\]%!") != std::wstring::npos) {
        candidates.push_back(searchText);
    } else {
        for (const std::wstring& root : LogicalDriveRoots())
            if (::GetDriveTypeW(root.c_str()) == DRIVE_FIXED) candidates.push_back(root + file + tail);
    }
    FsRedirectionGuard redirection(is64);
    for (const std::wstring& candidate : candidates) {
        if (SearchFile(candidate, is64, result)) {
            TV_LOG(L"File was found.");
            return;
        }
    }
}

bool ListSubfolders(const std::wstring& folder, std::vector<std::wstring>& outPaths) {
    const std::wstring base = AddBackslash(folder);
    ForEachSubfolder(base, [&](const std::wstring& entry) {
        outPaths.push_back(base + entry);
        return false;
    });
    return !outPaths.empty();
}

void SubfolderVersionSearch(const std::wstring& searchText, bool is64, SearchResult& result) {
    TV_LOG(L"Searching for subfolders in folder: " << searchText);
    const std::wstring folder = AddBackslash(ExpandFolderVariables(searchText, is64));
    FsRedirectionGuard redirection(is64);
    std::vector<std::wstring> paths;
    ListSubfolders(folder, paths);
    // The names stand as written; the range test reads the digits out of them.
    for (const std::wstring& path : paths) result.versions.push_back(FileNameOf(path));
}

}  // namespace tv
