#pragma once
#include <array>
#include <string>
#include <vector>
#include "search/SearchItem.h"

namespace tv {

// Four signed parts, major first; all zero stands for no version.
struct Version {
    std::array<int, 4> parts{};
    bool IsEmpty() const noexcept { return parts == std::array<int, 4>{}; }
};

// Takes up to four digit groups out of any text, whatever separates them.
// False for a text without digits, or one whose group overflows a part;
// `outVersion` is then all zero.
bool ParseVersion(const std::wstring& text, Version& outVersion);
// Two to four parts: up to the last one that is neither 0 nor 65535, and at
// least two; "0.0.0.0" for no version.
std::wstring NormalizeVersion(const Version& version);
// "%d.%d.%d.%d".
std::wstring FourPartVersion(const Version& version);
// True when a text of the list lies within the item's inclusive bounds; with
// no bound, when the list isn't empty.
bool AnyVersionInRange(const SearchItem& item, const std::vector<std::wstring>& versions);

}  // namespace tv
