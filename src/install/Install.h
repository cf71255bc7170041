#pragma once
#include <windows.h>
#include <msi.h>
#include "frame/PrereqProgress.h"
#include "prereq/RunPhase.h"

namespace tv {

// The work object of the download, extract, install and verify entry points.
// Built on the entry point's stack for one operation.
class Install {
public:
    explicit Install(MSIHANDLE session) : mSession(session), mProgress(session), mDownloadProgress(session) {}

    UINT Run(RunPhase phase);
    UINT Verify(RunPhase phase);
    UINT ReadAndDownload();
    UINT ExtractFiles();
    UINT ParalelDownloadInstall();
    bool ArePrereqsFulfilled();

private:
    MSIHANDLE mSession;
    PrereqProgress mProgress;          // the install line
    PrereqProgress mDownloadProgress;  // the download line of the parallel route
    UINT mResult = 0;
};

}  // namespace tv
