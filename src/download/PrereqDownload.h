#pragma once
#include <windows.h>
#include <msi.h>
#include <future>
#include <map>
#include <string>
#include <vector>
#include "frame/PrereqProgress.h"
#include "prereq/Prerequisite.h"

namespace tv {

// Brings the setup files of a list of prerequisites onto the machine, one
// after the other, and decides after each whether the list may go on. A
// failed row becomes a prompt, a stop or nothing here; moving bytes is
// FileTransfer's matter and comparing them VerifyPrereqFile's.
//
// Each row is delivered (DownloadPrereqFile, or an extraction on the
// parallel route) and then judged by FinishRow, which both routes share.
class PrereqDownload {
public:
    PrereqDownload(MSIHANDLE session, const std::wstring& folder);

    // 0, 1602 after a cancel, or the answer of a refused prompt (2).
    UINT Download(const std::vector<Prerequisite>& rows);
    // The parallel route's delivery, on a thread of its own: each row
    // fetched or extracted, judged, and its promise set. A stop sets the
    // promise of its row to false and leaves the later ones unset, so they
    // break when the map goes. True when the whole list was dealt with.
    bool DownloadAndExtract(const std::vector<Prerequisite>& rows, std::map<int, std::promise<bool>> promises);
    // True when the row's file is at hand. All log lines of a row come
    // from here.
    bool DownloadPrereqFile(const Prerequisite& row);

    // Borrowed; set by the creator after construction.
    PrereqProgress* progress = nullptr;
    const std::wstring folder;
    bool stopOnMandatoryFailure = false;

protected:
    // What the list does after a delivered (or failed) row.
    enum class RowVerdict { Next, Cancelled, MandatoryFailed, Refused };
    // The cancel test, the mandatory stop, the integrity check with its
    // prompt (`answer` gets a refusal) and the completed action data, in
    // that order. `doneText` is the action-data template of the route.
    RowVerdict FinishRow(const Prerequisite& row, bool ok, const std::wstring& doneText, int& answer);

    MSIHANDLE session;
};

// The plain copy of a share's file, reporting KiB to `observer` (may be
// null) and stopping on its cancel; no .part file. True on success.
bool CopyWithProgress(const std::wstring& source, const std::wstring& target, PrereqProgress* observer);

// The one host whose downloads are asked for in any content encoding.
extern const wchar_t kAnyEncodingHost[];

}  // namespace tv
