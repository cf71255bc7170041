#include "extract/PrereqExtractor.h"
#include <msiquery.h>
#include <shellapi.h>
#include <utility>
#include "extract/CallbackPipe.h"
#include "extract/ExtractionMonitor.h"
#include "frame/DebugLog.h"
#include "frame/Messages.h"
#include "frame/MsiTableReader.h"
#include "frame/Session.h"
#include "platform/AccessList.h"
#include "platform/Files.h"
#include "platform/ProcessUtil.h"
#include "prereq/PrereqConditions.h"
#include "prereq/PrereqLocation.h"

namespace tv {

namespace {

const wchar_t* const kChainedTable = L"TV_ChainedPackageFile";

// The size of the stream the query selects; 0 without a row.
UINT SelectedStreamSize(MSIHANDLE database, const std::wstring& query) {
    MsiHandle view;
    if (!OpenView(database, query, view)) return 0;
    MsiHandle record;
    if (::MsiViewFetch(view.Get(), record.Put()) != ERROR_SUCCESS) return 0;
    return ::MsiRecordDataSize(record.Get(), 1);
}

}  // namespace

int GroupOf(const Prerequisite& row) { return CellInt(row, L"Sequence") + 100; }

std::wstring ExtractArguments(const std::vector<int>& groups, const std::wstring& folder, DWORD callbackId) {
    std::wstring arguments = L"/groupsextract:";
    for (int group : groups) arguments += std::to_wstring(group) + L";";
    return arguments + L" /out:\"" + folder + L"\" /callbackid:" + std::to_wstring(callbackId);
}

bool ExtractBinaryToFile(MSIHANDLE session, const std::wstring& query, const std::wstring& target) {
    if (FileExists(target)) return true;
    MsiHandle database(::MsiGetActiveDatabase(session));
    const std::wstring folder = FolderOf(target);
    const UINT size = SelectedStreamSize(database.Get(), query);
    const std::wstring root = folder.substr(0, 3);
    unsigned long long freeBytes = 0;
    std::wstring freeText = GetFreeSpace(folder, freeBytes);
    while (freeBytes < size) {
        MsiHandle record = MakeRecord({1601, root, std::to_wstring(size >> 10), freeText}, false);
        const int answer = ::MsiProcessMessage(session, static_cast<INSTALLMESSAGE>(0x01000005), record.Get());
        if (answer != IDRETRY) return false;
        freeText = GetFreeSpace(folder, freeBytes);
    }
    CreateFolderChain(target);
    return ExtractBinary(database.Get(), query, ToLongPath(target));
}

PrereqExtractor::PrereqExtractor(MSIHANDLE session, std::wstring folder, PrereqProgress& progress)
    : mSession(session), mDatabase(::MsiGetActiveDatabase(session)), mProgress(progress), mFolder(std::move(folder)) {}

UINT PrereqExtractor::ExtractChainedPackages(const std::vector<Prerequisite>& rows) {
    for (const Prerequisite& row : rows) {
        const bool ok = ExtractChainedFiles(row);
        if (stopOnFailure && !IsOptionalForFailure(mSession, ok, row)) break;
    }
    return 0;
}

bool PrereqExtractor::ExtractChainedFiles(const Prerequisite& row) {
    const std::wstring folder = AddBackslash(mFolder);
    const std::wstring key = Cell(row, L"PrereqKey");
    MsiTableReader reader(mSession);
    const wchar_t* const columns[] = {L"FileId", L"TargetPath", nullptr};
    const std::wstring where = L"`ChainedPackage`='" + key + L"'";
    if (reader.Open(kChainedTable, columns, nullptr, where.c_str()))
        mProgress.SendActionData({mProgress.ExtractingText(), Cell(row, L"DisplayName")});
    for (const TableRow& file : reader.GetRows()) {
        const std::wstring target = folder + Cell(file, L"TargetPath");
        const std::wstring query = L"SELECT `Content` FROM `" + std::wstring(kChainedTable) + L"` WHERE `FileId`='" +
                                   Cell(file, L"FileId") + L"'";
        // The package names the place, but never one outside the folder.
        if (!IsInsideFolder(target, mFolder) || !ExtractBinaryToFile(mSession, query, target)) {
            TV_LOG(L"Failed to extract: " << target);
            return false;
        }
        AddPrereqFile(mSession, target);
    }
    return !mProgress.IsCancelled();
}

bool PrereqExtractor::Launch(const std::wstring& exe, const std::wstring& arguments, KernelHandle& process) {
    if (IsLocalSystem()) {
        // The shell would start it in a session nobody sees; the process
        // is started directly.
        const bool quote = exe.find(L' ') != std::wstring::npos && exe.front() != L' ' && exe.back() != L' ';
        const std::wstring line = (quote ? L"\"" + exe + L"\"" : exe) + L" " + arguments;
        TV_LOG(L"Full cmd: [" << line << L"]");
        if (!LaunchProcess(exe, line, &process)) {
            TV_LOG(L"LaunchProcess failed");
            return false;
        }
        return true;
    }
    SHELLEXECUTEINFOW info{};
    info.cbSize = sizeof(info);
    info.fMask = SEE_MASK_NOCLOSEPROCESS;
    info.lpFile = exe.c_str();
    info.lpParameters = arguments.c_str();
    if (!::ShellExecuteExW(&info)) {
        TV_LOG(L"ShellExecute failed");
        return false;
    }
    process.Reset(info.hProcess);
    return true;
}

UINT PrereqExtractor::ExtractFromSetup(const std::vector<Prerequisite>& rows) {
    if (rows.empty()) return 0;
    std::vector<int> groups;
    for (const Prerequisite& row : rows) groups.push_back(GroupOf(row));
    const DWORD processId = ::GetCurrentProcessId();
    const std::wstring arguments = ExtractArguments(groups, mFolder, processId);
    TV_LOG(L"exeCmd: [" << arguments << L"]");
    std::wstring exe = GetProperty(mSession, L"TV_SETUPEXEPATH");
    if (exe.empty()) {
        ::MsiDoActionW(mSession, L"TV_FindExeLzma");
        exe = GetProperty(mSession, L"TV_SETUPEXEPATH");
    }
    TV_LOG(L"exePath: [" << exe << L"]");
    if (exe.empty() || !FileExists(exe)) return 0;

    // The pipe exists before the executable starts, so it can connect at once.
    CallbackPipe pipe;
    pipe.Init(true, std::to_wstring(processId));
    KernelHandle process;
    if (!Launch(exe, arguments, process)) return 0;
    // The process isn't waited for: the end of the conversation is the end
    // of the work. Its handle only lets a wait for it end when it does.
    pipe.WatchPeer(process.Get());
    ExtractionMonitor monitor(mSession, mProgress, pipe, mFolder, std::move(groups), rows);
    monitor.Run();
    return monitor.LastResult() == IDCANCEL ? 1 : 0;
}

}  // namespace tv
