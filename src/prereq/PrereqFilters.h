#pragma once
#include <windows.h>
#include <msi.h>
#include "prereq/Prerequisite.h"
#include "prereq/RunPhase.h"

namespace tv {

// The tests that decide which rows enter which list. Each runs its steps in
// order and stops at the first that fails, so a later condition is not
// evaluated for a row already dropped. Use with ReadPrereqList.

// The row's Location has a file (0 or 1) and no file exists there yet.
bool IsFileAbsent(MSIHANDLE session, const Prerequisite& row);

bool InDownloadList(MSIHANDLE session, const Prerequisite& row);
bool InExtractionList(MSIHANDLE session, const Prerequisite& row);
bool InTransferList(MSIHANDLE session, const Prerequisite& row);
bool InRunList(MSIHANDLE session, const Prerequisite& row, RunPhase phase);
// The common front of verification; its own tests follow.
bool InVerificationList(MSIHANDLE session, const Prerequisite& row, RunPhase phase);
bool InChainList(MSIHANDLE session, const Prerequisite& row);

}  // namespace tv
