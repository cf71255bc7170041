#pragma once
#include <windows.h>
#include <msi.h>

namespace tv {

// Removes the files and folders brought for the prerequisites, and the
// resume registration, at the end of an installation.
class PrereqCleanup {
public:
    explicit PrereqCleanup(MSIHANDLE session) : mSession(session) {}
    UINT Run();

private:
    MSIHANDLE mSession;
};

}  // namespace tv
