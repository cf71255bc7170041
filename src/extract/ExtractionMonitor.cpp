#include "extract/ExtractionMonitor.h"
#include <algorithm>
#include <cmath>
#include <utility>
#include "frame/DebugLog.h"
#include "frame/Messages.h"
#include "platform/Files.h"
#include "prereq/PrereqLocation.h"

namespace tv {

std::wstring ResolvePath(const std::wstring& path) {
    const std::wstring plain = StripLongPrefix(path);
    const DWORD length = ::GetFullPathNameW(plain.c_str(), 0, nullptr, nullptr);
    if (length == 0) return {};
    std::wstring full(length, L'\0');
    const DWORD written = ::GetFullPathNameW(plain.c_str(), length, full.data(), nullptr);
    if (written == 0 || written >= length) return {};
    full.resize(written);
    return NormalizePath(full);
}

bool IsInsideFolder(const std::wstring& path, const std::wstring& folder) {
    const std::wstring resolved = ResolvePath(path);
    const std::wstring base = ResolvePath(folder);
    return !resolved.empty() && !base.empty() && IsSameOrBelow(resolved, base);
}

ExtractionMonitor::ExtractionMonitor(MSIHANDLE session, PrereqProgress& progress, CallbackPipe& pipe,
                                     std::wstring folder, std::vector<int> groups, std::vector<Prerequisite> rows)
    : mProgress(progress),
      mStepTicks(progress.TicksPerStep()),
      mSession(session),
      mPipe(pipe),
      mGroups(std::move(groups)),
      mRows(std::move(rows)),
      mFolder(std::move(folder)) {}

void ExtractionMonitor::Run() {
    int type = 0;
    // A false read inside a message drops the rest of it; at the head of a
    // message it is the peer's CLOSE or its departure, and the end.
    while (mPipe.ReadNumber(type)) {
        mPipe.SendOk();
        std::wstring text;
        long long value = 0;
        switch (type) {
        case kOutOfDiskSpace: {
            mPipe.ReadText(text);
            if (mPipe.PeerGone()) break;
            mPipe.SendOk();
            if (!mPipe.ReadNumber64(value)) break;
            OnOutOfDiskSpace(std::move(text), value);
            break;
        }
        case kGroupStarts: {
            int group = 0;
            if (!mPipe.ReadNumber(group)) break;
            mPipe.SendOk();
            OnGroup(group);
            break;
        }
        case kFileWritten:
            mPipe.ReadText(text);
            if (mPipe.PeerGone()) break;
            OnFileWritten(text);
            mPipe.SendOk();
            break;
        case kProgress:
            if (!mPipe.ReadNumber64(value)) break;
            OnProgress(value);
            ReplyToCount();
            break;
        case kTotal:
            if (!mPipe.ReadNumber64(value)) break;
            OnTotal(value);
            ReplyToCount();
            break;
        default:
            mPipe.ReadText(text);
            if (mPipe.PeerGone()) break;
            mPipe.SendOk();
            break;
        }
    }
    if (mTotalBytes > 0 && mTicksReported < PrereqProgress::kTotalTicks) {
        SendTicks(PrereqProgress::kTotalTicks - mTicksReported);
        mTicksReported = mTicks;
    }
}

void ExtractionMonitor::ReplyToCount() {
    if (mLastResult == IDCANCEL)
        mPipe.SendClose();
    else
        mPipe.SendOk();
}

void ExtractionMonitor::SendTicks(unsigned count) {
    mProgress.SendTicks(count);
    mLastResult = mProgress.LastAnswer();
}

void ExtractionMonitor::OnTotal(long long total) {
    mTotalBytes = total;
    if (mStepTicks != 0) {
        mBytesPerTick = static_cast<double>(total) / mStepTicks;
    } else {
        // Nobody planned the bar: this conversation owns all of it.
        mBytesPerTick = static_cast<double>(total) / PrereqProgress::kTotalTicks;
        mLastResult = mProgress.SendProgress({0, static_cast<int>(PrereqProgress::kTotalTicks), 0});
    }
}

void ExtractionMonitor::OnProgress(long long done) {
    // Without a total there is no scale yet: the count shows nothing.
    if (!(mBytesPerTick > 0.0)) return;
    const unsigned span = mStepTicks != 0 ? mStepTicks : PrereqProgress::kTotalTicks;
    const double exact = std::floor(static_cast<double>(done) / mBytesPerTick);
    // A count beyond the total does not push the bar past its share.
    const unsigned ticks = exact <= 0.0 ? 0u : static_cast<unsigned>(std::min(exact, static_cast<double>(span)));
    mTicks = ticks;
    if (ticks <= mTicksReported) return;
    SendTicks(ticks - mTicksReported);
    mTicksReported = ticks;
}

void ExtractionMonitor::OnGroup(int group) {
    const auto found = std::find(mGroups.begin(), mGroups.end(), group);
    if (found == mGroups.end()) return;
    const Prerequisite& row = mRows[static_cast<size_t>(found - mGroups.begin())];
    mProgress.SendActionData({mProgress.ExtractingText(), Cell(row, L"DisplayName")});
}

void ExtractionMonitor::OnFileWritten(const std::wstring& path) {
    // Cleanup deletes what is noted: a name outside the folder the
    // executable was given is not ours to delete.
    if (!IsInsideFolder(path, mFolder)) {
        TV_LOG(L"Not noted, outside the extraction folder: [" << path << L"]");
        return;
    }
    AddPrereqFile(mSession, ResolvePath(path));
}

void ExtractionMonitor::OnOutOfDiskSpace(std::wstring path, long long needed) {
    if (path.rfind(L"\\\\?\\", 0) == 0) path.erase(0, 4);
    unsigned long long freeBytes = 0;
    for (;;) {
        const std::wstring freeText = GetFreeSpace(path, freeBytes);
        MsiHandle record = MakeRecord({1601, path, std::to_wstring(needed / 1024), freeText}, false);
        const int answer = ::MsiProcessMessage(mSession, static_cast<INSTALLMESSAGE>(0x01000005), record.Get());
        if (answer != IDRETRY) break;
        GetFreeSpace(path, freeBytes);
        if (static_cast<long long>(freeBytes) >= needed) {
            mPipe.SendOk();
            return;
        }
    }
    mPipe.SendClose();
    if (static_cast<long long>(freeBytes) >= needed) mPipe.SendOk();
}

}  // namespace tv
