#include "extract/BinaryFile.h"
#include <msiquery.h>
#include "frame/MsiHandle.h"
#include "frame/MsiTableReader.h"
#include "platform/Files.h"

namespace tv {

namespace {

// The out-of-disk-space error, with Retry and Cancel buttons.
constexpr UINT kDiskSpacePrompt = 0x01000005;
constexpr int kDiskSpaceError = 1601;

// The byte size of the first column of the query's first row; 0 when there
// is none.
unsigned CellSize(MSIHANDLE database, const std::wstring& query) {
    MsiHandle view;
    if (!OpenView(database, query, view)) return 0;
    MsiHandle record;
    if (::MsiViewFetch(view.Get(), record.Put()) != ERROR_SUCCESS) return 0;
    return ::MsiRecordDataSize(record.Get(), 1);
}

}  // namespace

std::wstring SelectCellQuery(const std::wstring& column, const std::wstring& table, const std::wstring& key,
                             const std::wstring& value) {
    return L"SELECT `" + column + L"` FROM `" + table + L"` WHERE `" + key + L"`='" + value + L"'";
}

bool ExtractBinaryToFile(MSIHANDLE session, const std::wstring& query, const std::wstring& target) {
    if (FileExists(target)) return true;
    MsiHandle database(::MsiGetActiveDatabase(session));
    const std::wstring folder = FolderOf(target);
    const unsigned size = CellSize(database.Get(), query);

    MsiHandle prompt(::MsiCreateRecord(4));
    ::MsiRecordSetInteger(prompt.Get(), 1, kDiskSpaceError);
    ::MsiRecordSetStringW(prompt.Get(), 2, folder.substr(0, 3).c_str());
    ::MsiRecordSetStringW(prompt.Get(), 3, std::to_wstring(size >> 10).c_str());
    unsigned long long freeBytes = 0;
    std::wstring freeKib = GetFreeSpace(folder, freeBytes);
    while (freeBytes < size) {
        ::MsiRecordSetStringW(prompt.Get(), 4, freeKib.c_str());
        if (::MsiProcessMessage(session, static_cast<INSTALLMESSAGE>(kDiskSpacePrompt), prompt.Get()) != IDRETRY)
            return false;
        freeKib = GetFreeSpace(folder, freeBytes);
    }
    CreateFolderChain(target);
    return ExtractBinary(database.Get(), query, target);
}

}  // namespace tv
