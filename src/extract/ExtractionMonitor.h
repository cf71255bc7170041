#pragma once
#include <windows.h>
#include <msi.h>
#include <string>
#include <vector>
#include "extract/CallbackPipe.h"
#include "frame/PrereqProgress.h"
#include "prereq/Prerequisite.h"

namespace tv {

// The library's side of one extraction conversation: it turns what the
// setup executable reports into progress ticks, action text, the disk-space
// prompt and files noted for cleanup, and answers each message.
class ExtractionMonitor {
public:
    // `folder` is where the executable was told to write; only files below
    // it are noted for cleanup. `groups` and `rows` run in parallel.
    ExtractionMonitor(MSIHANDLE session, PrereqProgress& progress, CallbackPipe& pipe, std::wstring folder,
                      std::vector<int> groups, std::vector<Prerequisite> rows);

    // Serves the conversation until the peer ends it or goes away.
    void Run();
    // The answer to the last progress record; IDCANCEL when the user cancelled.
    int LastResult() const noexcept { return mLastResult; }

    // Message types the executable sends, the installer's own numbers.
    static constexpr int kOutOfDiskSpace = 0x07000000;
    static constexpr int kGroupStarts = 0x08000000;
    static constexpr int kFileWritten = 0x09000000;
    static constexpr int kProgress = 0x0A000000;
    static constexpr int kTotal = 0x0B000000;

private:
    void OnTotal(long long total);
    void OnProgress(long long done);
    void OnGroup(int group);
    void OnFileWritten(const std::wstring& path);
    void OnOutOfDiskSpace(std::wstring path, long long needed);
    void ReplyToCount();
    void SendTicks(unsigned count);

    PrereqProgress& mProgress;
    long long mTotalBytes = 0;
    unsigned mStepTicks = 0;
    unsigned mTicks = 0;
    unsigned mTicksReported = 0;
    double mBytesPerTick = 0.0;
    int mLastResult = 1;
    MSIHANDLE mSession;
    CallbackPipe& mPipe;
    std::vector<int> mGroups;
    std::vector<Prerequisite> mRows;
    std::wstring mFolder;
};

// True when `path`, with "." and ".." resolved, is `folder` or lies below it.
bool IsInsideFolder(const std::wstring& path, const std::wstring& folder);
// `path` with "." and ".." resolved, in normal form; empty when the system
// can't resolve it.
std::wstring ResolvePath(const std::wstring& path);

}  // namespace tv
