#include "platform/ProcessUtil.h"
#include <winternl.h>
#include <tlhelp32.h>
#include <algorithm>
#include <utility>
#include "platform/KernelHandle.h"
#include "platform/SystemLibrary.h"

namespace tv {

namespace {

// Enough to read the basic information of a process and nothing more.
constexpr DWORD kQueryAccess = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ;

KernelHandle OpenForQuery(DWORD processId) {
    return KernelHandle(::OpenProcess(kQueryAccess, FALSE, processId));
}

}  // namespace

namespace ProcessUtil {

std::vector<DWORD> GetProcesses(const ProcessPredicate& predicate) {
    std::vector<DWORD> ids;
    KernelHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) return ids;

    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = ::Process32FirstW(snapshot.Get(), &entry); more;
         more = ::Process32NextW(snapshot.Get(), &entry)) {
        const KernelHandle process = OpenForQuery(entry.th32ProcessID);
        if (!process) continue;
        const ProcessEntry found{entry.szExeFile, entry.th32ProcessID, entry.th32ParentProcessID};
        if (predicate(found)) ids.push_back(found.processId);
    }
    return ids;
}

std::vector<DWORD> GetProcessTree(DWORD rootProcessId) {
    return GetProcesses([rootProcessId](const ProcessEntry& entry) {
        return IsDescendantOf(rootProcessId, entry.processId);
    });
}

DWORD GetParentProcessId(DWORD processId) {
    const KernelHandle process = OpenForQuery(processId);
    if (!process) return 0;

    using QueryInformationProcess = NTSTATUS(NTAPI*)(HANDLE, PROCESSINFOCLASS, PVOID, ULONG, PULONG);
    const SystemLibrary ntdll(L"ntdll.dll");
    const auto query = ntdll.Find<QueryInformationProcess>("NtQueryInformationProcess");
    if (!query) return 0;

    PROCESS_BASIC_INFORMATION info{};
    ULONG returned = 0;
    if (query(process.Get(), ProcessBasicInformation, &info, sizeof(info), &returned) != 0) return 0;
    return static_cast<DWORD>(info.InheritedFromUniqueProcessId);
}

bool IsDescendantOf(DWORD rootProcessId, DWORD processId) {
    return IsDescendantOf(rootProcessId, processId, &GetParentProcessId);
}

bool IsDescendantOf(DWORD rootProcessId, DWORD processId, const ParentLookup& parentOf) {
    if (rootProcessId == processId) return true;
    std::vector<DWORD> seen;
    for (DWORD current = processId;;) {
        current = parentOf(current);
        if (current == 0) return false;
        if (std::find(seen.begin(), seen.end(), current) != seen.end()) return false;
        seen.push_back(current);
        if (current == rootProcessId) return true;
    }
}

}  // namespace ProcessUtil

bool LaunchProcess(const std::wstring& application, const std::wstring& commandLine, KernelHandle* process) {
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started{};
    // The system may write into the command line while it parses it.
    std::wstring writable = commandLine;
    if (!::CreateProcessW(application.empty() ? nullptr : application.c_str(),
                          writable.empty() ? nullptr : writable.data(), nullptr, nullptr, FALSE,
                          NORMAL_PRIORITY_CLASS, nullptr, nullptr, &startup, &started))
        return false;
    KernelHandle ownProcess(started.hProcess);
    const KernelHandle thread(started.hThread);
    if (process) *process = std::move(ownProcess);
    return true;
}

}  // namespace tv
