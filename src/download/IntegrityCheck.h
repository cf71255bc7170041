#pragma once
#include <windows.h>
#include <msi.h>
#include "prereq/Prerequisite.h"

namespace tv {

// Compares the row's file with its ExactSize and MD5 cells; true when it
// passes. An empty or 0 ExactSize and an empty MD5 skip their check, so a
// row with neither passes whatever the file. The file is hashed only when
// the size was right.
bool VerifyPrereqFile(MSIHANDLE session, const Prerequisite& row);

}  // namespace tv
