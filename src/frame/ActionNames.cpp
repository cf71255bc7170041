#include "frame/ActionNames.h"

namespace tv {

const std::wstring gDownloadActionName = L"TV_DownloadPrereq";
const std::wstring gExtractActionName = L"TV_ExtractPrereq";
const std::wstring gInstallActionName = L"TV_InstallPrerequisite";
const std::wstring gVerifyActionName = L"TV_VerifyPrereq";

}  // namespace tv
