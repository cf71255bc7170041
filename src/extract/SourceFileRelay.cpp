#include "extract/SourceFileRelay.h"
#include <string>
#include "frame/Session.h"

namespace tv {

UINT RelaySourceFiles(MSIHANDLE session) {
    // A package that downloads its sources needs the relay only when a
    // feature is being added or reinstalled.
    if (GetProperty(session, L"REINSTALL").empty() && GetProperty(session, L"ADDLOCAL").empty() &&
        GetProperty(session, L"TV_DOWNLOAD_LZMA") == L"true")
        return 0;
    std::wstring text = GetProperty(session, L"TV_SETUPEXEPATH");
    if (text.empty()) text = GetProperty(session, L"CustomActionData");
    if (text.empty()) return 0;
    // The pipe conversation with the setup executable is not built yet.
    return 0;
}

}  // namespace tv
