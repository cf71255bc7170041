#include "search/SearchEngine.h"
#include "frame/DebugLog.h"
#include "search/FileSearch.h"
#include "search/ProductSearch.h"
#include "search/RegistrySearch.h"
#include "search/Version.h"

namespace tv {

namespace {

const wchar_t* const kKindLines[] = {
    L"**File Version search",
    L"**Registry key sub-keys enumeration contains version search",
    L"**Registry value search",
    L"**Search by product code",
    L"**Search by upgrade code",
    L"**Registry key exists search",
    L"**Registry key does not exist search",
    L"**Registry value exists search",
    L"**Registry value does not exist search",
    L"**Registry value with certain content search",
    nullptr,  // the program search writes no line
    L"**Component is installed search",
    L"**Registry key sub-values enumeration contains version search",
    L"**MSIX Product search",
    L"**Folder subfolders enumeration contains version search",
};

bool IsDecidedByVersion(int type) {
    switch (type) {
    case 0: case 1: case 2: case 3: case 4: case 12: case 13: case 14: return true;
    default: return false;
    }
}

}  // namespace

bool SearchEngine::RunSearches(const std::vector<SearchItem>& items, std::vector<SearchResult>& results, bool is64,
                               BinaryExtractor& extractor) {
    results.clear();
    bool all = true;
    for (const SearchItem& item : items) {
        SearchResult result;
        if (item.type == 10)
            ProgramSearch(item, result, extractor);
        else
            RunSearch(item, is64, result);
        bool found;
        if (IsDecidedByVersion(item.type))
            found = AnyVersionInRange(item, result.versions);
        else if (item.type == 9)
            found = result.found && MatchContent(item.content.empty() ? std::wstring() : item.content.substr(1),
                                                 result.text, item.content.empty() ? L'\0' : item.content[0]);
        else if (item.type >= 5 && item.type <= 11)
            found = result.found;
        else
            found = true;  // a kind this library doesn't know asks for nothing
        result.found = found;
        all = all && found;
        results.push_back(std::move(result));
        if (!all) break;
    }
    return all;
}

void SearchEngine::RunSearch(const SearchItem& item, bool is64, SearchResult& result) {
    if (item.type < 0 || item.type > 14) return;
    TV_LOG(L"");
    if (kKindLines[item.type]) TV_LOG(kKindLines[item.type]);
    switch (item.type) {
    case 0: FileVersionSearch(item.search, is64, result); break;
    case 1: RegistryVersionSearch(item.search, false, is64, result); break;
    case 2: RegistryVersionSearch(item.search, true, is64, result); break;
    case 3: ProductVersionSearch(item.search, result); break;
    case 4: UpgradeCodeSearch(item.search, result); break;
    case 5: result.found = RegistryExistenceSearch(item.search, is64, false, true); break;
    case 6: result.found = RegistryExistenceSearch(item.search, is64, false, false); break;
    case 7: result.found = RegistryExistenceSearch(item.search, is64, true, true); break;
    case 8: result.found = RegistryExistenceSearch(item.search, is64, true, false); break;
    case 9: result.found = RegistryContentSearch(item.search, is64, result.text); break;
    case 11: ComponentSearch(item.search, result); break;
    case 12: RegistrySubValueSearch(item.search, is64, result); break;
    case 13: PackageSearch(item.search, result); break;
    case 14: SubfolderVersionSearch(item.search, is64, result); break;
    default: break;  // kind 10 runs through RunSearches, which has the extractor
    }
}

}  // namespace tv
