#include "platform/PathComponents.h"
#include <windows.h>
#include "platform/Files.h"
#include "platform/NoCase.h"

namespace tv {

namespace {

bool IsSeparator(wchar_t c) { return c == L'\\' || c == L'/'; }

bool IsDriveLetter(wchar_t c) { return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z'); }

// The next name from `pos` up to a separator; `pos` moves behind it.
std::wstring NextName(const std::wstring& text, size_t& pos) {
    const size_t start = pos;
    while (pos < text.size() && !IsSeparator(text[pos])) ++pos;
    std::wstring name = text.substr(start, pos - start);
    if (pos < text.size()) ++pos;
    return name;
}

// Names the system would trim or expand are refused rather than guessed.
bool IsPlainName(const std::wstring& name) {
    if (name.back() == L'.' || name.back() == L' ') return false;
    return name.find_first_of(L"*?\"<>|") == std::wstring::npos;
}

}  // namespace

std::wstring PathComponents::Text(size_t depth) const {
    std::wstring text = root;
    for (size_t i = 0; i < depth && i < names.size(); ++i) text += L'\\' + names[i];
    if (!longForm) return text;
    return root[0] == L'\\' ? L"\\\\?\\UNC\\" + text.substr(2) : L"\\\\?\\" + text;
}

std::optional<PathComponents> SplitPathComponents(const std::wstring& path) {
    PathComponents parts;
    parts.longForm = HasLongPrefix(path);
    const std::wstring text = StripLongPrefix(path);
    size_t pos = 0;
    if (text.size() >= 2 && IsSeparator(text[0]) && IsSeparator(text[1])) {
        pos = 2;
        const std::wstring server = NextName(text, pos);
        const std::wstring share = NextName(text, pos);
        // "\\.\" and a long prefix in a form StripLongPrefix doesn't know
        // name devices, not shares.
        if (server.empty() || share.empty() || server == L"." || server == L"?") return std::nullopt;
        parts.root = L"\\\\" + server + L"\\" + share;
    } else if (text.size() >= 2 && text[1] == L':' && IsDriveLetter(text[0]) &&
               (text.size() == 2 || IsSeparator(text[2]))) {
        parts.root = text.substr(0, 2);
        pos = 2;
    } else {
        return std::nullopt;
    }
    while (pos < text.size()) {
        const std::wstring name = NextName(text, pos);
        if (name.empty() || name == L".") continue;
        if (name == L"..") {
            if (parts.names.empty()) return std::nullopt;
            parts.names.pop_back();
            continue;
        }
        if (!IsPlainName(name)) return std::nullopt;
        parts.names.push_back(name);
    }
    return parts;
}

bool IsStrictlyBelow(const PathComponents& inner, const PathComponents& folder) {
    if (inner.names.size() <= folder.names.size() || !EqualsNoCase(inner.root, folder.root)) return false;
    for (size_t i = 0; i < folder.names.size(); ++i)
        if (!EqualsNoCase(inner.names[i], folder.names[i])) return false;
    return true;
}

}  // namespace tv
