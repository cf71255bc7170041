#pragma once
#include <string>
#include <vector>

namespace tv {

// One search of a TV_AppSearchEx row, with its texts as the driver read them.
struct SearchItem {
    int type = 0;
    std::wstring search;     // SearchString after expansion and formatting
    std::wstring verMin;     // the cells as they stand
    std::wstring verMax;
    std::wstring content;    // RefContent: the comparison of kind 9
    std::wstring arguments;  // RefContent again: the program's arguments of kind 10
};

// What one search found.
struct SearchResult {
    std::vector<std::wstring> versions;
    std::wstring text;  // the value kind 9 read
    bool found = false;
};

}  // namespace tv
