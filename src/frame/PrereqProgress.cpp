#include "frame/PrereqProgress.h"
#include <msiquery.h>
#include <cmath>
#include <cstdint>
#include "frame/MsiTableReader.h"
#include "frame/Session.h"
#include "platform/SystemErrorText.h"

namespace tv {

PrereqProgress::PrereqProgress(MSIHANDLE session) : mSession(session) {
    MsiTableReader reader(session);
    mInstallingText = reader.GetUiText(L"InstallingPrereq");
    mDownloadingText = reader.GetUiText(L"DownloadingPrereq");
    mExtractingText = reader.GetUiText(L"ExtractPrereq");
    mCompletedSuffix = reader.GetUiText(L"PrereqCompletedSuffix");
}

int PrereqProgress::SendMessage(UINT type, std::vector<MessageField> fields) {
    if (filter && !filter(fields)) return 0;
    MsiHandle record = MakeRecord(fields, false);
    return ::MsiProcessMessage(mSession, static_cast<INSTALLMESSAGE>(type), record.Get());
}

int PrereqProgress::SendActionData(const std::vector<MessageField>& fields) {
    std::wstring text;
    {
        MsiHandle record = MakeRecord(fields, true);
        text = FormatRecord(mSession, record.Get());
    }
    return SendMessage(INSTALLMESSAGE_ACTIONDATA, {text});
}

void PrereqProgress::SetStepCount(unsigned count, bool add) {
    if (mStepCount == 0) {
        mLastAnswer = SendProgress({1, 1, 0});
        mLastAnswer = SendProgress({0, static_cast<int>(kTotalTicks), 0});
    }
    mStepCount = add ? mStepCount + count : count;
    mTicksPerStep = mStepCount ? kTotalTicks / mStepCount : 0;
}

void PrereqProgress::BeginStep(unsigned, int size, unsigned) {
    mTicksDone = 0;
    mBytesDone = 0;
    mBytesCounted = 0;
    // A size of 0 gives an infinite ratio: no ticks until EndStep.
    mTicksPerByte = static_cast<double>(mTicksPerStep) / static_cast<double>(size);
}

void PrereqProgress::AddBytes(int count) {
    // 32-bit counters that wrap, as unsigned sums do, past 2 GiB.
    mBytesDone = static_cast<int>(static_cast<std::uint32_t>(mBytesDone) + static_cast<std::uint32_t>(count));
    const int delta = static_cast<int>(static_cast<std::uint32_t>(mBytesDone) - static_cast<std::uint32_t>(mBytesCounted));
    const double exact = delta * mTicksPerByte;
    // An empty step has an infinite ratio: its ticks all come with EndStep.
    if (!std::isfinite(exact) || exact < 1.0 || exact >= 4294967296.0) return;
    const unsigned ticks = static_cast<unsigned>(exact);
    // Only the bytes paid for in whole ticks count, so no fraction is lost
    // between calls.
    mBytesCounted = static_cast<int>(static_cast<std::uint32_t>(mBytesDone) - static_cast<std::uint32_t>(delta) +
                                      static_cast<std::uint32_t>(std::ceil(ticks / mTicksPerByte)));
    mTicksDone += ticks;
    SendTicks(ticks);
}

void PrereqProgress::EndStep(unsigned, unsigned) {
    if (mTicksPerStep > mTicksDone) SendTicks(mTicksPerStep - mTicksDone);
}

void PrereqProgress::SendTicks(unsigned count) { mLastAnswer = SendProgress({2, static_cast<int>(count), 0}); }

bool PrereqProgress::IsCancelled() { return mLastAnswer == IDCANCEL; }

DWORD PrereqProgress::ReportError(const std::wstring&, DWORD code, void* requestHandle) {
    // Certificate and redirect problems are the user's to decide, in the
    // system's own dialog; its answer goes back to the transfer.
    const bool dialogCode = code == 12037 || code == 12038 || code == 12044 || code == 12045;
    HMODULE wininet = ::GetModuleHandleW(L"wininet.dll");
    if (dialogCode && requestHandle != nullptr && wininet) {
        using InternetErrorDlgFn = DWORD(WINAPI*)(HWND, void*, DWORD, DWORD, void**);
        auto dialog = reinterpret_cast<InternetErrorDlgFn>(::GetProcAddress(wininet, "InternetErrorDlg"));
        if (dialog) return dialog(nullptr, requestHandle, code, 7, nullptr);
    }
    if (mSession == 0) return 0;
    bool fromWininet = code >= 12001 && code <= 12191;
    if (code == 0xE0000012) code = 12015, fromWininet = true;
    else if (code == 0xE0000018) code = 12002, fromWininet = true;

    const std::wstring number = std::to_wstring(static_cast<int>(code));
    std::wstring text = SystemMessageText(code, fromWininet ? wininet : nullptr);
    if (text.empty()) text = number;
    if (text != number) {
        if (sourceUrl) text += L"\n" + *sourceUrl;
        SendText(mSession, text, 0x01000010);
    } else {
        std::vector<MessageField> fields{static_cast<int>(code)};
        if (sourceUrl && !sourceUrl->empty()) fields.push_back(*sourceUrl);
        MsiHandle record = MakeRecord(fields, false);
        ::MsiProcessMessage(mSession, static_cast<INSTALLMESSAGE>(0x01000010), record.Get());
    }
    return 0;
}

}  // namespace tv
