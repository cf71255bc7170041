#include "extract/SourceFileRelay.h"
#include <msiquery.h>
#include <string>
#include "extract/CallbackPipe.h"
#include "frame/Messages.h"
#include "frame/ParallelInstall.h"
#include "frame/Session.h"

namespace tv {

namespace {

constexpr int kTotal = 0x0B000000;
constexpr int kProgress = 0x0A000000;
constexpr int kStepStarts = 0x0D000000;
constexpr int kLastStepStarts = 0x0C000000;

std::wstring TrimBlanks(const std::wstring& text) {
    const wchar_t* const blanks = L" \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::wstring::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// The executable builds its pipe's name from ANSI text; the same round trip
// here drops the same characters.
std::wstring ThroughAnsi(const std::wstring& text) {
    if (text.empty()) return {};
    const int length = static_cast<int>(text.size());
    const int bytes = ::WideCharToMultiByte(CP_ACP, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    if (bytes <= 0) return {};
    std::string narrow(static_cast<size_t>(bytes), '\0');
    ::WideCharToMultiByte(CP_ACP, 0, text.data(), length, narrow.data(), bytes, nullptr, nullptr);
    const int chars = ::MultiByteToWideChar(CP_THREAD_ACP, 0, narrow.data(), bytes, nullptr, 0);
    if (chars <= 0) return {};
    std::wstring wide(static_cast<size_t>(chars), L'\0');
    ::MultiByteToWideChar(CP_THREAD_ACP, 0, narrow.data(), bytes, wide.data(), chars);
    return wide;
}

// The relay conversation: the executable's counts on the installer's bar.
class SourceRelay {
public:
    SourceRelay(MSIHANDLE session, CallbackPipe& pipe) : mSession(session), mPipe(pipe) {}

    UINT Run() {
        mPipe.SendOk();
        bool ended = false;
        while (!ended) {
            std::wstring text;
            mPipe.ReadText(text);
            if (mPipe.PeerGone()) break;
            mPipe.SendOk();
            long long value = 0;
            switch (CallbackPipe::ParseNumber(text)) {
            case kTotal:
                if (!mPipe.ReadNumber64(value)) {
                    ended = true;
                    break;
                }
                mRatio = value < 0x7FFFFFFF ? 1.0 : static_cast<double>(value) / 2147483647.0;
                Reply(Send({0, static_cast<int>(static_cast<long long>(value / mRatio)), 0}));
                break;
            case kProgress: {
                if (!mPipe.ReadNumber64(value)) break;
                const long long scaled = static_cast<long long>(value / mRatio);
                const long long shown = mIncrements ? scaled : scaled - mLast;
                mLast = scaled;
                Reply(Send({2, static_cast<int>(shown)}));
                break;
            }
            case kStepStarts:
            case kLastStepStarts:
                ended = StartStep(CallbackPipe::ParseNumber(text) == kLastStepStarts);
                break;
            default:
                break;
            }
        }
        return mResult;
    }

private:
    // True when the conversation is over.
    bool StartStep(bool last) {
        std::wstring description;
        mPipe.ReadText(description);
        if (mPipe.PeerGone()) return true;
        mPipe.SendOk();
        int increments = 0;
        if (!mPipe.ReadNumber(increments) && mPipe.PeerGone()) return true;
        mPipe.SendOk();
        // A host that can't show action text is spared the record.
        const std::uint32_t probe = QueryUiHandler(mSession);
        mIncrements = increments != 0;
        if (probe != 0) {
            MsiHandle record = MakeRecord({std::wstring(), description, std::wstring()}, false);
            ::MsiProcessMessage(mSession, INSTALLMESSAGE_ACTIONSTART, record.Get());
        }
        mLast = 0;
        return last;
    }

    int Send(const std::vector<MessageField>& fields) {
        MsiHandle record = MakeRecord(fields, false);
        return ::MsiProcessMessage(mSession, INSTALLMESSAGE_PROGRESS, record.Get());
    }

    void Reply(int answer) {
        if (answer == ERROR_INSTALL_USEREXIT || answer == IDCANCEL) {
            mResult = static_cast<UINT>(answer);
            mPipe.SendClose();
        } else {
            mPipe.SendOk();
        }
    }

    MSIHANDLE mSession;
    CallbackPipe& mPipe;
    double mRatio = 1.0;
    long long mLast = 0;
    bool mIncrements = false;
    UINT mResult = 0;
};

}  // namespace

UINT RelaySourceFiles(MSIHANDLE session) {
    // A package that downloads its sources needs the relay only when a
    // feature is being added or reinstalled.
    if (GetProperty(session, L"REINSTALL").empty() && GetProperty(session, L"ADDLOCAL").empty() &&
        GetProperty(session, L"TV_DOWNLOAD_LZMA") == L"true")
        return 0;
    std::wstring text = GetProperty(session, L"TV_SETUPEXEPATH");
    if (text.empty()) text = GetProperty(session, L"CustomActionData");
    if (text.empty()) return 0;
    CallbackPipe pipe;
    pipe.ignoreConnectFailure = true;
    // No executable listening is the normal case for a package started
    // without one.
    if (!pipe.Init(false, L"Tarvo_Extract_" + ThroughAnsi(TrimBlanks(text)))) return 0;
    return SourceRelay(session, pipe).Run();
}

}  // namespace tv
