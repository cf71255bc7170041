#pragma once
#include <windows.h>
#include <msi.h>

namespace tv {

// Runs the rows of TV_AppSearchEx and sets the properties they name.
class AppSearchDriver {
public:
    explicit AppSearchDriver(MSIHANDLE session) : mSession(session) {}
    UINT RunAllSearches();
    UINT RunPrereqSearches();

private:
    MSIHANDLE mSession;
};

extern const wchar_t* const TV_AppSearchEx;

}  // namespace tv
