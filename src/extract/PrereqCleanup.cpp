#include "extract/PrereqCleanup.h"
#include "frame/Session.h"
#include "install/ResumeTask.h"

namespace tv {

UINT PrereqCleanup::Run() {
    // The installation has come to its end: nothing is left to resume.
    const std::wstring manufacturer = GetProperty(mSession, L"Manufacturer");
    const std::wstring productCode = GetProperty(mSession, L"ProductCode");
    if (!RemoveResumeTask(productCode)) RemoveResumeRunOnce(productCode, manufacturer);
    return 0;
}

}  // namespace tv
