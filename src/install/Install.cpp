#include "install/Install.h"
#include <msiquery.h>
#include "frame/ActionNames.h"
#include "frame/DebugLog.h"
#include "frame/Messages.h"
#include "frame/MsiTableReader.h"
#include "frame/Session.h"
#include "download/IntegrityCheck.h"
#include "download/PrereqDownload.h"
#include "install/Launcher.h"
#include "install/PrereqCommand.h"
#include "install/Restart.h"
#include "install/RollbackRecord.h"
#include "platform/Files.h"
#include "prereq/PrereqConditions.h"
#include "prereq/PrereqFilters.h"
#include "prereq/PrereqLocation.h"
#include "prereq/PrereqOptions.h"

namespace tv {

Install::Install(MSIHANDLE session) : mSession(session), mProgress(session), mDownloadProgress(session) {}

UINT Install::Run(RunPhase phase) {
    AnnounceAction(gInstallActionName, mProgress);
    std::vector<Prerequisite> list;
    ReadInstallList(phase, list);
    if (list.empty()) return 0;
    if (phase != PhasePost) PrepareResume();

    {
        ConsentWatcherThread watcher;
        RunPrereqs(phase, list);
    }
    return mResult;
}

void Install::AnnounceAction(const std::wstring& action, PrereqProgress& reporter) {
    MsiTableReader reader(mSession);
    const wchar_t* const columns[] = {L"Description", L"Template", nullptr};
    const std::wstring where = L" `Action` = '" + action + L"' ";
    if (!reader.Open(L"ActionText", columns, nullptr, where.c_str())) return;
    const TableRow& row = reader.GetRows().front();
    std::wstring description = Cell(row, L"Description");
    const std::wstring& templ = Cell(row, L"Template");
    if (action == gInstallActionName) {
        CharBuffer text;
        const wchar_t* key = GetProperty(mSession, L"REMOVE") == L"ALL" ? L"RemovePrereq" : L"InstallPrereq";
        GetUiTextBuffer(mSession, key, text);
        description = text.Text();
    }
    reporter.SendMessage(INSTALLMESSAGE_ACTIONSTART, {action, description, templ});
}

void Install::ReadInstallList(RunPhase phase, std::vector<Prerequisite>& list) {
    MsiTableReader reader(mSession);
    OpenPrereqTable(reader);
    for (const Prerequisite& row : reader.GetRows()) {
        if (!InRunList(mSession, row, phase)) continue;
        mProgress.SetStepCount(1, true);
        list.push_back(row);
    }
    if (phase == PhasePost) return;
    std::vector<std::wstring> missing, found;
    for (const Prerequisite& row : reader.GetRows())
        (IsActionNeeded(mSession, row) ? missing : found).push_back(Cell(row, L"DisplayName"));
    AppendListProperty(missing, L"TV_MISSING_PREREQS");
    AppendListProperty(found, L"TV_FOUND_PREREQS");
}

void Install::AppendListProperty(const std::vector<std::wstring>& names, const std::wstring& property) {
    if (names.empty()) return;
    std::wstring value = GetProperty(mSession, property);
    if (!value.empty()) value += L'|';
    for (size_t i = 0; i < names.size(); ++i) value += (i ? L"|" : L"") + names[i];
    ::MsiSetPropertyW(mSession, property.c_str(), value.c_str());
}

void Install::RunPrereqs(RunPhase phase, const std::vector<Prerequisite>& list) {
    if (!mFutures.empty()) mProgress.SetStepCount(static_cast<unsigned>(mFutures.size()), true);
    for (const Prerequisite& row : list) {
        if (DoRunCustomAction(Cell(row, L"RunCustActBefore"))) {
            mResult = 1;
            continue;
        }
        if (!AwaitDelivery(row)) {
            mResult = ERROR_INSTALL_USEREXIT;
            break;
        }
        if (GetRunPhase(OptionsOf(row)) != phase) continue;
        LaunchPrereq(row);
        DoRunCustomAction(Cell(row, L"RunCustActAfter"));
        if (mProgress.IsCancelled()) {
            mResult = ERROR_INSTALL_USEREXIT;
            break;
        }
    }
}

bool Install::DoRunCustomAction(const std::wstring& text) {
    if (text.empty()) return false;
    DebugLog::Instance().Init(mSession, text);
    TV_LOG(L"DoRunCustomAction begin.");
    UINT result = ERROR_SUCCESS;
    const size_t separator = text.find(L';');
    if (separator != std::wstring::npos) result = ::MsiDoActionW(mSession, text.substr(separator + 1).c_str());
    if (result == ERROR_SUCCESS) result = ::MsiDoActionW(mSession, text.substr(0, separator).c_str());
    TV_LOG(L"DoRunCustomAction end.");
    return result != ERROR_SUCCESS;
}

void Install::SetPrereqDirs() {
    if (!GetProperty(mSession, L"TV_PREREQDIRS").empty()) return;
    std::wstring folder = GetPrereqsDir(mSession);
    while (!folder.empty() && !FileExists(folder)) {
        const size_t slash = folder.rfind(L'\\');
        if (slash == std::wstring::npos) break;
        folder.resize(slash);
    }
    ::MsiSetPropertyW(mSession, L"TV_PREREQDIRS", folder.c_str());
}

bool Install::LaunchPrereq(const Prerequisite& row) {
    const std::wstring& name = Cell(row, L"DisplayName");
    const std::wstring& options = OptionsOf(row);
    mProgress.SendActionData({mProgress.InstallingText(), name});
    const std::wstring filePath = GetPrereqFilePath(mSession, row);
    const int uiLevel = GetUiLevel(mSession);
    // The command lines may refer to the switch, so it is set first.
    SetUiLevelSwitch(mSession, row);

    std::wstring runCommand, undoCommand;
    if (IsInstallNeeded(mSession, row)) {
        runCommand = FormatText(mSession, Cell(row, L"ComLine"));
        undoCommand = FormatText(mSession, Cell(row, L"UninstallComLine"));
    } else if (IsRepairNeeded(mSession, row)) {
        runCommand = FormatText(mSession, Cell(row, L"RepairComLine"));
    } else if (IsUninstallNeeded(mSession, row)) {
        runCommand = FormatText(mSession, Cell(row, L"UninstallComLine"));
        undoCommand = FormatText(mSession, Cell(row, L"ComLine"));
    } else {
        return true;  // an earlier row or action made it unnecessary
    }

    if (CellInt(row, L"Location") == 1 && IsFileNeeded(mSession, row) && !VerifyPrereqFile(mSession, row)) {
        const int answer = ReportPrereqFailure(mSession, 4155, 4156, GetPrereqShortName(mSession, row), row);
        if (answer == 0) return true;  // the user goes on without it
        mResult = static_cast<UINT>(answer);
        return false;
    }

    PrereqCommand command(filePath, runCommand);
    const std::wstring logCommand = FormatText(mSession, Cell(row, L"LogComLine"));
    if (!logCommand.empty()) command.mProcessedCmdLine += L" " + logCommand;

    mProgress.BeginStep(0, 1, 0);
    DWORD exitCode = 0;
    const bool started = LaunchAndWait(command.mApplicationPath, command.mProcessedCmdLine, L"", false, exitCode);
    const std::wstring exitText = std::to_wstring(static_cast<int>(exitCode));
    ::MsiSetPropertyW(mSession, Cell(row, L"RetValPropName").c_str(), exitText.c_str());
    mProgress.EndStep(0, 0);

    if (!started) {
        const std::wstring text = L"Failed to launch file: " + filePath + L" Error: " + std::to_wstring(exitCode);
        SendText(mSession, text, INSTALLMESSAGE_INFO);
        SendText(mSession, text, INSTALLMESSAGE_ERROR);
        mResult = exitCode;
        return false;
    }
    mProgress.SendActionData({mProgress.InstallingText() + mProgress.CompletedSuffix(), name});
    if (HasOptionLetter(options, L'l') && !undoCommand.empty())
        StoreRollbackEntry(Cell(row, L"PrereqKey"), filePath, undoCommand, options);
    if (HasOptionLetter(options, L'r') && (!HasOptionLetter(options, L'R') || exitCode == 0))
        return RestartIfConfirmed(name, uiLevel == 2);
    return true;
}

bool Install::RestartIfConfirmed(const std::wstring& name, bool silent) {
    if (!silent && SendNumbered(mSession, 1702, 0x1000044, {name}) == IDNO) return false;
    TV_LOG(L"In this point we should restart the system");
    return GetRestartSeam().restartSystem();
}

void Install::StoreRollbackEntry(const std::wstring& key, const std::wstring& file, const std::wstring& command,
                                 const std::wstring& options) {
    std::wstring value = GetProperty(mSession, L"TV_ROLLBACK_PREREQS");
    if (!value.empty()) value += L'\x0002';
    value += JoinRollbackEntries({{key, file, command, options}});
    ::MsiSetPropertyW(mSession, L"TV_ROLLBACK_PREREQS", value.c_str());
}

UINT Install::Verify(RunPhase phase) {
    AnnounceAction(gVerifyActionName, mProgress);
    if (!GetProperty(mSession, L"FASTOEM").empty()) return 0;
    // Without the setup executable, a silent or basic installation is not
    // verified; its rollback entries stay in the session.
    if (EvaluateCondition(mSession, L"SETUPEXEDIR") != MSICONDITION_TRUE &&
        EvaluateCondition(mSession, L"(UILevel = 2) OR (UILevel = 3)") == MSICONDITION_TRUE)
        return 0;

    std::vector<RollbackEntry> entries = ParseRollbackEntries(GetProperty(mSession, L"TV_ROLLBACK_PREREQS"));
    const std::vector<Prerequisite> missing = ReadPrereqList(mSession, [&](const Prerequisite& row) {
        if (!InVerificationList(mSession, row, phase)) return false;
        if (!IsFeatureBound(row) && !PassesSelectionProperty(mSession, row)) return false;
        return IsStillMissing(mSession, row);
    });
    for (const Prerequisite& row : missing)
        std::erase_if(entries, [&](const RollbackEntry& entry) { return entry.key == Cell(row, L"PrereqKey"); });

    // The entries of what did arrive are kept even if this verification now
    // stops the installation, so that its rollback finds them.
    WriteRollbackValue(mSession, JoinRollbackEntries(entries));
    for (const Prerequisite& row : missing) {
        const int answer = ReportPrereqFailure(mSession, 4153, 4154, Cell(row, L"DisplayName"), row);
        if (answer != 0) return static_cast<UINT>(answer);
    }
    return mResult;
}

bool Install::ArePrereqsFulfilled() {
    MsiTableReader reader(mSession);
    OpenPrereqTable(reader);
    for (const Prerequisite& row : reader.GetRows()) {
        if (IsFeatureBound(row) || !PassesSelectionProperty(mSession, row)) continue;
        if (!IsLanguageAccepted(Cell(row, L"Languages")) || !IsPlatformAccepted(OptionsOf(row))) continue;
        if (EvaluateCondition(mSession, Cell(row, L"InstallCondition")) == MSICONDITION_FALSE) continue;
        const MSICONDITION missing = EvaluateCondition(mSession, Cell(row, L"MissingCondition"));
        if (missing == MSICONDITION_TRUE || missing == MSICONDITION_NONE) return false;
    }
    return true;
}

UINT Install::ReadAndDownload() {
    TV_LOG(L"Entering Install::ReadAndDownload");
    AnnounceAction(gDownloadActionName, mProgress);
    std::vector<Prerequisite> list;
    ReadDownloadList(list);
    TV_LOG(L"Number of prerequisites to download: [ " << list.size() << L" ]");
    if (list.empty()) return 0;
    SetPrereqDirs();
    TV_LOG(L"Prerequisites download location: [ " << GetPrereqsDir(mSession) << L" ]");
    PrereqDownload download(mSession, GetPrereqsDir(mSession));
    download.progress = &mProgress;
    download.stopOnMandatoryFailure = true;
    const UINT result = download.Download(list);
    TV_LOG(L"Exit Install::ReadAndDownload");
    return result;
}

void Install::ReadDownloadList(std::vector<Prerequisite>& list) {
    MsiTableReader reader(mSession);
    OpenPrereqTable(reader);
    for (const Prerequisite& row : reader.GetRows()) {
        if (!InDownloadList(mSession, row)) continue;
        mProgress.SetStepCount(1, true);
        list.push_back(row);
    }
}

}  // namespace tv
