#pragma once
#include <vector>
#include "search/SearchItem.h"

namespace tv {

class BinaryExtractor;

// Runs search items by kind and decides whether each was found: by the
// versions it collected and the item's bounds, or by the search itself.
class SearchEngine {
public:
    // True when every item was found; stops at the first that wasn't.
    bool RunSearches(const std::vector<SearchItem>& items, std::vector<SearchResult>& results, bool is64,
                     BinaryExtractor& extractor);
    // One item of any kind but 10, with its log line.
    void RunSearch(const SearchItem& item, bool is64, SearchResult& result);

private:
    // The range the file walkers would test against; it stays empty, so the
    // walkers collect and the bounds are applied afterwards.
    SearchItem mRange;
};

}  // namespace tv
