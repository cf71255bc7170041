#include "frame/PrereqProgress.h"
#include "frame/MsiTableReader.h"

namespace tv {

PrereqProgress::PrereqProgress(MSIHANDLE session) : mSession(session) {
    MsiTableReader reader(session);
    mInstallingText = reader.GetUiText(L"InstallingPrereq");
    mDownloadingText = reader.GetUiText(L"DownloadingPrereq");
    mExtractingText = reader.GetUiText(L"ExtractPrereq");
    mCompletedSuffix = reader.GetUiText(L"PrereqCompletedSuffix");
}

}  // namespace tv
