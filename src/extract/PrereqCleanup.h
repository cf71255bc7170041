#pragma once
#include <windows.h>
#include <msi.h>
#include <functional>
#include <string>
#include "platform/PathComponents.h"

namespace tv {

// Deletes each file of `list` (full paths joined by U+0001) that lies below
// `stopFolder`, and the folders made for it; the stop folder and what lies
// above it stay. `note` hears why a file was passed over. Shared by
// CleanPrereq and the chaining launcher, which cleans up on its route.
void RemoveFetchedFiles(const std::wstring& list, const std::wstring& stopFolder,
                        const std::function<void(const std::wstring&)>& note);
// Removes the empty folders between `file` and `stop`, deepest first.
void PruneFolders(const PathComponents& file, const PathComponents& stop);

// True when TV_KEEPPREREQFILES has a value: the fetched files stay.
bool ShouldKeepPrereqFiles(MSIHANDLE session);

// Removes the files and folders brought for the prerequisites, and the
// resume registration, at the end of an installation.
class PrereqCleanup {
public:
    explicit PrereqCleanup(MSIHANDLE session) : mSession(session) {}
    UINT Run();

    // Deletes each file of TV_PREREQFILES that lies below the stop folder
    // TV_PREREQDIRS, and the folders made for it. TV_PREREQFILES is public,
    // so a path outside the stop folder is never touched, whatever it says.
    void RemovePrereqFiles();

private:
    MSIHANDLE mSession;
};

}  // namespace tv
