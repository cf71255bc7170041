#pragma once
#include <windows.h>
#include <msi.h>
#include <string>
#include "platform/PathComponents.h"

namespace tv {

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
    // Removes the empty folders between `file` and `stop`, deepest first;
    // `stop` and what lies above it stay.
    void PruneFolders(const PathComponents& file, const PathComponents& stop);

private:
    void RemovePrereqFile(const std::wstring& entry, const PathComponents& stop);

    MSIHANDLE mSession;
};

}  // namespace tv
