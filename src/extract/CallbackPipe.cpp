#include "extract/CallbackPipe.h"
#include <cstdint>
#include "frame/DebugLog.h"

namespace tv {

namespace {

// Room for two full messages; a read takes the first half.
constexpr size_t kBufferBytes = 65312;

}  // namespace

CallbackPipe::CallbackPipe() : mBuffer(new BYTE[kBufferBytes]) {}

std::wstring CallbackPipe::PipeName(const std::wstring& id) { return L"\\\\.\\pipe\\ToServer" + id; }

int CallbackPipe::ParseNumber(const std::wstring& text) {
    size_t i = 0;
    const bool negative = !text.empty() && text[0] == L'-';
    if (negative) i = 1;
    std::uint32_t value = 0;
    for (; i < text.size() && text[i] >= L'0' && text[i] <= L'9'; ++i)
        value = value * 10u + static_cast<std::uint32_t>(text[i] - L'0');
    if (negative) value = 0u - value;
    return static_cast<int>(value);
}

long long CallbackPipe::Combine(int low, int high) noexcept {
    return static_cast<long long>(high) * 4294967296LL + static_cast<long long>(low);
}

bool CallbackPipe::Init(bool isServer, const std::wstring& id) {
    if (mOpened) return true;
    mIsServer = isServer;
    mId = id;
    const std::wstring name = PipeName(id);
    if (isServer) {
        // Overlapped only so that a wait for the peer can also watch its
        // process; every operation still completes before it returns.
        mEvent.Reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        if (mEvent)
            mHandle.Reset(::CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                             PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT,
                                             PIPE_UNLIMITED_INSTANCES, kMessageBytes, kMessageBytes, 5000, nullptr));
    } else {
        mHandle.Reset(::CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0,
                                    nullptr));
    }
    mOpened = static_cast<bool>(mHandle);
    TV_LOG(L"Pipe Inited: [" << (mOpened ? L"true" : L"false") << L"]");
    return mOpened;
}

bool CallbackPipe::Complete(BOOL started, DWORD& bytes, DWORD limitMs) {
    if (started) return true;
    if (::GetLastError() != ERROR_IO_PENDING) return false;
    HANDLE waits[2] = {mEvent.Get(), mPeerProcess};
    const DWORD count = mPeerProcess ? 2 : 1;
    const DWORD woke = ::WaitForMultipleObjects(count, waits, FALSE, limitMs);
    if (woke != WAIT_OBJECT_0) {
        // The peer ended or never came: the operation is taken back before
        // the OVERLAPPED it points at can go out of scope.
        ::CancelIoEx(mHandle.Get(), &mOverlapped);
        ::GetOverlappedResult(mHandle.Get(), &mOverlapped, &bytes, TRUE);
        mPeerGone = true;
        return false;
    }
    return ::GetOverlappedResult(mHandle.Get(), &mOverlapped, &bytes, FALSE) != FALSE;
}

bool CallbackPipe::Connect() {
    OVERLAPPED* overlapped = FreshOverlapped();
    // Called before every read: from the second read on the system answers
    // that the client is connected already.
    BOOL connected = ::ConnectNamedPipe(mHandle.Get(), overlapped);
    if (!connected && ::GetLastError() == ERROR_PIPE_CONNECTED) return true;
    if (!connected && ::GetLastError() == ERROR_IO_PENDING && !mIsServer) {
        ::CancelIoEx(mHandle.Get(), overlapped);
        return ignoreConnectFailure;
    }
    DWORD bytes = 0;
    if (Complete(connected, bytes, mPeerProcess ? INFINITE : kUnwatchedConnectMs)) return true;
    if (ignoreConnectFailure) return true;
    // A server whose client has closed its end again, or never came, has
    // nobody left to talk to.
    mPeerGone = true;
    return false;
}

OVERLAPPED* CallbackPipe::FreshOverlapped() {
    if (!mEvent) return nullptr;
    mOverlapped = OVERLAPPED{};
    mOverlapped.hEvent = mEvent.Get();
    return &mOverlapped;
}

std::wstring CallbackPipe::Read() {
    if (mPeerGone || !Connect()) return {};
    OVERLAPPED* overlapped = FreshOverlapped();
    DWORD bytes = 0;
    const BOOL started = ::ReadFile(mHandle.Get(), mBuffer.get(), kMessageBytes, &bytes, overlapped);
    const bool ok = Complete(started, bytes, INFINITE);
    if (!ok) {
        const DWORD error = ::GetLastError();
        // A closed end is final; an oversized message is only this message.
        if (error == ERROR_BROKEN_PIPE || error == ERROR_PIPE_NOT_CONNECTED || error == ERROR_NO_DATA)
            mPeerGone = true;
        return {};
    }
    if (bytes == 0) return {};
    mBuffer[bytes] = 0;
    mBuffer[bytes + 1] = 0;
    const wchar_t* text = reinterpret_cast<const wchar_t*>(mBuffer.get());
    return std::wstring(text, wcsnlen(text, bytes / sizeof(wchar_t)));
}

bool CallbackPipe::ReadText(std::wstring& text) {
    text.clear();
    if (!mHandle) return false;
    text = Read();
    return text == L"CLOSE";
}

bool CallbackPipe::ReadNumber(int& value) {
    if (!mHandle) return false;
    const std::wstring text = Read();
    if (mPeerGone) {
        value = 0;
        return false;
    }
    value = text == L"CLOSE" ? 0 : ParseNumber(text);
    return text != L"CLOSE";
}

bool CallbackPipe::ReadNumber64(long long& value) {
    int low = 0;
    int high = 0;
    if (!ReadNumber(low)) return false;
    SendOk();
    if (!ReadNumber(high)) return false;
    value = Combine(low, high);
    return true;
}

void CallbackPipe::Send(const std::wstring& text) {
    if (!mHandle || mPeerGone) return;
    OVERLAPPED* overlapped = FreshOverlapped();
    DWORD bytes = 0;
    const BOOL started = ::WriteFile(mHandle.Get(), text.data(), static_cast<DWORD>(text.size() * sizeof(wchar_t)),
                                     &bytes, overlapped);
    // A write that fails is not noticed here: the next read tells.
    Complete(started, bytes, INFINITE);
    ::FlushFileBuffers(mHandle.Get());
}

}  // namespace tv
