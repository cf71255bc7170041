#pragma once
#include <windows.h>
#include <string>

namespace tv {

// One URL split by the platform's cracker. The path and extra are kept as
// written (a server gets them as they stand); user and password are decoded
// because they are handed to the platform as plain text.
struct UrlParts {
    explicit UrlParts(const std::wstring& url);

    DWORD error = 0;  // 0, or why the URL could not be cracked
    std::wstring url;
    DWORD scheme = 0;  // 1 ftp, 3 http, 4 https, 5 file
    DWORD port = 0;
    std::wstring host;
    std::wstring path;
    std::wstring extra;  // query and fragment
    std::wstring user;
    std::wstring password;
};

// The host of a URL; empty when it can't be cracked.
std::wstring GetUrlHost(const std::wstring& url);

// "%" and two hexadecimal digits become one UTF-16 unit of that value; any
// other "%" stays as it is.
std::wstring UrlDecode(const std::wstring& text);

}  // namespace tv
