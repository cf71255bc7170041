#pragma once
#include <windows.h>
#include <string>

// A 16-bit leftover in winbase.h that would swallow tv::GetFreeSpace.
#ifdef GetFreeSpace
#undef GetFreeSpace
#endif

namespace tv {

// Paths are stored and shown in their normal form and take the "\\?\" form
// only at the moment of a system call, so that deep folders chosen by a
// package work on local drives and shares alike.

// The form for a system call: an absolute path of 248 characters or more
// (the limit for a folder is 248, not MAX_PATH) gets "\\?\", or "\\?\UNC\"
// in place of a share's two leading backslashes. Shorter and relative paths
// and those that have the prefix already stay as they are.
std::wstring ToLongPath(const std::wstring& path);
// The reverse of ToLongPath.
std::wstring StripLongPrefix(const std::wstring& path);
// The canonical text for comparing and showing: no long prefix, no trailing
// backslash, no run of backslashes except the two that open a share path.
// "/" and case are left alone.
std::wstring NormalizePath(const std::wstring& path);
bool HasLongPrefix(const std::wstring& path);
// Adds a final "\" to a path that isn't empty and has none.
std::wstring AddBackslash(const std::wstring& path);

// Text before the last "\", a final "\" ignored; `path` itself when it has
// no "\".
std::wstring ParentFolder(const std::wstring& path);
// Text behind the last "\"; all of it when there is none.
std::wstring FileNameOf(const std::wstring& path);
// Text before the last "\"; empty when there is none.
std::wstring FolderOf(const std::wstring& path);
// True when `path` is `folder` or lies below it, compared without case.
bool IsSameOrBelow(const std::wstring& path, const std::wstring& folder);
// The longest leading part of `path`, cut at "\" or "/", that exists; empty
// when none does.
std::wstring NearestExistingFolder(const std::wstring& path);
// The root a free-space query takes: "C:\" or "\\server\share\".
std::wstring VolumeRootOf(const std::wstring& path);

// True when the path names something that exists. A bare name is never
// looked up in the current folder: the path must begin with "\" or hold a
// ":". A wildcard pattern that matches counts as existing.
bool FileExists(const std::wstring& path);

struct FoundFile {
    FILETIME lastWrite{};
    unsigned long long size = 0;
};
// 0 with the file's time and size filled in, or the system's error number:
// ERROR_INVALID_PARAMETER for an empty path, ERROR_PATH_NOT_FOUND for one
// that is neither a share path nor has a drive letter.
DWORD FileExistsByFind(const std::wstring& path, FoundFile* found = nullptr);
// The size of a file that can be opened for reading, else 0. 32 bits wide.
DWORD FileSizeOf(const std::wstring& path);

// Makes the folders leading to the last component of `path`, which is taken
// for a file's name: pass a final "\" to make the whole path. 0 or the
// system's error number; on a hard error the folder reached last is removed
// again.
DWORD CreateFolderChain(const std::wstring& path);
// Removes an empty folder; a failure is logged and answered with false.
bool RemoveDirectoryLong(const std::wstring& folder);

// Free space for the caller on the volume of `path`: `bytes` gets the
// number (0 when the query fails) and the result is the number of KiB as
// decimal text.
std::wstring GetFreeSpace(const std::wstring& path, unsigned long long& bytes);

// The process's temporary folders, in normal form. A process of LocalSystem
// uses the system's own temporary folder, which no user's profile holds.
struct TempFolders {
    std::wstring systemTemp;
    std::wstring userTemp;
    std::wstring workTemp;  // where the library's own temporary files go
};
// Built once, on first use, safely from any thread.
const TempFolders& GetTempFolders();

}  // namespace tv
