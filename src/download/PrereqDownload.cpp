#include "download/PrereqDownload.h"
#include <shlwapi.h>
#include "download/FileTransfer.h"
#include "download/IntegrityCheck.h"
#include "download/UrlParts.h"
#include "extract/PrereqExtractor.h"
#include "frame/DebugLog.h"
#include "frame/Messages.h"
#include "frame/Session.h"
#include "platform/Files.h"
#include "platform/LocalMemory.h"
#include "prereq/PrereqConditions.h"
#include "prereq/PrereqLocation.h"

namespace tv {

// This vendor's server sends its large files compressed only when the
// client says it accepts that.
const wchar_t kAnyEncodingHost[] = L"dl.vendor.net";

namespace {

struct KibCopyState {
    PrereqProgress* observer;
    LONGLONG lastBytes = 0;
};

DWORD CALLBACK CountKib(LARGE_INTEGER fileSize, LARGE_INTEGER transferred, LARGE_INTEGER, LARGE_INTEGER, DWORD,
                        DWORD reason, HANDLE, HANDLE, void* context) {
    auto& state = *static_cast<KibCopyState*>(context);
    if (state.observer && state.observer->IsCancelled()) return PROGRESS_CANCEL;
    if (reason == CALLBACK_STREAM_SWITCH) {
        state.lastBytes = 0;
        return PROGRESS_CONTINUE;
    }
    // Whole KiB only, in keeping with the step's size; EndStep fills up
    // the last fraction.
    const LONGLONG kib = (transferred.QuadPart - state.lastBytes) / 1024;
    if (kib < 1 || transferred.QuadPart == fileSize.QuadPart) return PROGRESS_CONTINUE;
    state.lastBytes = transferred.QuadPart;
    if (state.observer) state.observer->AddBytes(static_cast<int>(kib));
    return PROGRESS_CONTINUE;
}

std::wstring SystemText(DWORD code) {
    LocalMemory<wchar_t> buffer;
    const DWORD length = ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                              FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                                          nullptr, code, 0, reinterpret_cast<wchar_t*>(buffer.Put()), 0, nullptr);
    return length && buffer ? std::wstring(buffer.Get(), length) : std::wstring();
}

}  // namespace

bool CopyWithProgress(const std::wstring& source, const std::wstring& target, PrereqProgress* observer) {
    const std::wstring from = ToLongPath(source);
    const std::wstring to = ToLongPath(target);
    KibCopyState state{observer};
    if (::CopyFileExW(from.c_str(), to.c_str(), CountKib, &state, nullptr, 0)) return true;
    const DWORD code = ::GetLastError();
    if (observer) {
        TV_LOG(L"Failed to copy file from [" << from << L"] to [" << to << L"]");
        observer->ReportError(SystemText(code), code, nullptr);
    }
    return false;
}

PrereqDownload::PrereqDownload(MSIHANDLE sessionIn, const std::wstring& folderIn)
    : folder(folderIn), session(sessionIn) {}

UINT PrereqDownload::Download(const std::vector<Prerequisite>& rows) {
    TV_LOG(L"Entering PrereqDownload::Download");
    if (rows.empty()) return 0;
    TV_LOG(L"Prerequisites download started.");
    for (const Prerequisite& row : rows) {
        progress->SendActionData({progress->DownloadingText(), Cell(row, L"DisplayName")});
        const bool ok = DownloadPrereqFile(row);
        int answer = 0;
        const RowVerdict verdict = FinishRow(row, ok, progress->DownloadingText(), answer);
        if (verdict == RowVerdict::Cancelled) return ERROR_INSTALL_USEREXIT;
        if (verdict == RowVerdict::MandatoryFailed) return 0;
        if (verdict == RowVerdict::Refused) return static_cast<UINT>(answer);
    }
    progress->sourceUrl = nullptr;
    TV_LOG(L"Prerequisites download ended.");
    TV_LOG(L"Exit PrereqDownload::Download");
    return 0;
}

PrereqDownload::RowVerdict PrereqDownload::FinishRow(const Prerequisite& row, bool ok, const std::wstring& doneText,
                                                     int& answer) {
    progress->sourceUrl = nullptr;  // the row's cell may not outlive the list
    if (progress->IsCancelled()) {
        TV_LOG(L"Prerequisites download was canceled by user.");
        return RowVerdict::Cancelled;
    }
    // The failure of a mandatory row shows later, when its file is missing
    // at launch; the rest of the list isn't worth fetching.
    if (stopOnMandatoryFailure && !IsOptionalForFailure(session, ok, row)) {
        TV_LOG(L"FAILED to download a mandatory prerequisite. All downloads will be aborted.");
        return RowVerdict::MandatoryFailed;
    }
    const std::wstring& name = Cell(row, L"DisplayName");
    if (!VerifyPrereqFile(session, row)) {
        TV_LOG(L"FAILED integrity check for prereq: " << name << L" Prompt with message.");
        answer = ReportPrereqFailure(session, 4155, 4156, GetPrereqShortName(session, row), row);
        if (answer != 0) {
            TV_LOG(L"FAILED user aborted download.");
            return RowVerdict::Refused;
        }
    }
    TV_LOG(L"Start update MSI action data.");
    progress->SendActionData({doneText + progress->CompletedSuffix(), name});
    TV_LOG(L"Finished update MSI action data.");
    return RowVerdict::Next;
}

bool PrereqDownload::DownloadAndExtract(const std::vector<Prerequisite>& rows,
                                        std::map<int, std::promise<bool>> promises) {
    TV_LOG(L"Entering PrereqDownload::DownloadAndExtract");
    if (rows.empty()) return false;
    TV_LOG(L"Prerequisites DownloadAndExtract started.");
    // Each promise is taken out of the map as it is set, so that none is
    // ever set twice, whatever the rows' keys.
    auto settle = [&promises](int sequence, bool value) {
        auto it = promises.find(sequence);
        if (it == promises.end()) return;
        it->second.set_value(value);
        promises.erase(it);
    };
    for (size_t i = 0; i < rows.size(); ++i) {
        const Prerequisite& row = rows[i];
        const int sequence = CellInt(row, L"Sequence");
        const int location = CellInt(row, L"Location");
        bool ok = false;
        bool extract = false;
        bool extracted = false;
        if (location == 1) {
            progress->SendActionData({progress->DownloadingText(), Cell(row, L"DisplayName")});
            ok = DownloadPrereqFile(row);
            extract = !FileExists(GetPrereqFilePath(session, row)) && !IsFileNeeded(session, row);
        } else if (location == 0) {
            extract = true;
        }
        if (extract) {
            PrereqExtractor extractor(session, GetPrereqsDir(session), *progress);
            extractor.stopOnFailure = true;
            const std::vector<Prerequisite> one{row};
            if (extractor.ExtractChainedPackages(one) == 0) ok = true;
            if (extractor.ExtractFromSetup(one) == 0) ok = true;
            extracted = true;
        }
        int answer = 0;
        const std::wstring& doneText = extracted ? progress->ExtractingText() : progress->DownloadingText();
        if (FinishRow(row, ok, doneText, answer) != RowVerdict::Next) {
            settle(sequence, false);
            return false;
        }
        // Rows that share a Sequence share its promise: it is kept until the
        // last of them is delivered, so the run never launches one of them
        // before all their files are here.
        if (i + 1 == rows.size() || CellInt(rows[i + 1], L"Sequence") != sequence) settle(sequence, true);
    }
    TV_LOG(L"Prerequisites download ended.");
    return true;
}

bool PrereqDownload::DownloadPrereqFile(const Prerequisite& row) {
    TV_LOG(L"Preparing prereq download: [ " << Cell(row, L"DisplayName") << L" ]");
    const std::wstring url = FormatText(session, Cell(row, L"SetupFileUrl"));
    TV_LOG(L"Prereq URL: [ " << url << L" ]");
    progress->sourceUrl = &Cell(row, L"SetupFileUrl");
    const std::wstring path = GetPrereqFilePath(session, row);

    // A file of the right name counts; the integrity check judges it.
    if (FileExists(path)) {
        TV_LOG(L"Prerequsite file already downloaded.");
        progress->BeginStep(0, 1, 0);
        progress->EndStep(0, 0);
        return true;
    }

    const std::wstring local = UrlToLocalPath(url);
    if (!local.empty() && ::PathIsUNCW(local.c_str())) {
        TV_LOG(L"Started dowloading prereq from LAN: [ " << local << L" ]");
        AddPrereqFile(session, path);
        CreateFolderChain(path);  // a failure shows in the copy
        const std::wstring source = NormalizePath(local);
        const std::wstring target = NormalizePath(path);
        const DWORD kib = FileSizeOf(ToLongPath(source)) / 1024;
        progress->BeginStep(0, static_cast<int>(kib ? kib : 1), 0);
        if (!CopyWithProgress(source, target, progress)) {
            TV_LOG(L"FAILED to download prereq from LAN: [ " << local << L" ]");
            return false;
        }
        progress->EndStep(0, 0);
    } else if (!local.empty()) {
        // GetPrereqFilePath gave this same path and found nothing there:
        // only a file that has just appeared passes.
        TV_LOG(L"Prereq URL is a local path: [ " << local << L" ]");
        progress->BeginStep(0, 1, 0);
        progress->EndStep(0, 0);
        if (FileExistsByFind(local) != 0) {
            TV_LOG(L"FAILED to locate file on disk: [ " << local << L" ]");
            progress->ReportError(std::wstring(), ERROR_FILE_NOT_FOUND, nullptr);
            return false;
        }
    } else {
        AddPrereqFile(session, path);
        FileTransfer transfer(progress);
        if (GetUrlHost(url) == kAnyEncodingHost) transfer.SetAcceptEncoding(L"*");
        TV_LOG(L"Started dowloading prereq from URL: [" << url << L"]");
        if (transfer.Download(url, path) != 0) {
            TV_LOG(L"FAILED to download prereq from URL: [ " << url << L" ]");
            return false;
        }
    }
    TV_LOG(L"Prereq downloaded succesfully.");
    return !progress->IsCancelled();
}

}  // namespace tv
