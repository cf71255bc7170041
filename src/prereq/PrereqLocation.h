#pragma once
#include <windows.h>
#include <msi.h>
#include <string>
#include <utility>
#include "prereq/Prerequisite.h"

namespace tv {

// True when TV_EMBEDDED_FILES_LOCATION is not empty: files that come with
// the setup lie in the prerequisites folder rather than beside the setup.
bool HasEmbeddedFilesLocation(MSIHANDLE session);

// The folder prerequisite files go to; it may or may not end in "\".
std::wstring GetPrereqsDir(MSIHANDLE session);
// The choice behind GetPrereqsDir, given the formatted folder, whether the
// process is LocalSystem and the user-profile folder: LocalSystem's profile
// is no place for files other accounts must reach.
std::wstring ChoosePrereqsDir(MSIHANDLE session, const std::wstring& folder, bool localSystem,
                              const std::wstring& profile);

// The full path of the row's file; empty for a Location other than 0 and 1.
std::wstring GetPrereqFilePath(MSIHANDLE session, const Prerequisite& row);
// The name shown to people.
std::wstring GetPrereqShortName(MSIHANDLE session, const Prerequisite& row);

// The text behind the last of \/:*?"<>|, keeping at most the last `limit`
// characters so that the extension survives.
std::wstring FileNameFromUrl(const std::wstring& url, size_t limit);
// "folder?file", "folder" or "" into folder and file name.
std::pair<std::wstring, std::wstring> SplitTargetName(const Prerequisite& row);
// "file:///" or "file://" as the URL starts with it (any case), or "".
std::wstring GetFilePrefix(const std::wstring& url);
// The local path of a file: URL, or "" for any other URL.
std::wstring UrlToLocalPath(const std::wstring& url);

// Notes a file the library brought onto the machine, for cleanup.
void AddPrereqFile(MSIHANDLE session, const std::wstring& path);

}  // namespace tv
