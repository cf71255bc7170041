#pragma once
#include <windows.h>
#include <functional>
#include <string>
#include <vector>
#include "platform/KernelHandle.h"

namespace tv {

// One process of a snapshot, as a filter of GetProcesses sees it.
struct ProcessEntry {
    std::wstring exeName;  // the file name of the image, without a folder
    DWORD processId = 0;
    DWORD parentProcessId = 0;  // as the snapshot recorded it at the start
};

namespace ProcessUtil {

using ProcessPredicate = std::function<bool(const ProcessEntry&)>;
// The parent of a process, 0 when it can't be found out.
using ParentLookup = std::function<DWORD(DWORD)>;

// The identifiers, in snapshot order, of the processes that this process
// may query and for which `predicate` holds. Processes of other users and
// of the system can't be opened and never reach the predicate. Empty when
// no snapshot can be taken.
std::vector<DWORD> GetProcesses(const ProcessPredicate& predicate);

// The process itself and all its running descendants, in snapshot order.
std::vector<DWORD> GetProcessTree(DWORD rootProcessId);

// The parent the system records for a running process; 0 when the process
// can't be opened or the system won't say.
DWORD GetParentProcessId(DWORD processId);

// True when `processId` is `rootProcessId` or lies below it in the chain of
// parents. Identifiers are reused once a process ends, so a parent's
// identifier may belong to one of its own descendants by now: the chain is
// followed only until it comes back to an identifier it has seen.
bool IsDescendantOf(DWORD rootProcessId, DWORD processId);
// The same walk over parents that `parentOf` names.
bool IsDescendantOf(DWORD rootProcessId, DWORD processId, const ParentLookup& parentOf);

}  // namespace ProcessUtil

// Starts a process without the shell and without waiting for it: no handles
// are inherited, and it gets this process's environment and current folder.
// An empty `application` lets the system take the program from the front of
// `commandLine`. False when it didn't start; the caller reads GetLastError.
// With `process` the caller keeps the process handle, to watch it end.
bool LaunchProcess(const std::wstring& application, const std::wstring& commandLine,
                   KernelHandle* process = nullptr);

}  // namespace tv
