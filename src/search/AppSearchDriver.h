#pragma once
#include <windows.h>
#include <msi.h>
#include "frame/TableRow.h"

namespace tv {

class BinaryExtractor;

// Runs the rows of TV_AppSearchEx and sets the properties they name.
class AppSearchDriver {
public:
    explicit AppSearchDriver(MSIHANDLE session) : mSession(session) {}
    // Every row, in Order; always 0.
    UINT RunAllSearches();
    // Only the rows marked in PrereqSearch, for the verification of the
    // pre-install prerequisites; always 0.
    UINT RunPrereqSearches();

private:
    // Shows the search under the action line of the installer's AppSearch.
    void AnnounceSearch();
    void RunRows(bool markedOnly);
    void SearchRow(const TableRow& row, BinaryExtractor& extractor);

    MSIHANDLE mSession;
};

extern const wchar_t* const TV_AppSearchEx;

}  // namespace tv
