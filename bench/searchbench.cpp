// DoAppSearchEx over TV_AppSearchEx tables of 100, 1 000 and 10 000 registry
// rows (kinds 2, 5, 9 and 12 in turn), each in a fresh session, timed with
// the performance counter around the export alone. The search is meant to
// be linear: the cost of a row must not grow with the table.
//   searchbench [shared] [COUNT...]   default: 100 1000 10000
// With "shared" the rows set only four properties between them, so that the
// session's property table doesn't grow with the rows: what remains of the
// growth of the cost per row is then the library's own.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <msidefs.h>
#include <wtypes.h>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

namespace {

const wchar_t* const kKey = L"Software\\TvSearchBench";

double Seconds(LARGE_INTEGER from, LARGE_INTEGER to) {
    LARGE_INTEGER frequency;
    ::QueryPerformanceFrequency(&frequency);
    return double(to.QuadPart - from.QuadPart) / double(frequency.QuadPart);
}

bool Run(MSIHANDLE database, const std::wstring& sql) {
    MSIHANDLE view = 0;
    if (::MsiDatabaseOpenViewW(database, sql.c_str(), &view) != ERROR_SUCCESS) return false;
    const bool ok = ::MsiViewExecute(view, 0) == ERROR_SUCCESS;
    ::MsiCloseHandle(view);
    return ok;
}

// The values and sub-keys the rows look for.
void PrepareRegistry() {
    HKEY key = nullptr;
    ::RegCreateKeyExW(HKEY_CURRENT_USER, kKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    const wchar_t version[] = L"2.5.1";
    ::RegSetValueExW(key, L"Version", 0, REG_SZ, reinterpret_cast<const BYTE*>(version), sizeof(version));
    const DWORD build = 1200;
    ::RegSetValueExW(key, L"Build", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&build), sizeof(build));
    HKEY values = nullptr;
    ::RegCreateKeyExW(key, L"Values", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &values, nullptr);
    for (const wchar_t* name : {L"1.0", L"2.0", L"3.0"}) ::RegSetValueExW(values, name, 0, REG_SZ, nullptr, 0);
    ::RegCloseKey(values);
    ::RegCloseKey(key);
}

// A package of `count` rows; its path, or empty text.
std::wstring BuildPackage(int count, bool shared) {
    wchar_t folder[MAX_PATH];
    ::GetTempPathW(MAX_PATH, folder);
    const std::wstring path = std::wstring(folder) + L"tvsearchbench-" + std::to_wstring(count) + L".msi";
    ::DeleteFileW(path.c_str());
    MSIHANDLE database = 0;
    if (::MsiOpenDatabaseW(path.c_str(), MSIDBOPEN_CREATE, &database) != ERROR_SUCCESS) return {};
    MSIHANDLE info = 0;
    ::MsiGetSummaryInformationW(database, nullptr, 20, &info);
    ::MsiSummaryInfoSetPropertyW(info, PID_TEMPLATE, VT_LPSTR, 0, nullptr, L"Intel;1033");
    ::MsiSummaryInfoSetPropertyW(info, PID_REVNUMBER, VT_LPSTR, 0, nullptr, L"{9E1B5B5C-7E33-4C59-9C3A-6E1D1B7A0001}");
    ::MsiSummaryInfoSetPropertyW(info, PID_PAGECOUNT, VT_I4, 200, nullptr, nullptr);
    ::MsiSummaryInfoSetPropertyW(info, PID_WORDCOUNT, VT_I4, 2, nullptr, nullptr);
    ::MsiSummaryInfoPersist(info);
    ::MsiCloseHandle(info);
    bool ok = Run(database, L"CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` CHAR(0) NOT NULL "
                            L"PRIMARY KEY `Property`)") &&
              Run(database, L"INSERT INTO `Property` (`Property`, `Value`) VALUES "
                            L"('ProductCode', '{9E1B5B5C-7E33-4C59-9C3A-6E1D1B7A0002}')") &&
              Run(database, L"INSERT INTO `Property` (`Property`, `Value`) VALUES ('ProductLanguage', '1033')") &&
              Run(database, L"CREATE TABLE `TV_AppSearchEx` (`Property` CHAR(72) NOT NULL, `Condition` CHAR(0), "
                            L"`Type` SHORT, `SearchString` CHAR(0), `VerMin` CHAR(32), `VerMax` CHAR(32), "
                            L"`Platform` CHAR(8), `RefContent` CHAR(0), `PrereqSearch` CHAR(8), `Order` SHORT "
                            L"PRIMARY KEY `Property`, `Order`)");
    MSIHANDLE insert = 0;
    ok = ok && ::MsiDatabaseOpenViewW(database,
                                      L"INSERT INTO `TV_AppSearchEx` (`Property`, `Type`, `SearchString`, `VerMin`, "
                                      L"`RefContent`, `Order`) VALUES (?, ?, ?, ?, ?, ?)",
                                      &insert) == ERROR_SUCCESS;
    const std::wstring base = std::wstring(L"HKCU\\") + kKey;
    for (int i = 0; ok && i < count; ++i) {
        const int kinds[] = {2, 5, 9, 12};
        const int kind = kinds[i % 4];
        const std::wstring search = kind == 2 ? base + L"\\Version"
                                  : kind == 5 ? base
                                  : kind == 9 ? base + L"\\Build"
                                              : base + L"\\Values";
        MSIHANDLE record = ::MsiCreateRecord(6);
        ::MsiRecordSetStringW(record, 1, (L"FOUND" + std::to_wstring(shared ? i % 4 : i)).c_str());
        ::MsiRecordSetInteger(record, 2, kind);
        ::MsiRecordSetStringW(record, 3, search.c_str());
        ::MsiRecordSetStringW(record, 4, kind == 12 ? L"2.0" : L"");
        ::MsiRecordSetStringW(record, 5, kind == 9 ? L"G1000" : L"");
        ::MsiRecordSetInteger(record, 6, i % 32000);
        ok = ::MsiViewExecute(insert, record) == ERROR_SUCCESS;
        ::MsiCloseHandle(record);
    }
    ::MsiCloseHandle(insert);
    ok = ok && ::MsiDatabaseCommit(database) == ERROR_SUCCESS;
    ::MsiCloseHandle(database);
    return ok ? path : std::wstring();
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    std::vector<int> counts;
    bool shared = false;
    for (int i = 1; i < argc; ++i) {
        if (std::wcscmp(argv[i], L"shared") == 0)
            shared = true;
        else
            counts.push_back(std::wcstol(argv[i], nullptr, 10));
    }
    if (counts.empty()) counts = {100, 1000, 10000};

    wchar_t self[MAX_PATH];
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring dll = self;
    dll = dll.substr(0, dll.rfind(L'\\') + 1) + L"tvprereq.dll";
    HMODULE module = ::LoadLibraryW(dll.c_str());
    using Export = UINT(__stdcall*)(MSIHANDLE);
    const auto search = module ? reinterpret_cast<Export>(::GetProcAddress(module, "DoAppSearchEx")) : nullptr;
    if (!search) {
        std::fwprintf(stderr, L"cannot load %ls\n", dll.c_str());
        return 1;
    }
    PrepareRegistry();
    ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);

    double first = 0, last = 0;
    for (int count : counts) {
        const std::wstring path = BuildPackage(count, shared);
        MSIHANDLE session = 0;
        if (path.empty() || ::MsiOpenPackageW(path.c_str(), &session) != ERROR_SUCCESS) {
            std::fwprintf(stderr, L"cannot build or open the package of %d rows\n", count);
            return 1;
        }
        LARGE_INTEGER start, stop;
        ::QueryPerformanceCounter(&start);
        const UINT result = search(session);
        ::QueryPerformanceCounter(&stop);
        // Every row is meant to be found: a row that wasn't says the bench measured nothing.
        wchar_t value[16] = {};
        DWORD size = 16;
        ::MsiGetPropertyW(session, (L"FOUND" + std::to_wstring(shared ? (count - 1) % 4 : count - 1)).c_str(), value, &size);
        ::MsiCloseHandle(session);
        ::DeleteFileW(path.c_str());
        const double seconds = Seconds(start, stop);
        const double perRow = seconds * 1e6 / count;
        std::wprintf(L"%6d rows: %9.1f ms total, %8.1f us per row (result %u, last row %ls)\n", count,
                     seconds * 1000, perRow, result, value[0] ? L"found" : L"NOT FOUND");
        if (first == 0) first = perRow;
        last = perRow;
    }
    if (counts.size() > 1)
        std::wprintf(L"cost per row, %d rows / %d rows: %.2f\n", counts.back(), counts.front(), last / first);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kKey);
    return 0;
}
