#pragma once
#include <windows.h>
#include <msi.h>
#include "prereq/Prerequisite.h"

namespace tv {

// What this installation is to do with a row, evaluated anew at every call
// against the session's conditions and feature states. Callers ask in the
// order install, repair, removal and take the first that holds.
bool IsInstallNeeded(MSIHANDLE session, const Prerequisite& row);
bool IsRepairNeeded(MSIHANDLE session, const Prerequisite& row);
bool IsUninstallNeeded(MSIHANDLE session, const Prerequisite& row);
// Any of the three.
bool IsActionNeeded(MSIHANDLE session, const Prerequisite& row);

// After a launch: InstallCondition holds, the feature (if bound) is coming,
// and MissingCondition is true (an empty one means present).
bool IsStillMissing(MSIHANDLE session, const Prerequisite& row);

// Whether this session needs the row's setup file at all.
bool IsFileNeeded(MSIHANDLE session, const Prerequisite& row);

// False only for a failure of a mandatory ("m") row still to be installed.
bool IsOptionalForFailure(MSIHANDLE session, bool succeeded, const Prerequisite& row);

// For rows that don't follow a feature: the property named by PrereqKey
// holds a condition; unset passes.
bool PassesSelectionProperty(MSIHANDLE session, const Prerequisite& row);

}  // namespace tv
