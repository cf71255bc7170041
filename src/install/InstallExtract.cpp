// The extraction phase of Install: files that come with the setup.
#include "extract/PrereqExtractor.h"
#include "frame/ActionNames.h"
#include "install/Install.h"
#include "prereq/PrereqFilters.h"
#include "prereq/PrereqLocation.h"

namespace tv {

void Install::ReadExtractList(std::vector<Prerequisite>& list) {
    MsiTableReader reader(mSession);
    OpenPrereqTable(reader);
    for (const Prerequisite& row : reader.GetRows()) {
        if (!InExtractionList(mSession, row)) continue;
        mProgress.SetStepCount(1, true);
        list.push_back(row);
    }
}

UINT Install::ExtractFiles() {
    if (!HasEmbeddedFilesLocation(mSession)) return 0;
    SetPrereqDirs();
    AnnounceAction(gExtractActionName, mProgress);
    std::vector<Prerequisite> list;
    ReadExtractList(list);
    if (list.empty()) return 0;
    PrereqExtractor extractor(mSession, GetPrereqsDir(mSession), mProgress);
    extractor.stopOnFailure = true;
    extractor.ExtractChainedPackages(list);
    extractor.ExtractFromSetup(list);
    return 0;
}

}  // namespace tv
