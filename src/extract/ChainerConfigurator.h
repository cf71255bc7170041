#pragma once
#include <windows.h>
#include <msi.h>
#include <string>
#include <vector>
#include "extract/IniDocument.h"
#include "frame/PrereqProgress.h"
#include "prereq/Prerequisite.h"

namespace tv {

// Hands the prerequisites to the chaining launcher when the installation
// runs without a full UI: writes tvpackagechainer.ini, puts the launcher and
// its cleanup script beside it and sets TV_PREREQ_CHAINER to the launcher.
// Starting the launcher is the package's business.
class ChainerConfigurator {
public:
    ChainerConfigurator(MSIHANDLE session, PrereqProgress& progress) : mSession(session), mProgress(progress) {}
    // Always 0: a step that fails leaves its part out.
    UINT Run();

    // Fills the section of one chain row; true when the row's file is not
    // at its path.
    bool FillAppSection(IniSection& section, const Prerequisite& row, int uiLevel);
    // Brings the files of the rows that lack them: the rows of Location 0
    // out of the setup executable, those of Location 1 from their URL.
    void FetchChainFiles(const std::vector<Prerequisite>& toExtract, const std::vector<Prerequisite>& toDownload);

private:
    void WalkChain(const std::vector<Prerequisite>& chain, int uiLevel);
    // Where the launcher finds files that come with the setup.
    std::wstring ExtractionFolder() const;

    MSIHANDLE mSession;
    PrereqProgress& mProgress;
    IniDocument mIni;
};

}  // namespace tv
