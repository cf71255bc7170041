#pragma once
#include <windows.h>
#include <memory>
#include <string>
#include "platform/KernelHandle.h"

namespace tv {

// One end of the named pipe between the library and the setup executable
// that unpacks prerequisite files. The executable talks, this side answers
// every message with "OK" or "CLOSE". Messages are single writes of UTF-16
// text without terminator; the pipe's message boundaries are the framing.
//
// Reads block like the system calls they stand on, with one difference: a
// peer that goes away (its end closed, its process ended before it ever
// connected) ends the conversation instead of reading as empty text for
// ever. PeerGone() tells that apart from an empty message.
class CallbackPipe {
public:
    CallbackPipe();
    ~CallbackPipe() = default;
    CallbackPipe(const CallbackPipe&) = delete;
    CallbackPipe& operator=(const CallbackPipe&) = delete;

    // Creates the pipe (server) or connects to it (client); does not wait
    // for the peer. A second call on an open pipe does nothing.
    bool Init(bool isServer, const std::wstring& id);

    // One message as text; true exactly when it was "CLOSE".
    bool ReadText(std::wstring& text);
    // One message as a number; false when it was "CLOSE" (value 0), when
    // there is no pipe (value kept) or when the peer has gone.
    bool ReadNumber(int& value);
    // Two numbers, low word first, as one 64-bit quantity; false as above.
    bool ReadNumber64(long long& value);
    void SendOk() { Send(L"OK"); }
    void SendClose() { Send(L"CLOSE"); }

    // The process expected to connect, borrowed: while the server waits for
    // it, its end ends the wait. Without one the wait is bounded by time.
    void WatchPeer(HANDLE process) noexcept { mPeerProcess = process; }
    bool PeerGone() const noexcept { return mPeerGone; }

    static std::wstring PipeName(const std::wstring& id);
    // Optional "-", then digits up to the first other character; anything
    // else is 0. The value wraps as a signed 32-bit integer does.
    static int ParseNumber(const std::wstring& text);
    // high * 2^32 plus the low word taken as signed.
    static long long Combine(int low, int high) noexcept;

    // The client sets it before the first read: ConnectNamedPipe on a client
    // handle can only fail.
    bool ignoreConnectFailure = false;

    static constexpr DWORD kMessageBytes = 32656;
    // How long a server waits for a peer whose process it cannot watch.
    static constexpr DWORD kUnwatchedConnectMs = 60000;

private:
    std::wstring Read();
    bool Connect();
    void Send(const std::wstring& text);
    // Waits for an operation that the system left pending; false when it
    // failed or the watched peer ended first. `bytes` gets the count.
    bool Complete(BOOL started, DWORD& bytes, DWORD limitMs);
    // The overlapped record for the next call, or null for a handle that
    // was not opened for it.
    OVERLAPPED* FreshOverlapped();

    bool mOpened = false;
    bool mIsServer = false;
    std::wstring mId;
    KernelHandle mHandle;
    std::unique_ptr<BYTE[]> mBuffer;
    KernelHandle mEvent;  // signals the server's overlapped operations
    OVERLAPPED mOverlapped{};
    HANDLE mPeerProcess = nullptr;
    bool mPeerGone = false;
};

}  // namespace tv
