#include "extract/PrereqCleanup.h"
#include "frame/DebugLog.h"
#include "frame/Session.h"
#include "install/ResumeTask.h"
#include "platform/Files.h"
#include "platform/SystemErrorText.h"

namespace tv {

bool ShouldKeepPrereqFiles(MSIHANDLE session) { return !GetProperty(session, L"TV_KEEPPREREQFILES").empty(); }

UINT PrereqCleanup::Run() {
    // The installation has come to its end: nothing is left to resume.
    const std::wstring manufacturer = GetProperty(mSession, L"Manufacturer");
    const std::wstring productCode = GetProperty(mSession, L"ProductCode");
    if (!RemoveResumeTask(productCode)) RemoveResumeRunOnce(productCode, manufacturer);
    RemovePrereqFiles();
    return 0;
}

namespace {

// The launcher cleans up right after the last setup ended, when that setup's
// file can still be held: by a copy of itself it left running, or by the
// image of the process that has just ended. The deletion is refused
// meanwhile, or accepted with the name left in place until the last handle
// closes. Either way the folders can go only after the file, so it gets a
// short while, which costs nothing when it goes at once.
constexpr int kDeleteTries = 40;
constexpr DWORD kDeletePauseMs = 50;

bool DeleteWhenReleased(const std::wstring& path) {
    const std::wstring target = ToLongPath(path);
    DWORD error = ERROR_SUCCESS;
    for (int attempt = 0; attempt < kDeleteTries; ++attempt) {
        if (!::DeleteFileW(target.c_str())) error = ::GetLastError();
        if (FileExistsByFind(path) != 0) return true;
        ::Sleep(kDeletePauseMs);
    }
    ::SetLastError(error);
    return false;
}

void RemoveFetchedFile(const std::wstring& entry, const PathComponents& stop,
                       const std::function<void(const std::wstring&)>& note) {
    const std::optional<PathComponents> file = SplitPathComponents(entry);
    if (!file || !IsStrictlyBelow(*file, stop)) {
        note(L"Prerequisite file left in place, not below " + stop.Text() + L": " + entry);
        return;
    }
    // The path is rebuilt from the parts that were tested, so ".." can't
    // lead the deletion elsewhere.
    const std::wstring path = file->Text();
    if (FileExistsByFind(path) != 0) return;
    if (!DeleteWhenReleased(path)) {
        const DWORD error = ::GetLastError();
        note(L"Prerequisite file could not be removed: " + path + L" LastError= " + std::to_wstring(error) + L"-" +
             SystemErrorText(error));
    }
    PruneFolders(*file, stop);
}

}  // namespace

void RemoveFetchedFiles(const std::wstring& list, const std::wstring& stopFolder,
                        const std::function<void(const std::wstring&)>& note) {
    if (list.empty()) return;
    const std::optional<PathComponents> stop = SplitPathComponents(stopFolder);
    // Without a stop folder nothing can be shown to be ours.
    if (!stop) {
        note(L"No prerequisite file removed: no usable stop folder [" + stopFolder + L"]");
        return;
    }
    size_t start = 0;
    for (;;) {
        const size_t end = list.find(L'\x0001', start);
        const std::wstring entry = list.substr(start, end == std::wstring::npos ? end : end - start);
        if (!entry.empty()) RemoveFetchedFile(entry, *stop, note);
        if (end == std::wstring::npos) return;
        start = end + 1;
    }
}

namespace {

// The setup's folder was its working folder, which the system may still
// hold for a moment after the process ended, as it holds the file. Only
// that wait is worth a pause: a folder that still holds something won't
// empty itself.
bool RemoveFolderWhenReleased(const std::wstring& folder) {
    for (int attempt = 1; attempt < kDeleteTries; ++attempt) {
        if (::RemoveDirectoryW(ToLongPath(folder).c_str())) return true;
        const DWORD error = ::GetLastError();
        if (error != ERROR_SHARING_VIOLATION && error != ERROR_ACCESS_DENIED) break;
        ::Sleep(kDeletePauseMs);
    }
    // The last try tells the log why the folder stays.
    return RemoveDirectoryLong(folder);
}

}  // namespace

void PruneFolders(const PathComponents& file, const PathComponents& stop) {
    if (!IsStrictlyBelow(file, stop)) return;
    // A folder that still holds something stays, at the price of a log line
    // for it and for each folder above it.
    for (size_t depth = file.names.size() - 1; depth > stop.names.size(); --depth)
        RemoveFolderWhenReleased(file.Text(depth));
}

void PrereqCleanup::RemovePrereqFiles() {
    if (ShouldKeepPrereqFiles(mSession)) return;
    RemoveFetchedFiles(GetProperty(mSession, L"TV_PREREQFILES"), GetProperty(mSession, L"TV_PREREQDIRS"),
                       [](const std::wstring& line) { TV_LOG(line); });
}

}  // namespace tv
