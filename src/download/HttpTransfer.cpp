// The HTTP and HTTPS way of FileTransfer: the request with its resume and
// condition headers, the answer turned into an offset, a length and a
// result, authentication and certificate faults; and the form post and
// text fetch of the class.
#include <cwchar>
#include <cwctype>
#include "download/FileTransfer.h"
#include "download/UrlParts.h"
#include "platform/Files.h"
#include "platform/InternetHandle.h"
#include "platform/Utf8.h"

namespace tv {

namespace {

constexpr DWORD kOpenFlags = INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE | INTERNET_FLAG_KEEP_CONNECTION |
                             INTERNET_FLAG_IGNORE_REDIRECT_TO_HTTP | INTERNET_FLAG_IGNORE_REDIRECT_TO_HTTPS;
// Unknown authority, wrong date and name, revocation and usage: the set a
// package may choose to ignore on secure URLs.
constexpr DWORD kIgnoreOnSecure = 0x13380;
constexpr DWORD kIgnoreAutomatically = 0x3F05;

bool IsCertificateFault(DWORD code) {
    return code == ERROR_INTERNET_SEC_CERT_DATE_INVALID || code == ERROR_INTERNET_SEC_CERT_CN_INVALID ||
           code == ERROR_INTERNET_CLIENT_AUTH_CERT_NEEDED || code == ERROR_INTERNET_INVALID_CA;
}

std::wstring Trim(const std::wstring& text) {
    const size_t first = text.find_first_not_of(L" \t");
    if (first == std::wstring::npos) return {};
    return text.substr(first, text.find_last_not_of(L" \t") - first + 1);
}

bool SameNoCase(const std::wstring& a, const wchar_t* b) { return ::lstrcmpiW(a.c_str(), b) == 0; }

// A header's text, read into a buffer that grows once when too small.
bool QueryText(HINTERNET request, DWORD info, std::wstring& out, DWORD bytes) {
    for (int pass = 0; pass < 2; ++pass) {
        std::wstring buffer(bytes / sizeof(wchar_t) + 1, L'\0');
        DWORD size = bytes;
        if (::HttpQueryInfoW(request, info, buffer.data(), &size, nullptr)) {
            buffer.resize(size / sizeof(wchar_t));
            out = buffer;
            return true;
        }
        if (::GetLastError() != ERROR_INSUFFICIENT_BUFFER) return false;
        bytes = size;
    }
    return false;
}

// The value of the parameter `name` in a list such as `a=1; charset=x`,
// pieces split at `separator`, names matched without case; false if absent.
bool ParameterOf(const std::wstring& list, wchar_t separator, const wchar_t* name, std::wstring& value) {
    size_t start = 0;
    while (start <= list.size()) {
        size_t end = list.find(separator, start);
        if (end == std::wstring::npos) end = list.size();
        const std::wstring piece = list.substr(start, end - start);
        const size_t equals = piece.find(L'=');
        if (equals != std::wstring::npos && SameNoCase(Trim(piece.substr(0, equals)), name)) {
            value = piece.substr(equals + 1);
            return true;
        }
        start = end + 1;
    }
    return false;
}

// The realm of a challenge such as `Basic realm="files", charset="UTF-8"`.
std::wstring RealmOf(const std::wstring& challenge) {
    const size_t blank = challenge.find(L' ');
    std::wstring value;
    if (blank == std::wstring::npos || !ParameterOf(challenge.substr(blank + 1), L',', L"realm", value)) return {};
    if (value.size() >= 2 && value.front() == L'"' && value.back() == L'"') value = value.substr(1, value.size() - 2);
    return value;
}

std::wstring HttpDate(const SYSTEMTIME& time) {
    static const wchar_t* const days[] = {L"Sun", L"Mon", L"Tue", L"Wed", L"Thu", L"Fri", L"Sat"};
    static const wchar_t* const months[] = {L"Jan", L"Feb", L"Mar", L"Apr", L"May", L"Jun",
                                            L"Jul", L"Aug", L"Sep", L"Oct", L"Nov", L"Dec"};
    wchar_t text[64];
    std::swprintf(text, 64, L"%ls, %.2u %ls %.4u %.2u:%.2u:%.2u GMT", days[time.wDayOfWeek % 7], time.wDay,
                  months[(time.wMonth + 11) % 12], time.wYear, time.wHour, time.wMinute, time.wSecond);
    return text;
}

}  // namespace

std::wstring FileTransfer::BuildHeaders(DWORD offset) const {
    std::wstring headers;
    wchar_t line[64];
    if (offset != 0) {
        std::swprintf(line, 64, L"Range: bytes=%u-\r\n", offset);
        headers += line;
    }
    if (ifModifiedSince.wYear != 0) headers += L"If-Modified-Since: " + HttpDate(ifModifiedSince) + L"\r\n";
    if (!formData.empty()) headers += formContentType;
    if (!acceptEncoding.empty()) headers += L"Accept-Encoding: " + acceptEncoding + L"\r\n";
    headers += extraHeaders;
    return headers;
}

void FileTransfer::AddHeader(const std::wstring& name, const std::wstring& value) {
    extraHeaders += name + L":" + value + L"\r\n";
}

void FileTransfer::AddFormField(const std::wstring& name, const std::wstring& value) {
    if (!formData.empty()) formData += L"&";
    formData += name + L"=" + value;
}

bool FileTransfer::GetResponseCharset(std::wstring& out) {
    if (!ParameterOf(responseContentType, L';', L"charset", out)) return false;
    out = Trim(out);
    return true;
}

DWORD FileTransfer::OpenHttp(HINTERNET session, const std::wstring& url, const wchar_t* verb, INTERNET_PORT port,
                             const std::wstring& host, const std::wstring& path, const std::wstring& user,
                             const std::wstring& password, const std::wstring& extra, bool secure, DWORD& offset,
                             DWORD& total) {
    total = 0;
    DWORD code = RunAsync(kOpConnect, [&] {
        HINTERNET handle = ::InternetConnectW(session, host.c_str(), port, user.empty() ? nullptr : user.c_str(),
                                              password.empty() ? nullptr : password.c_str(), INTERNET_SERVICE_HTTP, 0,
                                              reinterpret_cast<DWORD_PTR>(this));
        if (handle) request = handle;
        return handle != nullptr;
    });
    if (code) return code;
    connection = std::exchange(request, nullptr);

    const std::wstring object = path + extra;
    const wchar_t* accept[] = {L"*/*", nullptr};
    code = RunAsync(kOpOpenRequest, [&] {
        HINTERNET handle = ::HttpOpenRequestW(connection, verb, object.c_str(), L"HTTP/1.0", L"", accept,
                                              kOpenFlags | (secure ? INTERNET_FLAG_SECURE : 0),
                                              reinterpret_cast<DWORD_PTR>(this));
        if (handle) request = handle;
        return handle != nullptr;
    });
    if (code) return code;
    if (secure && ignoreCertOnSecure) {
        DWORD flags = 0, size = sizeof(flags);
        ::InternetQueryOptionW(request, INTERNET_OPTION_SECURITY_FLAGS, &flags, &size);
        flags |= kIgnoreOnSecure;
        ::InternetSetOptionW(request, INTERNET_OPTION_SECURITY_FLAGS, &flags, sizeof(flags));
    }
    std::wstring headers = BuildHeaders(offset);
    std::string body;
    if (!formData.empty()) {
        body = ToUtf8(formData);
    }
    if (credentials) credentials->BeginAttempts();
    std::wstring authUser = user, authPassword = password;

    for (;;) {
        const DWORD sent = RunAsync(kOpSendRequest, [&] {
            return ::HttpSendRequestW(request, headers.empty() ? nullptr : headers.c_str(),
                                      static_cast<DWORD>(headers.size()), body.empty() ? nullptr : body.data(),
                                      static_cast<DWORD>(body.size()));
        });
        if (sent == kTransferCancelled) return sent;
        status = 0;
        DWORD size = sizeof(status);
        if (!::HttpQueryInfoW(request, HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER, &status, &size, nullptr)) {
            code = ::GetLastError();
            CloseRequest();
            return code;
        }
        DWORD length = 0;
        size = sizeof(length);
        if (!::HttpQueryInfoW(request, HTTP_QUERY_CONTENT_LENGTH | HTTP_QUERY_FLAG_NUMBER, &length, &size, nullptr))
            length = 0;
        if (wantLastModified && status != HTTP_STATUS_NOT_MODIFIED) {
            size = sizeof(lastModified);
            if (!::HttpQueryInfoW(request, HTTP_QUERY_LAST_MODIFIED | HTTP_QUERY_FLAG_SYSTEMTIME, &lastModified, &size,
                                  nullptr))
                lastModified = SYSTEMTIME{};
        }
        if (!formData.empty() && status == HTTP_STATUS_OK && !QueryText(request, HTTP_QUERY_CONTENT_TYPE, responseContentType, 1040)) {
            code = ::GetLastError();
            CloseRequest();
            return code;
        }

        code = sent;
        switch (status) {
        case HTTP_STATUS_OK:
            total = length;
            if (length != 0 && offset >= length) code = kTransferPartTooLong;
            else offset = 0;
            break;
        case HTTP_STATUS_PARTIAL_CONTENT:
            if (length == 0) offset = total = 0;
            else total = offset + length;
            break;
        case HTTP_STATUS_NOT_MODIFIED:
            code = kTransferNotModified;
            break;
        case HTTP_STATUS_BAD_REQUEST:
        case HTTP_STATUS_NOT_FOUND:
        case HTTP_STATUS_GONE:
            code = kTransferNotFound;
            break;
        case HTTP_STATUS_FORBIDDEN:
            code = kTransferForbidden;
            break;
        case HTTP_STATUS_DENIED:
        case HTTP_STATUS_PROXY_AUTH_REQ: {
            std::wstring challenge, server;
            QueryText(request, status == HTTP_STATUS_DENIED ? HTTP_QUERY_WWW_AUTHENTICATE : HTTP_QUERY_PROXY_AUTHENTICATE,
                      challenge, 256);
            const bool isProxy = status == HTTP_STATUS_PROXY_AUTH_REQ;
            if (isProxy) {
                INTERNET_PER_CONN_OPTIONW option{};
                option.dwOption = INTERNET_PER_CONN_PROXY_SERVER;
                INTERNET_PER_CONN_OPTION_LISTW list{};
                list.dwSize = sizeof(list);
                list.dwOptionCount = 1;
                list.pOptions = &option;
                DWORD listSize = sizeof(list);
                if (::InternetQueryOptionW(nullptr, INTERNET_OPTION_PER_CONNECTION_OPTION, &list, &listSize) &&
                    option.Value.pszValue) {
                    server = option.Value.pszValue;
                    server = server.substr(0, server.find(L':'));
                    ::GlobalFree(option.Value.pszValue);
                }
            } else {
                server = host;
            }
            if (AskCredentials(request, url, RealmOf(challenge), isProxy, server, authUser, authPassword)) continue;
            CloseRequest();
            return kTransferNoCredentials;
        }
        default:
            if (sent == 0) {
                // Not a fault here: the body becomes the file, and the
                // integrity check stands between it and a launch.
                offset = 0;
                total = length;
                return 0;
            }
            break;
        }
        if (code == 0) return 0;
        if (!IsCertificateFault(code)) {
            CloseRequest();
            return code;
        }
        if (const DWORD answer = ApplyCertificateRule(code, headers)) {
            CloseRequest();
            return answer;
        }
    }
}

DWORD FileTransfer::ApplyCertificateRule(DWORD code, std::wstring& headers) {
    if (autoIgnoreCertErrors) {
        DWORD flags = 0, size = sizeof(flags);
        if (!::InternetQueryOptionW(request, INTERNET_OPTION_SECURITY_FLAGS, &flags, &size)) return ::GetLastError();
        flags |= kIgnoreAutomatically;
        if (!::InternetSetOptionW(request, INTERNET_OPTION_SECURITY_FLAGS, &flags, sizeof(flags))) return ::GetLastError();
    } else {
        const DWORD answer = observer ? observer->ReportError(std::wstring(), code, request) : code;
        if (answer != 0) return answer;
    }
    headers.clear();
    return 0;
}

bool FileTransfer::AskCredentials(HINTERNET handle, const std::wstring& url, const std::wstring& realm, bool isProxy,
                                  const std::wstring& server, std::wstring& user, std::wstring& password) {
    if (!credentials) return false;
    if (!credentials->GetStored(user, password)) {
        credentials->SetUrl(url);
        credentials->SetRealm(realm);
        credentials->SetServer(server);
        if (!observer || observer->ReportError(url, kTransferNoCredentials, credentials) != ERROR_RETRY) return false;
        if (!credentials->GetEntered(user, password)) return false;
    }
    if (handle) {
        ::InternetSetOptionW(handle, isProxy ? INTERNET_OPTION_PROXY_USERNAME : INTERNET_OPTION_USERNAME,
                             user.data(), static_cast<DWORD>(user.size()));
        ::InternetSetOptionW(handle, isProxy ? INTERNET_OPTION_PROXY_PASSWORD : INTERNET_OPTION_PASSWORD,
                             password.data(), static_cast<DWORD>(password.size()));
    }
    credentials->Commit();
    return true;
}

namespace {

// A whole file as text, converted by the charset its server named.
std::wstring LoadText(const std::wstring& path, const std::wstring& charset) {
    std::string bytes;
    {
        KernelHandle file(::CreateFileW(ToLongPath(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file) return {};
        bytes.resize(::GetFileSize(file.Get(), nullptr));
        DWORD read = 0;
        if (!bytes.empty() && !::ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr))
            return {};
        bytes.resize(read);
    }
    if (bytes.empty()) return {};
    if (SameNoCase(charset, L"utf-16")) return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / 2);
    UINT page = CP_ACP;
    if (SameNoCase(charset, L"utf-8")) page = CP_UTF8;
    else if (SameNoCase(charset, L"ISO-8859-1")) page = 28591;
    else if (SameNoCase(charset, L"US-ASCII")) page = CP_THREAD_ACP;
    const int length = ::MultiByteToWideChar(page, 0, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
    std::wstring text(length > 0 ? length : 0, L'\0');
    if (length > 0) ::MultiByteToWideChar(page, 0, bytes.data(), static_cast<int>(bytes.size()), text.data(), length);
    return text;
}

std::wstring TempTarget() {
    wchar_t path[MAX_PATH];
    const std::wstring folder = GetTempFolders().workTemp;
    if (!::GetTempFileNameW(folder.c_str(), L"tvt", 0, path)) return {};
    return path;
}

}  // namespace

DWORD FileTransfer::PostForm(const std::wstring& url, std::wstring& out) {
    urls = {url};
    targetPath = TempTarget();
    partPath = targetPath + L".part";
    retries = 0;
    UrlParts parts(url);
    if (parts.error) return Report(parts.error);
    if (parts.scheme != INTERNET_SCHEME_HTTP && parts.scheme != INTERNET_SCHEME_HTTPS)
        return Report(ERROR_INTERNET_UNRECOGNIZED_SCHEME);
    HINTERNET opened = nullptr;
    if (const DWORD code = OpenSession(opened)) return code;
    DWORD code = 0;
    {
        InternetSession session(opened);
        DWORD offset = 0, total = 0;
        Source source;
        code = OpenUrl(opened, url, L"POST", offset, total, source);
        if (code == 0) code = ReceiveToFile(opened, total, 0);
        else Report(code);
        CloseRequest();
        CloseConnection();
    }
    if (code == 0 && status != HTTP_STATUS_OK) code = kTransferBadStatus;
    std::wstring charset;
    if (code == 0) {
        GetResponseCharset(charset);
        out = LoadText(targetPath, charset);
    }
    ::DeleteFileW(ToLongPath(targetPath).c_str());
    return code;
}

DWORD FileTransfer::FetchText(const std::wstring& url, std::wstring& out) {
    const std::wstring target = TempTarget();
    DWORD code = Download(url, target);
    if (code == 0 && status != HTTP_STATUS_OK) code = kTransferBadStatus;
    if (code == 0) out = LoadText(target, L"");
    ::DeleteFileW(ToLongPath(target).c_str());
    return code;
}

}  // namespace tv
