// The FTP way of FileTransfer, and file sources: file: URLs and share
// paths, copied through a .part file.
#include <shlwapi.h>
#include <cwchar>
#include "download/FileTransfer.h"
#include "platform/AccessList.h"
#include "platform/Files.h"
#include "platform/NetworkShare.h"

namespace tv {

namespace {

// The number a server's reply starts with: "350 Restarting at 10." gives 350.
DWORD ReplyCode(const std::wstring& reply) {
    return static_cast<DWORD>(std::wcstoul(reply.substr(0, reply.find(L' ')).c_str(), nullptr, 10));
}

bool IsLoginFault(DWORD code) {
    return code == ERROR_INTERNET_INCORRECT_USER_NAME || code == ERROR_INTERNET_INCORRECT_PASSWORD ||
           code == ERROR_INTERNET_LOGIN_FAILURE;
}

// What one copy through CopyFileExW has counted.
struct CopyState {
    PrereqProgress* observer = nullptr;
    LONGLONG total = 0;
    LONGLONG lastBytes = 0;
    LONGLONG sum = 0;
    LONGLONG reported = 0;
    DWORD lastTick = 0;
};

DWORD CALLBACK CopyProgress(LARGE_INTEGER fileSize, LARGE_INTEGER transferred, LARGE_INTEGER, LARGE_INTEGER, DWORD,
                            DWORD reason, HANDLE, HANDLE, void* context) {
    auto& state = *static_cast<CopyState*>(context);
    if (reason == CALLBACK_STREAM_SWITCH) {
        state.lastBytes = state.sum = state.reported = 0;
        state.total = fileSize.QuadPart;
        if (state.observer) state.observer->BeginStep(1, static_cast<int>(state.total), 0);
    }
    if (state.observer && state.observer->IsCancelled()) return PROGRESS_CANCEL;
    const LONGLONG delta = transferred.QuadPart - state.lastBytes;
    if (delta > 0) {
        state.lastBytes = transferred.QuadPart;
        state.sum += delta;
        const DWORD now = ::GetTickCount();
        if (now - state.lastTick > 199 || state.sum >= state.total) {
            if (state.observer) state.observer->AddBytes(static_cast<int>(state.sum - state.reported));
            state.lastTick = now;
            state.reported = state.sum;
        }
    }
    return PROGRESS_CONTINUE;
}

}  // namespace

DWORD FileTransfer::OpenFtp(HINTERNET session, const std::wstring& url, INTERNET_PORT port, const std::wstring& host,
                            const std::wstring& path, const std::wstring& user, const std::wstring& password,
                            DWORD& offset, DWORD& total) {
    if (credentials) credentials->BeginAttempts();
    std::wstring name = user, secret = password;
    for (;;) {
        const DWORD code = RunAsync(kOpConnect, [&] {
            HINTERNET handle = ::InternetConnectW(session, host.c_str(), port, name.empty() ? nullptr : name.c_str(),
                                                  secret.empty() ? nullptr : secret.c_str(), INTERNET_SERVICE_FTP,
                                                  INTERNET_FLAG_PASSIVE, reinterpret_cast<DWORD_PTR>(this));
            if (handle) request = handle;
            return handle != nullptr;
        });
        if (code == 0) break;
        if (!IsLoginFault(code) || !AskCredentials(nullptr, url, std::wstring(), false, L"FTP Server", name, secret))
            return code;
    }
    connection = std::exchange(request, nullptr);

    if (resumeEnabled && offset > 0) {
        if (const DWORD code = SendRest(offset)) return code;
    }
    const DWORD code = RunAsync(kOpFtpOpen, [&] {
        HINTERNET handle = ::FtpOpenFileW(connection, path.c_str(), GENERIC_READ,
                                          FTP_TRANSFER_TYPE_BINARY | INTERNET_FLAG_RELOAD,
                                          reinterpret_cast<DWORD_PTR>(this));
        if (handle) request = handle;
        return handle != nullptr;
    });
    if (code) {
        CloseConnection();
        return code;
    }
    // Wine's FtpGetFileSize always answers 0: no total, and the first end
    // of data ends the transfer.
    total = ::FtpGetFileSize(request, nullptr);
    if (total == 0 || offset < total) return 0;
    CloseRequest();
    CloseConnection();
    return kTransferPartTooLong;
}

DWORD FileTransfer::SendRest(DWORD& offset) {
    wchar_t command[32];
    std::swprintf(command, 32, L"REST %u", offset);
    lastResponse.clear();
    DWORD code = RunAsync(kOpFtpCommand, [&] {
        return ::FtpCommandW(connection, FALSE, FTP_TRANSFER_TYPE_ASCII, command, reinterpret_cast<DWORD_PTR>(this),
                             nullptr);
    });
    // A command that completes at once (Wine's always does) brings no
    // callback to capture the reply; and a refusal that came as a reply
    // ("502 ...") is an answer to read, not a broken connection.
    if (!asyncDone && (code == 0 || code == ERROR_INTERNET_EXTENDED_ERROR)) {
        CaptureLastResponse();
        code = 0;
    }
    if (ReplyCode(lastResponse) != 350) offset = 0;
    return code;
}

DWORD FileTransfer::OpenFileSource(const std::wstring& url, const std::wstring& path, const std::wstring& user,
                                   const std::wstring& password, DWORD& offset, DWORD& total) {
    const size_t slash = path.rfind(L'\\');
    const std::wstring share = slash == std::wstring::npos ? std::wstring() : path.substr(0, slash);
    if (credentials) credentials->BeginAttempts();
    std::wstring name = user, secret = password;
    for (;;) {
        DWORD code = 0;
        if (!name.empty()) code = GetNetworkShareSeam().connect(share, name, secret);
        FoundFile found;
        if (code == 0) code = FileExistsByFind(path, &found);
        if (code == 0) {
            offset = 0;
            total = static_cast<DWORD>(found.size);
            return 0;
        }
        const bool loginFault = code == ERROR_LOGON_FAILURE || code == ERROR_INVALID_PASSWORD || code == ERROR_BAD_USERNAME;
        if (!loginFault || !AskCredentials(nullptr, url, std::wstring(), false, L"Local Network Server", name, secret))
            return code;
    }
}

DWORD FileTransfer::CopyFileSource(const std::wstring& source, const std::wstring& target) {
    const std::wstring sourceLong = ToLongPath(source);
    if (wantLastModified || ifModifiedSince.wYear != 0) {
        FILETIME written{};
        {
            KernelHandle file(::CreateFileW(sourceLong.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                            FILE_ATTRIBUTE_NORMAL, nullptr));
            if (!file || !::GetFileTime(file.Get(), nullptr, nullptr, &written)) return Report(::GetLastError());
        }
        ::FileTimeToSystemTime(&written, &lastModified);
        if (ifModifiedSince.wYear != 0) {
            FILETIME since{};
            ::SystemTimeToFileTime(&ifModifiedSince, &since);
            if (::CompareFileTime(&since, &written) >= 0) return kTransferNotModified;
        }
    }
    const std::wstring part = target + L".part";
    if (const DWORD error = CreateFolderChain(part)) return Report(error);
    const std::wstring partLong = ToLongPath(part);
    if (openPermissions && !::PathFileExistsW(partLong.c_str())) {
        AccessListBuilder access;
        access.Add(L"S-1-1-0", GENERIC_ALL, true);
        access.Add(L"S-1-5-18", GENERIC_ALL, true);
        SECURITY_ATTRIBUTES attributes{sizeof(attributes), access.Build(), FALSE};
        KernelHandle file(::CreateFileW(partLong.c_str(), GENERIC_WRITE, 0, &attributes, CREATE_NEW,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file) return Report(::GetLastError());
    }
    CopyState state;
    state.observer = observer;
    if (!::CopyFileExW(sourceLong.c_str(), partLong.c_str(), CopyProgress, &state, nullptr, 0))
        return Report(::GetLastError());
    if (const DWORD error = PromotePartFile()) return Report(error);
    if (observer) observer->EndStep(1, 0);
    return 0;
}

}  // namespace tv
