#include "download/FileTransfer.h"
#include <algorithm>
#include <utility>
#include "download/UrlParts.h"
#include "frame/ScopeGuard.h"
#include "platform/AccessList.h"
#include "platform/Files.h"
#include "platform/InternetHandle.h"
#include "prereq/PrereqLocation.h"

namespace tv {

namespace {

constexpr DWORD kBufferSize = 51200;

// A path the transfer may write to: a share path or one with a drive.
bool IsUsableTarget(const std::wstring& path) {
    if (path.size() < 2) return false;
    return path.compare(0, 2, L"\\\\") == 0 || path[1] == L':';
}

// Faults after which the data may still come from where it stopped.
bool IsConnectionLoss(DWORD code) {
    return code == ERROR_INTERNET_TIMEOUT || code == ERROR_INTERNET_CONNECTION_ABORTED ||
           code == ERROR_INTERNET_CONNECTION_RESET || code == ERROR_INTERNET_DISCONNECTED;
}

// The path of a file source: a file: URL's own path, else what the cracker
// found (a bare share path).
std::wstring FileSourcePath(const std::wstring& url, const std::wstring& cracked) {
    std::wstring path = UrlToLocalPath(url);
    if (path.empty()) path = cracked;
    std::replace(path.begin(), path.end(), L'/', L'\\');
    return path;
}

DWORD SizeOfOpenFile(HANDLE file) {
    const DWORD size = ::GetFileSize(file, nullptr);
    return size == INVALID_FILE_SIZE ? 0 : size;
}

}  // namespace

void RequestGuard::Close() noexcept {
    HINTERNET handle = std::exchange(mHandle, nullptr);
    if (!handle) return;
    ::ResetEvent(mClosing);
    ::InternetCloseHandle(handle);
    ::WaitForSingleObject(mCompletion, INFINITE);
    ::WaitForSingleObject(mClosing, INFINITE);
}

FileTransfer::FileTransfer(PrereqProgress* observerIn) : observer(observerIn) {}

FileTransfer::~FileTransfer() {
    CloseRequest();
    CloseConnection();
}

void FileTransfer::CloseRequest() {
    RequestGuard(std::exchange(request, nullptr), completionEvent.Get(), closingEvent.Get());
}

void FileTransfer::CloseConnection() { InternetHandle(std::exchange(connection, nullptr)); }

DWORD FileTransfer::Report(DWORD code) {
    if (observer) observer->ReportError(targetPath.empty() ? std::wstring() : FileNameOf(targetPath), code, nullptr);
    return code;
}

DWORD FileTransfer::OpenSession(HINTERNET& session) {
    completionEvent.Reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    closingEvent.Reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!completionEvent || !closingEvent) return ::GetLastError();
    session = ::InternetOpenW(L"Tarvo", proxy.empty() ? INTERNET_OPEN_TYPE_PRECONFIG : INTERNET_OPEN_TYPE_PROXY,
                              proxy.empty() ? nullptr : proxy.c_str(), nullptr, INTERNET_FLAG_ASYNC);
    if (!session) return ::GetLastError();
    ::InternetSetStatusCallbackW(session, &FileTransfer::StatusCallback);
    return 0;
}

void CALLBACK FileTransfer::StatusCallback(HINTERNET, DWORD_PTR context, DWORD status, void* info, DWORD) {
    if (context) reinterpret_cast<FileTransfer*>(context)->OnStatus(status, info);
}

void FileTransfer::OnStatus(DWORD statusCode, void* info) {
    if (statusCode == INTERNET_STATUS_HANDLE_CLOSING) {
        ::SetEvent(closingEvent.Get());
        return;
    }
    if (statusCode != INTERNET_STATUS_REQUEST_COMPLETE || !info) return;
    const auto* result = static_cast<const INTERNET_ASYNC_RESULT*>(info);
    asyncError = result->dwError;
    asyncResult = static_cast<DWORD>(result->dwResult);
    if (asyncOperation == kOpConnect || asyncOperation == kOpFtpOpen || asyncOperation == kOpOpenRequest) {
        request = reinterpret_cast<HINTERNET>(result->dwResult);
        CaptureLastResponse();
    } else if (asyncOperation == kOpFtpCommand) {
        CaptureLastResponse();
    }
    asyncDone = true;
    ::SetEvent(completionEvent.Get());
}

void FileTransfer::CaptureLastResponse() {
    std::wstring text(1000, L'\0');
    for (int pass = 0; pass < 2; ++pass) {
        DWORD error = 0;
        DWORD length = static_cast<DWORD>(text.size());
        if (::InternetGetLastResponseInfoW(&error, text.data(), &length)) {
            text.resize(length);
            lastResponse = text;
            return;
        }
        if (::GetLastError() != ERROR_INSUFFICIENT_BUFFER) return;
        text.assign(length + 1, L'\0');
    }
}

DWORD FileTransfer::RunAsync(AsyncOperation operation, const std::function<bool()>& call) {
    asyncOperation = operation;
    asyncDone = false;
    asyncError = 0;
    asyncResult = 0;
    ::ResetEvent(completionEvent.Get());
    // Wine queues some calls (FtpOpenFileW) without saying so: no result
    // and no error. Its callback comes all the same, so an untouched error
    // means "pending" as much as ERROR_IO_PENDING does.
    ::SetLastError(0);
    if (call()) {
        ::SetEvent(completionEvent.Get());
        return 0;
    }
    const DWORD error = ::GetLastError();
    if (error != ERROR_IO_PENDING && error != 0) return error;
    return WaitForCompletion();
}

DWORD FileTransfer::WaitForCompletion() {
    while (!asyncDone) {
        if (Cancelled()) return kTransferCancelled;
        ::WaitForSingleObject(completionEvent.Get(), 10);
    }
    if (asyncResult == 0) return asyncError ? asyncError : ERROR_INTERNET_INTERNAL_ERROR;
    return 0;
}

DWORD FileTransfer::Download(const std::wstring& url, const std::wstring& target) {
    return Download(std::vector<std::wstring>{url}, target);
}

DWORD FileTransfer::Download(const std::vector<std::wstring>& list, const std::wstring& target) {
    urls = list;
    targetPath = target;
    partPath = target + L".part";
    request = nullptr;
    connection = nullptr;
    canReconnect = true;
    const std::wstring name = targetPath;
    targetPath.clear();  // faults before the session name no file
    if (urls.empty()) return Report(ERROR_INTERNET_UNRECOGNIZED_SCHEME);
    for (const std::wstring& url : urls) {
        UrlParts parts(url);
        if (parts.error) return Report(parts.error);
        if (parts.scheme == INTERNET_SCHEME_FILE) canReconnect = false;
        else if (parts.scheme != INTERNET_SCHEME_FTP && parts.scheme != INTERNET_SCHEME_HTTP &&
                 parts.scheme != INTERNET_SCHEME_HTTPS)
            return Report(ERROR_INTERNET_UNRECOGNIZED_SCHEME);
    }
    targetPath = name;

    HINTERNET opened = nullptr;
    if (const DWORD code = OpenSession(opened)) return code;
    InternetSession session(opened);
    // Declared after the session, so request and connection close first.
    ScopeGuard closeHandles([this] {
        CloseRequest();
        CloseConnection();
    });
    if (connectTimeout)
        ::InternetSetOptionW(session.Get(), INTERNET_OPTION_CONNECT_TIMEOUT, &connectTimeout, sizeof(connectTimeout));
    if (!IsUsableTarget(targetPath)) return Report(kTransferBadTarget);

    DWORD offset = 0;
    if (resumeEnabled) {
        KernelHandle part(::CreateFileW(ToLongPath(partPath).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (part) {
            const DWORD size = ::GetFileSize(part.Get(), nullptr);
            if (size != INVALID_FILE_SIZE) offset = size;
        }
    }
    DWORD total = 0;
    Source source;
    const DWORD code = OpenWithRetries(session.Get(), offset, total, source);
    if (Cancelled()) return kTransferCancelled;
    if (code) return code == kTransferNotModified ? code : Report(code);
    if (expectedSize && total && expectedSize != total) return Report(kTransferWrongSize);
    if (source.isFile) return CopyFileSource(source.path, targetPath);
    return ReceiveToFile(session.Get(), total, offset);
}

DWORD FileTransfer::OpenWithRetries(HINTERNET session, DWORD& offset, DWORD& total, Source& source) {
    if (urls.empty()) return ERROR_INTERNET_UNRECOGNIZED_SCHEME;
    DWORD attempts = std::max<DWORD>(retries, static_cast<DWORD>(urls.size() - 1));
    if (credentials) credentials->BeginAttempts();
    size_t index = 0;
    for (;;) {
        const DWORD code = OpenUrl(session, urls[index], L"GET", offset, total, source);
        const bool unreachable = code == ERROR_INTERNET_CANNOT_CONNECT || code == ERROR_INTERNET_NAME_NOT_RESOLVED;
        const bool missing = code == kTransferNotFound || code == ERROR_PATH_NOT_FOUND ||
                             code == ERROR_INTERNET_EXTENDED_ERROR || code == ERROR_INTERNET_ITEM_NOT_FOUND ||
                             code == ERROR_FTP_DROPPED;
        if (!unreachable && !(missing && urls.size() >= 2)) return code;
        if (attempts == 0) return code;
        index = (index + 1) % urls.size();
        --attempts;
    }
}

DWORD FileTransfer::OpenUrl(HINTERNET session, const std::wstring& url, const wchar_t* verb, DWORD& offset,
                            DWORD& total, Source& source) {
    CloseRequest();
    CloseConnection();
    UrlParts parts(url);
    if (parts.error) return parts.error;
    const auto port = static_cast<INTERNET_PORT>(parts.port);
    switch (parts.scheme) {
    case INTERNET_SCHEME_HTTP:
    case INTERNET_SCHEME_HTTPS:
        return OpenHttp(session, url, verb, port, parts.host, parts.path, parts.user, parts.password, parts.extra,
                        parts.scheme == INTERNET_SCHEME_HTTPS, offset, total);
    case INTERNET_SCHEME_FTP:
        return OpenFtp(session, url, port, parts.host, parts.path, parts.user, parts.password, offset, total);
    case INTERNET_SCHEME_FILE: {
        source.isFile = true;
        source.path = FileSourcePath(url, parts.path);
        return OpenFileSource(url, source.path, parts.user, parts.password, offset, total);
    }
    default:
        return ERROR_INTERNET_UNRECOGNIZED_SCHEME;
    }
}

DWORD FileTransfer::ReceiveToFile(HINTERNET session, DWORD total, DWORD offset) {
    if (observer) observer->BeginStep(1, static_cast<int>(total), 0);
    if (Cancelled()) return kTransferCancelled;
    if (const DWORD error = CreateFolderChain(partPath)) return Report(error);

    AccessListBuilder access;
    SECURITY_ATTRIBUTES attributes{sizeof(attributes), nullptr, FALSE};
    if (openPermissions && offset == 0) {
        access.Add(L"S-1-1-0", GENERIC_ALL, true);
        access.Add(L"S-1-5-18", GENERIC_ALL, true);
        attributes.lpSecurityDescriptor = access.Build();
    }
    KernelHandle file(::CreateFileW(ToLongPath(partPath).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                    attributes.lpSecurityDescriptor ? &attributes : nullptr,
                                    offset > 0 ? OPEN_EXISTING : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        const DWORD error = ::GetLastError();
        return Cancelled() ? error : Report(error);
    }
    if (offset > 0) ::SetFilePointer(file.Get(), 0, nullptr, FILE_END);
    if (observer) observer->AddBytes(static_cast<int>(offset));

    // Members, not locals: a read still pending after a cancel writes into
    // them until the request guard has seen it complete.
    mBuffer.resize(kBufferSize);
    for (;;) {
        DWORD code = RunAsync(kOpQueryAvailable, [&] {
            mAvailable = 0;
            return ::InternetQueryDataAvailable(request, &mAvailable, 0, 0);
        });
        DWORD available = code == 0 && asyncError > 0 ? asyncError : mAvailable;
        DWORD received = 0;
        if (code == 0 && available > 0) {
            code = RunAsync(kOpRead, [&] {
                mReceived = 0;
                return ::InternetReadFile(request, mBuffer.data(), std::min(available, kBufferSize), &mReceived);
            });
            received = code == 0 && asyncError > 0 ? asyncError : mReceived;
        }
        if (code == 0 && received > 0) {
            DWORD written = 0;
            if (!::WriteFile(file.Get(), mBuffer.data(), received, &written, nullptr)) return Report(::GetLastError());
            if (observer) {
                observer->AddBytes(static_cast<int>(written));
                while (observer->IsPaused() && !observer->IsCancelled() && !asyncDone) ::Sleep(10);
            }
            if (Cancelled()) return kTransferCancelled;
            continue;
        }
        if (code != 0) {
            if (code == kTransferCancelled) return code;
            if (IsConnectionLoss(code) && canReconnect) {
                code = Reconnect(session, file.Get(), total);
                if (code == 0) continue;
            }
            return code == kTransferCancelled ? code : Report(code);
        }
        // End of data.
        if (total > 0 && SizeOfOpenFile(file.Get()) < total) {
            if (!canReconnect) return Report(kTransferShort);
            code = Reconnect(session, file.Get(), total);
            if (code == 0) continue;
            return code == kTransferCancelled ? code : Report(code);
        }
        break;
    }
    file.Reset();
    if (const DWORD error = PromotePartFile()) return Report(error);
    if (observer) observer->EndStep(1, 0);
    return 0;
}

DWORD FileTransfer::PromotePartFile() {
    const std::wstring part = ToLongPath(partPath);
    const std::wstring target = ToLongPath(targetPath);
    ::DeleteFileW(target.c_str());
    if (::MoveFileW(part.c_str(), target.c_str())) return 0;
    if (!::CopyFileW(part.c_str(), target.c_str(), FALSE)) return ::GetLastError();
    ::DeleteFileW(part.c_str());
    return 0;
}

DWORD FileTransfer::Reconnect(HINTERNET session, HANDLE file, DWORD& total) {
    CloseRequest();
    ::FlushFileBuffers(file);
    const DWORD size = SizeOfOpenFile(file);
    DWORD offset = resumeEnabled ? size : 0;
    Source source;
    const DWORD code = OpenWithRetries(session, offset, total, source);
    // A server that won't go on where the file ends: what arrived stays.
    if (size != 0 && offset != size) return ERROR_INTERNET_TIMEOUT;
    return code;
}

}  // namespace tv
