#include "prereq/PrereqFilters.h"
#include "platform/Files.h"
#include "prereq/PrereqConditions.h"
#include "prereq/PrereqLocation.h"
#include "prereq/PrereqOptions.h"

namespace tv {

namespace {

// No w, and the row applies to this system's language and processor.
bool Applies(const Prerequisite& row) {
    const std::wstring& options = OptionsOf(row);
    return !HasOptionLetter(options, L'w') && IsLanguageAccepted(Cell(row, L"Languages")) &&
           IsPlatformAccepted(options);
}

bool ToDownload(MSIHANDLE session, const Prerequisite& row) {
    return CellInt(row, L"Location") == 1 && IsFileNeeded(session, row);
}

bool ToExtract(MSIHANDLE session, const Prerequisite& row) {
    return CellInt(row, L"Location") == 0 && IsFileAbsent(session, row) && IsFileNeeded(session, row);
}

}  // namespace

bool IsFileAbsent(MSIHANDLE session, const Prerequisite& row) {
    // A row of a Location without a file (2 and the like) has nothing to be
    // absent and is launched on its command line alone.
    const int location = CellInt(row, L"Location");
    if (location != 0 && location != 1) return false;
    return !FileExists(GetPrereqFilePath(session, row));
}

bool InDownloadList(MSIHANDLE session, const Prerequisite& row) { return Applies(row) && ToDownload(session, row); }

bool InExtractionList(MSIHANDLE session, const Prerequisite& row) { return Applies(row) && ToExtract(session, row); }

bool InTransferList(MSIHANDLE session, const Prerequisite& row) {
    return Applies(row) && (ToDownload(session, row) || ToExtract(session, row));
}

bool InRunList(MSIHANDLE session, const Prerequisite& row, RunPhase phase) {
    const std::wstring& options = OptionsOf(row);
    if (HasOptionLetter(options, L'w') || GetRunPhase(options) != phase) return false;
    if (!IsLanguageAccepted(Cell(row, L"Languages")) || !IsPlatformAccepted(options)) return false;
    if (!IsActionNeeded(session, row)) return false;
    return !(IsFileAbsent(session, row) && IsFileNeeded(session, row));
}

bool InVerificationList(MSIHANDLE, const Prerequisite& row, RunPhase phase) {
    const std::wstring& options = OptionsOf(row);
    return GetRunPhase(options) == phase && !HasOptionLetter(options, L'i') &&
           IsLanguageAccepted(Cell(row, L"Languages")) && IsPlatformAccepted(options);
}

bool InChainList(MSIHANDLE session, const Prerequisite& row) {
    const std::wstring& options = OptionsOf(row);
    return !HasOptionLetter(options, L'w') && !HasOptionLetter(options, L'k') && CellInt(row, L"Location") != 2 &&
           IsActionNeeded(session, row);
}

}  // namespace tv
