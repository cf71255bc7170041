#include "download/UrlParts.h"
#include <wininet.h>

namespace tv {

namespace {

int HexValue(wchar_t c) {
    if (c >= L'0' && c <= L'9') return c - L'0';
    if (c >= L'a' && c <= L'f') return c - L'a' + 10;
    if (c >= L'A' && c <= L'F') return c - L'A' + 10;
    return -1;
}

std::wstring Piece(const wchar_t* text, DWORD length) { return text ? std::wstring(text, length) : std::wstring(); }

}  // namespace

UrlParts::UrlParts(const std::wstring& text) : url(text) {
    URL_COMPONENTSW parts{};
    parts.dwStructSize = sizeof(parts);
    // Length 1 with no buffer asks for pointers into the URL: no copies and
    // no decoding by the platform.
    parts.dwSchemeLength = parts.dwHostNameLength = parts.dwUserNameLength = 1;
    parts.dwPasswordLength = parts.dwUrlPathLength = parts.dwExtraInfoLength = 1;
    if (!::InternetCrackUrlW(url.c_str(), 0, 0, &parts)) {
        error = ::GetLastError();
        return;
    }
    host = Piece(parts.lpszHostName, parts.dwHostNameLength);
    path = Piece(parts.lpszUrlPath, parts.dwUrlPathLength);
    user = UrlDecode(Piece(parts.lpszUserName, parts.dwUserNameLength));
    password = UrlDecode(Piece(parts.lpszPassword, parts.dwPasswordLength));
    extra = Piece(parts.lpszExtraInfo, parts.dwExtraInfoLength);
    scheme = static_cast<DWORD>(parts.nScheme);
    port = parts.nPort;
    // A share behind file: names its server in the path, not in the host.
    if (scheme == INTERNET_SCHEME_FILE && path.size() > 3 && path.compare(0, 2, L"\\\\") == 0 && path[2] != L'?') {
        const size_t end = path.find(L'\\', 2);
        host = path.substr(2, end == std::wstring::npos ? std::wstring::npos : end - 2);
    }
}

std::wstring GetUrlHost(const std::wstring& url) {
    UrlParts parts(url);
    return parts.error ? std::wstring() : parts.host;
}

std::wstring UrlDecode(const std::wstring& text) {
    std::wstring result;
    result.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == L'%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 && HexValue(text[i + 2]) >= 0) {
            result += static_cast<wchar_t>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
            i += 2;
        } else {
            result += text[i];
        }
    }
    return result;
}

}  // namespace tv
