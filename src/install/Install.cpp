#include "install/Install.h"

// The operations below are the places the install engine grows into; until
// their parts are built each one leaves the session untouched and reports
// nothing done.
namespace tv {

UINT Install::Run(RunPhase) { return mResult; }
UINT Install::Verify(RunPhase) { return mResult; }
UINT Install::ReadAndDownload() { return mResult; }
UINT Install::ExtractFiles() { return mResult; }
UINT Install::ParalelDownloadInstall() { return mResult; }
bool Install::ArePrereqsFulfilled() { return false; }

}  // namespace tv
