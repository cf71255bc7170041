#pragma once
#include <windows.h>
#include <msi.h>
#include "prereq/RunPhase.h"

namespace tv {

// Undoes the prerequisites recorded for one phase.
class Rollback {
public:
    explicit Rollback(MSIHANDLE session) : mSession(session) {}
    UINT Run(RunPhase phase);

private:
    MSIHANDLE mSession;
};

}  // namespace tv
