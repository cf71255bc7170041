#pragma once
#include <windows.h>
#include <wininet.h>
#include <atomic>
#include <functional>
#include <string>
#include <vector>
#include "frame/PrereqProgress.h"
#include "platform/KernelHandle.h"

namespace tv {

// The library's own results of a transfer; all others are Win32 or WinINet
// numbers.
enum : DWORD {
    kTransferBadTarget = 0xE0000005,     // target not "X:..." nor "\\..."
    kTransferCancelled = 0xE0000008,     // stopped by the user
    kTransferShort = 0xE000000F,         // ended short and may not reconnect
    kTransferPartTooLong = 0xE0000010,   // the .part is as long as the source or longer
    kTransferNoCredentials = 0xE0000012, // authentication needed, none came
    kTransferNotModified = 0xE0000013,   // not newer than ifModifiedSince
    kTransferForbidden = 0xE0000016,     // HTTP 403
    kTransferNotFound = 0xE0000018,      // HTTP 400, 404 or 410
    kTransferWrongSize = 0xE0000023,     // the source's size isn't expectedSize
    kTransferBadStatus = 0xE000002B,     // a form post or text fetch not answered with 200
};

// User names and passwords for servers that ask. The library has none; a
// port that wants a dialog or a store implements this.
class CredentialProvider {
public:
    virtual ~CredentialProvider() = default;
    virtual void BeginAttempts() = 0;
    virtual bool GetStored(std::wstring& user, std::wstring& password) = 0;
    virtual bool GetEntered(std::wstring& user, std::wstring& password) = 0;
    virtual void Commit() = 0;
    virtual void SetRealm(const std::wstring& text) = 0;
    virtual void SetServer(const std::wstring& text) = 0;
    virtual void SetUrl(const std::wstring& text) = 0;
};

// The request or remote file of a transfer. Closing it waits until WinINet
// has delivered the last completion and the handle's closing notice, so no
// callback can reach the transfer after the guard is gone.
class RequestGuard {
public:
    RequestGuard(HINTERNET handle, HANDLE completionEvent, HANDLE closingEvent) noexcept
        : mHandle(handle), mCompletion(completionEvent), mClosing(closingEvent) {}
    ~RequestGuard() { Close(); }
    RequestGuard(const RequestGuard&) = delete;
    RequestGuard& operator=(const RequestGuard&) = delete;
    void Close() noexcept;

private:
    HINTERNET mHandle;
    HANDLE mCompletion;
    HANDLE mClosing;
};

// Fetches one file from a list of alternative URLs into a target path
// through a ".part" file beside it: resumes what an earlier attempt left,
// retries across the list, reconnects in mid-transfer and reports to an
// observer. WinINet runs in asynchronous mode, so every blocking step is a
// wait that sees a cancel within 10 ms.
class FileTransfer {
public:
    explicit FileTransfer(PrereqProgress* observer);
    virtual ~FileTransfer();
    FileTransfer(const FileTransfer&) = delete;
    FileTransfer& operator=(const FileTransfer&) = delete;

    virtual void SetProxy(const std::wstring& text) { proxy = text; }
    virtual std::wstring GetProxy() { return proxy; }
    virtual void SetRetries(int count) { if (count >= 0) retries = static_cast<DWORD>(count); }
    virtual void SetConnectTimeout(DWORD ms) { if (ms != 0) connectTimeout = ms; }
    virtual void SetAcceptEncoding(const std::wstring& text) { acceptEncoding = text; }
    virtual void SetIfModifiedSince(const SYSTEMTIME& time) { ifModifiedSince = time; }
    virtual void SetWantLastModified(bool flag) { wantLastModified = flag; }
    virtual void SetOpenPermissions(bool flag) { openPermissions = flag; }
    virtual SYSTEMTIME GetLastModified() { return lastModified; }
    virtual void SetAutoIgnoreCertErrors(bool flag) { autoIgnoreCertErrors = flag; }
    virtual void SetResumeEnabled(bool flag) { resumeEnabled = flag; }
    virtual void SetExpectedSize(DWORD size) { expectedSize = size; }
    virtual void SetObserver(PrereqProgress* value) { observer = value; }
    virtual void SetIgnoreCertOnSecure(bool flag) { ignoreCertOnSecure = flag; }
    virtual void AddFormField(const std::wstring& name, const std::wstring& value);
    virtual void SetFormData(const std::wstring& text) { formData = text; }
    virtual void AddHeader(const std::wstring& name, const std::wstring& value);
    virtual void SetFormContentType(const std::wstring& text) { formContentType = text; }
    virtual std::wstring GetResponseContentType() { return responseContentType; }
    virtual bool GetResponseCharset(std::wstring& out);
    virtual DWORD GetStatus() { return status; }
    virtual DWORD PostForm(const std::wstring& url, std::wstring& out);
    virtual DWORD FetchText(const std::wstring& url, std::wstring& out);
    // 0 or an error code; every error but a cancel, "not modified" and a
    // session that could not open has been reported to the observer.
    virtual DWORD Download(const std::vector<std::wstring>& urls, const std::wstring& targetPath);
    virtual DWORD Download(const std::wstring& url, const std::wstring& targetPath);

protected:
    // Where a URL turned out to be a file path rather than a server.
    struct Source {
        bool isFile = false;
        std::wstring path;
    };
    // Asynchronous operations, as the status callback tells them apart.
    enum AsyncOperation : DWORD {
        kOpConnect = 0,
        kOpFtpOpen = 2,
        kOpRead = 3,
        kOpFtpCommand = 4,
        kOpOpenRequest = 6,
        kOpSendRequest = 7,
        kOpQueryAvailable = 8,
    };

    DWORD OpenSession(HINTERNET& session);
    static void CALLBACK StatusCallback(HINTERNET handle, DWORD_PTR context, DWORD status, void* info, DWORD length);
    void OnStatus(DWORD status, void* info);
    void CaptureLastResponse();
    // Starts an asynchronous call and waits for it: `call` returns whether it
    // succeeded at once. 0, kTransferCancelled, or the call's error.
    DWORD RunAsync(AsyncOperation operation, const std::function<bool()>& call);
    DWORD WaitForCompletion();

    DWORD OpenWithRetries(HINTERNET session, DWORD& offset, DWORD& total, Source& source);
    DWORD OpenUrl(HINTERNET session, const std::wstring& url, const wchar_t* verb, DWORD& offset, DWORD& total,
                  Source& source);
    DWORD OpenHttp(HINTERNET session, const std::wstring& url, const wchar_t* verb, INTERNET_PORT port,
                   const std::wstring& host, const std::wstring& path, const std::wstring& user,
                   const std::wstring& password, const std::wstring& extra, bool secure, DWORD& offset,
                   DWORD& total);
    DWORD OpenFtp(HINTERNET session, const std::wstring& url, INTERNET_PORT port, const std::wstring& host,
                  const std::wstring& path, const std::wstring& user, const std::wstring& password, DWORD& offset,
                  DWORD& total);
    DWORD SendRest(DWORD& offset);
    DWORD OpenFileSource(const std::wstring& url, const std::wstring& path, const std::wstring& user,
                         const std::wstring& password, DWORD& offset, DWORD& total);
    DWORD CopyFileSource(const std::wstring& source, const std::wstring& target);
    DWORD ReceiveToFile(HINTERNET session, DWORD total, DWORD offset);
    DWORD Reconnect(HINTERNET session, HANDLE file, DWORD& total);
    DWORD ApplyCertificateRule(DWORD code, std::wstring& headers);
    bool AskCredentials(HINTERNET handle, const std::wstring& url, const std::wstring& realm, bool isProxy,
                        const std::wstring& server, std::wstring& user, std::wstring& password);
    std::wstring BuildHeaders(DWORD offset) const;
    // Moves the finished .part file onto the target; 0 or the copy's error.
    DWORD PromotePartFile();
    DWORD Report(DWORD code);
    bool Cancelled() { return observer && observer->IsCancelled(); }
    void CloseRequest();
    void CloseConnection();

    HINTERNET request = nullptr;
    HINTERNET connection = nullptr;
    PrereqProgress* observer;
    CredentialProvider* credentials = nullptr;
    std::wstring targetPath;
    std::wstring partPath;
    std::vector<std::wstring> urls;
    DWORD asyncError = 0;
    DWORD asyncResult = 0;
    DWORD asyncOperation = 0;
    std::atomic<bool> asyncDone{false};
    std::wstring lastResponse;
    bool resumeEnabled = true;
    SYSTEMTIME ifModifiedSince{};
    SYSTEMTIME lastModified{};
    bool wantLastModified = false;
    KernelHandle completionEvent;
    KernelHandle closingEvent;
    std::wstring proxy;
    DWORD retries = 6;
    DWORD connectTimeout = 0;
    std::wstring acceptEncoding;
    bool openPermissions = false;
    bool autoIgnoreCertErrors = false;
    DWORD expectedSize = 0;
    bool canReconnect = false;
    std::wstring formData;
    std::wstring formContentType = L"Content-Type: application/x-www-form-urlencoded; charset=utf-8\r\n";
    std::wstring extraHeaders;
    std::wstring responseContentType;
    bool ignoreCertOnSecure = false;
    DWORD status = 0;

private:
    std::vector<BYTE> mBuffer;
    DWORD mAvailable = 0;
    DWORD mReceived = 0;
};

}  // namespace tv
