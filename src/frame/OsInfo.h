#pragma once
#include <windows.h>
#include <string>

namespace tv {

// What the library needs to know about the system, taken from the registry
// rather than from the version calls, which lie to programs without a
// compatibility manifest. Without the version key every field keeps its
// first value.
struct OsInfo {
    DWORD major = 0;
    DWORD minor = 0;
    DWORD build = 0;
    DWORD servicePack = 0;
    std::wstring csdVersion{};  // at most 127 characters
    WORD productType = VER_NT_WORKSTATION;
    WORD suiteMask = 0;
    bool isServer = false;
    bool isWow64 = false;
    DWORD releaseId = 1507;

    bool operator==(const OsInfo&) const = default;
};

// Reads the record from the version and product keys below `root`
// ("Software\Microsoft\Windows NT\CurrentVersion" and
// "SYSTEM\CurrentControlSet\Control\ProductOptions"); `root` is
// HKEY_LOCAL_MACHINE but for tests. isWow64 comes from this process.
OsInfo DetectOsInfo(HKEY root);

// The record of this system, read once per process and never refreshed.
const OsInfo& GetOsInfo();
// 11 counts too: it is 10 in the registry.
bool IsWindows10OrLater();

}  // namespace tv
