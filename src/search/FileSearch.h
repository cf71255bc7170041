#pragma once
#include <windows.h>
#include <string>
#include <vector>
#include "search/SearchItem.h"

namespace tv {

// Turns WOW64 file-system redirection off for its scope when the row asks
// for the 64-bit view and the process runs under WOW64.
class FsRedirectionGuard {
public:
    explicit FsRedirectionGuard(bool is64);
    ~FsRedirectionGuard();
    FsRedirectionGuard(const FsRedirectionGuard&) = delete;
    FsRedirectionGuard& operator=(const FsRedirectionGuard&) = delete;

private:
    PVOID mOldValue = nullptr;
    bool mDisabled = false;
};

// Kind 0: "file" or "file?depth". A path is searched where it points, a bare
// name on every fixed drive; the first file found ends the search and adds
// its normalised version.
void FileVersionSearch(const std::wstring& searchText, bool is64, SearchResult& result);
// Kind 14: the names of the subfolders of a folder, as written.
void SubfolderVersionSearch(const std::wstring& searchText, bool is64, SearchResult& result);
// Appends folder + name of every subfolder; true when there is one.
bool ListSubfolders(const std::wstring& folder, std::vector<std::wstring>& outPaths);

// The roots of the drives, in the system's order, for any number of drives.
std::vector<std::wstring> LogicalDriveRoots();

}  // namespace tv
