#pragma once
#include <string>

namespace tv {

// Keys of the actions' rows in the ActionText table (not the log names).
extern const std::wstring gDownloadActionName;
extern const std::wstring gExtractActionName;
extern const std::wstring gInstallActionName;
extern const std::wstring gVerifyActionName;

}  // namespace tv
