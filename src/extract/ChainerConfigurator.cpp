#include "extract/ChainerConfigurator.h"
#include <msiquery.h>
#include "download/PrereqDownload.h"
#include "extract/PrereqExtractor.h"
#include "extract/PrereqCleanup.h"
#include "frame/DebugLog.h"
#include "frame/LogFile.h"
#include "frame/Session.h"
#include "install/PrereqCommand.h"
#include "platform/Files.h"
#include "prereq/PrereqConditions.h"
#include "prereq/PrereqFilters.h"
#include "prereq/PrereqLocation.h"
#include "prereq/PrereqOptions.h"

namespace tv {

namespace {

const wchar_t kLauncherName[] = L"tvpackagechainer.exe";
const wchar_t kScriptName[] = L"file_deleter.ps1";
const wchar_t kIniName[] = L"tvpackagechainer.ini";

std::wstring BinaryQuery(const std::wstring& name) {
    return L"SELECT `Data` FROM `Binary` WHERE `Name`='" + name + L"'";
}

// The cell of the operation the row is due for, or none.
const wchar_t* CommandCell(MSIHANDLE session, const Prerequisite& row) {
    if (IsInstallNeeded(session, row)) return L"ComLine";
    if (IsRepairNeeded(session, row)) return L"RepairComLine";
    if (IsUninstallNeeded(session, row)) return L"UninstallComLine";
    return nullptr;
}

}  // namespace

UINT ChainerConfigurator::Run() {
    mIni.skipEmptyValues = true;
    mIni.skipEmptySections = true;
    const int uiLevel = GetUiLevel(mSession);
    if (uiLevel != 2 && uiLevel != 3) return 0;
    const std::vector<Prerequisite> chain =
        ReadPrereqList(mSession, [&](const Prerequisite& row) { return InChainList(mSession, row); });
    if (chain.empty()) return 0;

    const std::wstring folder = AddBackslash(GetPrereqsDir(mSession));
    const std::wstring extractionFolder = ExtractionFolder();
    IniSection& general = mIni.Section(L"GeneralOptions");
    general.Set(L"Options", uiLevel == 2 ? L"qh" : L"bh");
    general.Set(L"DownloadFolder", folder);
    general.Set(L"ExtractionFolder", AddBackslash(extractionFolder));

    if (GetProperty(mSession, L"TV_PREREQDIRS").empty()) {
        const std::wstring stop = NearestExistingFolder(extractionFolder);
        ::MsiSetPropertyW(mSession, L"TV_PREREQDIRS", stop.c_str());
    }

    WalkChain(chain, uiLevel);

    // After the walk, so that the files fetched for the chain are listed.
    IniSection& chainer = mIni.Section(L"PREREQ_CHAINER");
    chainer.Set(L"CleanupFiles", ShouldKeepPrereqFiles(mSession) ? L"" : GetProperty(mSession, L"TV_PREREQFILES"));
    chainer.Set(L"CleanupFolders", GetProperty(mSession, L"TV_PREREQDIRS"));
    if (gLogFile.active) chainer.Set(L"LogFile", gLogFile.path);

    const std::wstring script = folder + kScriptName;
    if (ExtractBinaryToFile(mSession, BinaryQuery(kScriptName), script)) chainer.Set(L"CleanupScript", script);

    mIni.path = folder + kIniName;
    CreateFolderChain(mIni.path);
    // An .ini file that can't be written isn't reported: the launcher then
    // has nothing to run.
    mIni.Write();

    const std::wstring launcher = folder + kLauncherName;
    if (ExtractBinaryToFile(mSession, BinaryQuery(kLauncherName), launcher))
        ::MsiSetPropertyW(mSession, L"TV_PREREQ_CHAINER", launcher.c_str());
    else
        TV_LOG(L"The chaining launcher could not be written: [ " << launcher << L" ]");
    return 0;
}

void ChainerConfigurator::WalkChain(const std::vector<Prerequisite>& chain, int uiLevel) {
    std::vector<Prerequisite> toExtract, toDownload;
    int counter = 1;
    for (const Prerequisite& row : chain) {
        const std::wstring name = L"App" + std::to_wstring(counter++);
        mIni.Section(L"PREREQUISITES").Set(name, Cell(row, L"DisplayName"));
        const bool fileMissing = FillAppSection(mIni.Section(name), row, uiLevel);
        const int location = CellInt(row, L"Location");
        if (location != 0 && location != 1) continue;
        if (fileMissing) (location == 0 ? toExtract : toDownload).push_back(row);
        mProgress.SetStepCount(1, true);
    }
    // Without an embedded location the files of Location 0 lie beside the
    // setup, where the launcher finds them or not.
    if (!HasEmbeddedFilesLocation(mSession)) toExtract.clear();
    FetchChainFiles(toExtract, toDownload);
}

bool ChainerConfigurator::FillAppSection(IniSection& section, const Prerequisite& row, int uiLevel) {
    const int location = CellInt(row, L"Location");
    const std::wstring setupPath =
        location == 0 || location == 1 ? GetPrereqFilePath(mSession, row) : std::wstring();
    // Both switch texts are formatted before the switch is cleared: a cell
    // that refers to the switch sees the previous row's value, as the
    // launcher's own formatting would.
    const std::wstring basic = FormatText(mSession, Cell(row, L"BasicUiComLine"));
    const std::wstring silent = FormatText(mSession, Cell(row, L"NoUiComLine"));
    ::MsiSetPropertyW(mSession, L"TV_PREREQ_UILEVEL_SWITCH", L"");
    const std::wstring letter = SelectUiLetter(OptionsOf(row), IsUninstallNeeded(mSession, row));
    if (const wchar_t* cell = UiSwitchCell(letter, uiLevel)) {
        const std::wstring& value = std::wstring(cell) == L"BasicUiComLine" ? basic : silent;
        ::MsiSetPropertyW(mSession, L"TV_PREREQ_UILEVEL_SWITCH", value.c_str());
    }

    const wchar_t* commandCell = CommandCell(mSession, row);
    const PrereqCommand command(setupPath, commandCell ? FormatText(mSession, Cell(row, commandCell)) : L"");
    section.Set(L"SetupFile", command.mApplicationPath);
    section.Set(L"CommandLine", command.mProcessedCmdLine);
    // The launcher runs what it is given: its rows' MissingCondition has
    // been asked here already.
    std::wstring options = OptionsOf(row);
    if (!HasOptionLetter(options, L'i')) options += L'i';
    section.Set(L"Options", options);
    return !FileExists(setupPath);
}

std::wstring ChainerConfigurator::ExtractionFolder() const {
    if (HasEmbeddedFilesLocation(mSession)) return GetPrereqsDir(mSession);
    // The package's own folder; a final backslash doesn't count as the last.
    std::wstring package = GetProperty(mSession, L"OriginalDatabase");
    if (!package.empty() && package.back() == L'\\') package.pop_back();
    return FolderOf(package);
}

// A file that neither the extraction nor the download brought stays in the
// .ini file with its SetupFile: the launcher meets the missing file and its
// row's m letter decides whether the chain stops.
void ChainerConfigurator::FetchChainFiles(const std::vector<Prerequisite>& toExtract,
                                          const std::vector<Prerequisite>& toDownload) {
    if (!toExtract.empty()) {
        // Failures here leave the file missing, which the launcher reports.
        PrereqExtractor extractor(mSession, GetPrereqsDir(mSession), mProgress);
        extractor.ExtractChainedPackages(toExtract);
        extractor.ExtractFromSetup(toExtract);
    }
    if (!toDownload.empty()) {
        PrereqDownload download(mSession, GetPrereqsDir(mSession));
        download.progress = &mProgress;
        download.Download(toDownload);
    }
    for (const std::vector<Prerequisite>* list : {&toExtract, &toDownload}) {
        for (const Prerequisite& row : *list) {
            const std::wstring path = GetPrereqFilePath(mSession, row);
            if (!FileExists(path)) TV_LOG(L"Prerequisite file not fetched for the chain: [ " << path << L" ]");
        }
    }
}

}  // namespace tv
