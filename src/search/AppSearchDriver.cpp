#include "search/AppSearchDriver.h"
#include "frame/MsiTableReader.h"

namespace tv {

const wchar_t* const TV_AppSearchEx = L"TV_AppSearchEx";

namespace {

const wchar_t* const kAllSearchColumns[] = {L"Property", L"Condition", L"Type",     L"SearchString",
                                            L"VerMin",   L"VerMax",    L"Platform", L"RefContent",
                                            nullptr};
const wchar_t* const kPrereqSearchColumns[] = {L"Property", L"Condition", L"Type",       L"SearchString",
                                               L"VerMin",   L"VerMax",    L"Platform",   L"RefContent",
                                               L"PrereqSearch", nullptr};
const wchar_t* const kSearchOrder[] = {L"Order", nullptr};

}  // namespace

// The rows are read; the search kinds that evaluate them are not built yet,
// so every row finds nothing and no property is set.
UINT AppSearchDriver::RunAllSearches() {
    MsiTableReader reader(mSession);
    reader.Open(TV_AppSearchEx, kAllSearchColumns, kSearchOrder, nullptr);
    return 0;
}

UINT AppSearchDriver::RunPrereqSearches() {
    MsiTableReader reader(mSession);
    reader.Open(TV_AppSearchEx, kPrereqSearchColumns, kSearchOrder, nullptr);
    return 0;
}

}  // namespace tv
