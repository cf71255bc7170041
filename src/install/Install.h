#pragma once
#include <windows.h>
#include <msi.h>
#include <future>
#include <map>
#include <string>
#include <vector>
#include "frame/PrereqProgress.h"
#include "prereq/Prerequisite.h"
#include "prereq/RunPhase.h"

namespace tv {

// The work object of the download, extract, install and verify entry points.
// Built on the entry point's stack for one operation; what must outlast it
// goes into session properties or the registry.
class Install {
public:
    explicit Install(MSIHANDLE session);

    // Announces the install action, runs the rows of the phase in Sequence
    // order with their custom actions, and gives mResult.
    UINT Run(RunPhase phase);
    UINT Verify(RunPhase phase);
    UINT ReadAndDownload();
    UINT ExtractFiles();
    UINT ParalelDownloadInstall();
    bool ArePrereqsFulfilled();

    void AnnounceAction(const std::wstring& action, PrereqProgress& reporter);
    void ReadInstallList(RunPhase phase, std::vector<Prerequisite>& list);
    // The Extraction list, one progress step per row kept.
    void ReadExtractList(std::vector<Prerequisite>& list);
    // The rows whose files are to be fetched, one progress step each.
    void ReadDownloadList(std::vector<Prerequisite>& list);
    // The rows the parallel route delivers, with a promise and a future per
    // Sequence; true when none of them is to be downloaded.
    bool ReadTransferList(std::vector<Prerequisite>& list);
    void AppendListProperty(const std::vector<std::wstring>& names, const std::wstring& property);
    void RunPrereqs(RunPhase phase, const std::vector<Prerequisite>& list);
    // Runs "A" or "A;B" (B first, then A unless B failed); true on failure.
    bool DoRunCustomAction(const std::wstring& text);
    void SetPrereqDirs();
    bool LaunchPrereq(const Prerequisite& row);
    void StoreRollbackEntry(const std::wstring& key, const std::wstring& file, const std::wstring& command,
                            const std::wstring& options);
    // Registers the command that continues this installation after a restart.
    void PrepareResume();
    void RegisterResume(const std::wstring& application, const std::wstring& arguments);
    bool RestartIfConfirmed(const std::wstring& name, bool silent);

    UINT Result() const noexcept { return mResult; }

private:
    // Blocks until the row's file is delivered on the parallel route; true
    // for a row this route doesn't deliver. A broken promise reads false.
    bool AwaitDelivery(const Prerequisite& row);

    MSIHANDLE mSession;
    PrereqProgress mProgress;          // the install line
    PrereqProgress mDownloadProgress;  // the download line of the parallel route
    UINT mResult = 0;
    std::map<int, std::promise<bool>> mPromises;
    std::map<int, std::future<bool>> mFutures;
    std::map<int, bool> mDelivered;  // futures already read, for rows that share a key
};

}  // namespace tv
