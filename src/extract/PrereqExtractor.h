#pragma once
#include <windows.h>
#include <msi.h>
#include <string>
#include <vector>
#include "frame/MsiHandle.h"
#include "frame/PrereqProgress.h"
#include "platform/KernelHandle.h"
#include "prereq/Prerequisite.h"

namespace tv {

// Brings the files of prerequisites that come with the setup: those stored
// in TV_ChainedPackageFile, written here, and those inside the setup
// executable, which a second copy of it unpacks while this side serves the
// callback pipe. Callers hand it a whole list or one row at a time; each
// caller, on its own thread, has its own extractor and reporter.
class PrereqExtractor {
public:
    PrereqExtractor(MSIHANDLE session, std::wstring folder, PrereqProgress& progress);
    PrereqExtractor(const PrereqExtractor&) = delete;
    PrereqExtractor& operator=(const PrereqExtractor&) = delete;

    // Writes each row's chained package files. Always 0.
    UINT ExtractChainedPackages(const std::vector<Prerequisite>& rows);
    // Asks the setup executable for the rows' groups. 0, or 1 when the user
    // cancelled during the conversation; an executable that can't be found
    // or started also gives 0, and the files are simply missing.
    UINT ExtractFromSetup(const std::vector<Prerequisite>& rows);

    // With it set, a mandatory row that is still to be installed and whose
    // files failed ends ExtractChainedPackages.
    bool stopOnFailure = false;

private:
    bool ExtractChainedFiles(const Prerequisite& row);
    // Starts the executable; false when it didn't start.
    bool Launch(const std::wstring& exe, const std::wstring& arguments, KernelHandle& process);

    MSIHANDLE mSession;
    MsiHandle mDatabase;
    PrereqProgress& mProgress;
    std::wstring mFolder;
};

// True when `target` exists afterwards with the stream the query selects;
// an existing file is taken as it is. Asks for room while the volume has
// less than the stream's size free.
bool ExtractBinaryToFile(MSIHANDLE session, const std::wstring& query, const std::wstring& target);

// A row's group inside the setup executable: its Sequence plus 100.
int GroupOf(const Prerequisite& row);
// "/groupsextract:<n>;<n>; /out:"<folder>" /callbackid:<id>".
std::wstring ExtractArguments(const std::vector<int>& groups, const std::wstring& folder, DWORD callbackId);

}  // namespace tv
