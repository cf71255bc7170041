// The parallel route of Install: a second thread delivers the files one
// after the other while this thread launches each row as soon as its own
// file is here.
#include <thread>
#include "download/PrereqDownload.h"
#include "frame/ActionNames.h"
#include "frame/DebugLog.h"
#include "frame/MsiTableReader.h"
#include "install/Install.h"
#include "prereq/PrereqFilters.h"
#include "prereq/PrereqLocation.h"

namespace tv {

bool Install::ReadTransferList(std::vector<Prerequisite>& list) {
    bool noDownload = true;
    MsiTableReader reader(mSession);
    OpenPrereqTable(reader);
    for (const Prerequisite& row : reader.GetRows()) {
        // Every phase is delivered here; each phase's entry point launches
        // its own rows.
        if (!InTransferList(mSession, row)) continue;
        if (CellInt(row, L"Location") == 1) noDownload = false;
        mDownloadProgress.SetStepCount(1, true);
        const int sequence = CellInt(row, L"Sequence");
        if (mPromises.count(sequence) == 0) {
            mFutures[sequence] = mPromises[sequence].get_future();
        } else {
            // A second row under the same key shares the first one's promise;
            // the delivery sets it after the last of them.
            TV_LOG(L"Prerequisites share the Sequence [ " << sequence << L" ]: " << Cell(row, L"DisplayName"));
        }
        list.push_back(row);
    }
    return noDownload;
}

bool Install::AwaitDelivery(const Prerequisite& row) {
    const int sequence = CellInt(row, L"Sequence");
    if (auto known = mDelivered.find(sequence); known != mDelivered.end()) return known->second;
    auto future = mFutures.find(sequence);
    if (future == mFutures.end()) return true;  // not delivered by this route
    bool delivered = false;
    try {
        delivered = future->second.get();
    } catch (const std::future_error&) {
        // The delivery ended before this row: its file will not come.
        TV_LOG(L"No file will be delivered for: " << Cell(row, L"DisplayName"));
    }
    mFutures.erase(future);
    mDelivered[sequence] = delivered;
    return delivered;
}

UINT Install::ParalelDownloadInstall() {
    mDownloadProgress.filter = [](std::vector<MessageField>& fields) {
        while (fields.size() < 3) fields.emplace_back(0);
        fields.emplace_back(2);
        return true;
    };
    TV_LOG(L"Entering Install::ParalelDownloadInstall");
    std::vector<Prerequisite> transfer;
    const bool noDownload = ReadTransferList(transfer);
    std::vector<Prerequisite> ignored;
    ReadInstallList(PhaseMain, ignored);
    AnnounceAction(gInstallActionName, mProgress);
    AnnounceAction(noDownload ? gExtractActionName : gDownloadActionName, mDownloadProgress);
    TV_LOG(L"Number of prerequisites to download/extract: [ " << transfer.size() << L" ]");
    if (transfer.empty()) return 0;
    SetPrereqDirs();
    TV_LOG(L"Prerequisites download/extract location: [ " << GetPrereqsDir(mSession) << L" ]");

    PrereqDownload download(mSession, GetPrereqsDir(mSession));
    download.progress = &mDownloadProgress;
    download.stopOnMandatoryFailure = true;
    std::jthread delivery;
    try {
        delivery = std::jthread([download, transfer, promises = std::move(mPromises)]() mutable {
            // Whatever ends the delivery early, the promises it still holds
            // break with it and the run reads them as not delivered.
            try {
                download.DownloadAndExtract(transfer, std::move(promises));
            } catch (...) {
            }
        });
    } catch (const std::system_error& error) {
        // Nothing has been launched; the installer must see the action fail.
        TV_LOG(L"FAILED to start the download thread: " << error.code().value());
        mFutures.clear();
        return ERROR_INSTALL_FAILURE;
    }
    // The delivery ends by itself, at the end of the list or at its first
    // stop, and never waits for the run: the join below, like the jthread's
    // own on the way out of an exception, always comes back.
    RunPrereqs(PhaseMain, transfer);
    delivery.join();
    TV_LOG(L"Exit Install::ParalelDownloadInstall");
    return mResult;
}

}  // namespace tv
