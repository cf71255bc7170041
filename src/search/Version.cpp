#include "search/Version.h"
#include <cwchar>

namespace tv {

namespace {

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// Negative when `a` is lower, 0 when equal, positive when higher.
int Compare(const Version& a, const Version& b) {
    for (size_t i = 0; i < a.parts.size(); ++i)
        if (a.parts[i] != b.parts[i]) return a.parts[i] < b.parts[i] ? -1 : 1;
    return 0;
}

std::wstring JoinParts(const Version& version, size_t count) {
    std::wstring text;
    wchar_t digits[16];
    for (size_t i = 0; i < count; ++i) {
        std::swprintf(digits, 16, i == 0 ? L"%d" : L".%d", version.parts[i]);
        text += digits;
    }
    return text;
}

}  // namespace

bool ParseVersion(const std::wstring& text, Version& outVersion) {
    outVersion = Version{};
    size_t position = 0;
    while (position < text.size() && !IsDigit(text[position])) ++position;
    if (position == text.size()) return false;
    for (int& part : outVersion.parts) {
        for (; position < text.size() && IsDigit(text[position]); ++position) {
            if (part > 0xCCCCCCC) {
                outVersion = Version{};
                return false;
            }
            // A part of 2147483648 and more wraps, as a 32-bit part always did.
            part = static_cast<int>(static_cast<long long>(part) * 10 + (text[position] - L'0'));
        }
        while (position < text.size() && !IsDigit(text[position])) ++position;
        if (position == text.size()) break;
    }
    return true;
}

std::wstring NormalizeVersion(const Version& version) {
    size_t last = version.parts.size();
    while (last > 0 && (version.parts[last - 1] == 0 || version.parts[last - 1] == 65535)) --last;
    if (last == 0) return L"0.0.0.0";
    return JoinParts(version, last < 2 ? 2 : last);
}

std::wstring FourPartVersion(const Version& version) { return JoinParts(version, 4); }

bool AnyVersionInRange(const SearchItem& item, const std::vector<std::wstring>& versions) {
    if (versions.empty()) return false;
    Version min, max;
    ParseVersion(item.verMin, min);
    ParseVersion(item.verMax, max);
    const bool hasMin = !min.IsEmpty();
    const bool hasMax = !max.IsEmpty();
    if (!hasMin && !hasMax) return true;
    for (const std::wstring& text : versions) {
        Version candidate;
        ParseVersion(text, candidate);
        if (candidate.IsEmpty()) continue;
        if (hasMin && Compare(candidate, min) < 0) continue;
        if (!hasMax || Compare(candidate, max) <= 0) return true;
    }
    return false;
}

}  // namespace tv
