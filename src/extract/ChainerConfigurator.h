#pragma once
#include <windows.h>
#include <msi.h>
#include "frame/PrereqProgress.h"

namespace tv {

// Prepares the chaining launcher for an installation without a full UI.
class ChainerConfigurator {
public:
    ChainerConfigurator(MSIHANDLE session, PrereqProgress& progress) : mSession(session), mProgress(progress) {}
    UINT Run();

private:
    MSIHANDLE mSession;
    PrereqProgress& mProgress;
};

}  // namespace tv
