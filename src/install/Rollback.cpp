#include "install/Rollback.h"
#include "frame/DebugLog.h"
#include "install/Launcher.h"
#include "install/PrereqCommand.h"
#include "install/RollbackRecord.h"
#include "prereq/PrereqOptions.h"

namespace tv {

UINT Rollback::Run(RunPhase phase) {
    TV_LOG(L"Entering Rollback::Run()");
    // The stored value is gone from here on, for every phase: what this call
    // doesn't run is not run by anybody.
    const std::vector<RollbackEntry> entries = ParseRollbackEntries(TakeRollbackValue(mSession));
    for (const RollbackEntry& entry : entries) {
        if (GetRunPhase(entry.options) != phase) continue;
        TV_LOG(L"Rollback prereq: " << entry.key << L" File: " << entry.file << L" Cmd: " << entry.command);
        const PrereqCommand command(entry.file, entry.command);
        DWORD exitCode = 0;
        if (!LaunchAndWait(command.mApplicationPath, command.mProcessedCmdLine, L"", false, exitCode)) {
            TV_LOG(L"Failed to launch file: " << entry.file << L" Error: " << exitCode);
            return 0;
        }
    }
    TV_LOG(L"End Rollback::Run()");
    return 0;
}

}  // namespace tv
