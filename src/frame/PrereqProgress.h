#pragma once
#include <windows.h>
#include <msi.h>
#include <functional>
#include <string>
#include <vector>
#include "frame/Messages.h"

namespace tv {

// The reporter of one progress line: action data, progress ticks out of
// 4096 and the errors of transfers. Transfers and extractions see it as
// their observer through the virtual operations, in this slot order.
class PrereqProgress {
public:
    explicit PrereqProgress(MSIHANDLE session);
    virtual ~PrereqProgress() = default;
    PrereqProgress(const PrereqProgress&) = delete;
    PrereqProgress& operator=(const PrereqProgress&) = delete;

    // The first call starts the bar; later ones change the ticks per step.
    virtual void SetStepCount(unsigned count, bool add);
    virtual void OnTransferStarted(unsigned, unsigned) {}
    virtual void BeginStep(unsigned first, int size, unsigned third);
    virtual void OnTransferState(unsigned, unsigned) {}
    virtual void EndStep(unsigned result, unsigned other);
    virtual void AddBytes(int count);
    // True after the host answered the last progress record with IDCANCEL.
    virtual bool IsCancelled();
    virtual bool IsPaused() { return false; }
    // Shows a transfer error; for the certificate and redirect codes with a
    // request handle the system's own dialog is shown instead and its answer
    // returned.
    virtual DWORD ReportError(const std::wstring& name, DWORD code, void* requestHandle);
    virtual void OnTransferDetail(unsigned, unsigned, unsigned) {}

    // Returns the host's answer, or 0 when the filter declined the record.
    int SendMessage(UINT type, std::vector<MessageField> fields);
    // fields[0] is the template, expanded with the others and the session.
    int SendActionData(const std::vector<MessageField>& fields);
    int SendProgress(std::vector<MessageField> fields) { return SendMessage(INSTALLMESSAGE_PROGRESS, std::move(fields)); }
    void SendTicks(unsigned count);

    // May change a record's fields or decline it (returns false).
    std::function<bool(std::vector<MessageField>&)> filter;
    // The URL being fetched, added to error texts; borrowed.
    const std::wstring* sourceUrl = nullptr;

    const std::wstring& InstallingText() const noexcept { return mInstallingText; }
    const std::wstring& DownloadingText() const noexcept { return mDownloadingText; }
    const std::wstring& ExtractingText() const noexcept { return mExtractingText; }
    const std::wstring& CompletedSuffix() const noexcept { return mCompletedSuffix; }
    unsigned StepCount() const noexcept { return mStepCount; }
    unsigned TicksPerStep() const noexcept { return mTicksPerStep; }
    int LastAnswer() const noexcept { return mLastAnswer; }

    static constexpr unsigned kTotalTicks = 0x1000;

private:
    MSIHANDLE mSession;
    unsigned mStepCount = 0;
    unsigned mTicksPerStep = 0;
    unsigned mTicksDone = 0;
    int mBytesDone = 0;
    int mBytesCounted = 0;
    double mTicksPerByte = 0;
    int mLastAnswer = 1;
    std::wstring mInstallingText;
    std::wstring mDownloadingText;
    std::wstring mExtractingText;
    std::wstring mCompletedSuffix;
};

}  // namespace tv
