#pragma once
#include <windows.h>
#include <msi.h>
#include <cstdint>
#include <string>
#include <vector>
#include "frame/MsiHandle.h"
#include "frame/TableRow.h"

namespace tv {

// Reads one query of a package table into rows of text held in memory.
// Integers arrive as decimal text (a null one as empty text), streams as
// "{Binary Data}" with their bytes in Binaries().
class MsiTableReader {
public:
    // `handle` is a session (its active database is opened and owned) or a
    // database (borrowed).
    explicit MsiTableReader(MSIHANDLE handle);
    // Borrows a database that stays its giver's.
    MsiTableReader(MSIHANDLE database, bool owner);
    ~MsiTableReader();
    MsiTableReader(const MsiTableReader&) = delete;
    MsiTableReader& operator=(const MsiTableReader&) = delete;

    // Null-terminated column and sort lists; null for all columns or no
    // order. `where` goes into the query as it stands. True if a row came.
    bool Open(const std::wstring& table, const wchar_t* const* columnList,
              const wchar_t* const* sortList, const wchar_t* where);
    void Reset();

    // The Message of the Error row with this number, or empty text.
    std::wstring GetErrorTemplate(int number);
    // The Text of the UIText row with this key, or empty text.
    std::wstring GetUiText(const std::wstring& key);

    const std::vector<TableRow>& GetRows() const noexcept { return mRows; }
    const std::vector<std::wstring>& GetColumns() const noexcept { return mColumns; }
    const std::vector<std::vector<std::uint8_t>>& Binaries() const noexcept { return mBinaries; }
    const std::wstring& Table() const noexcept { return mTable; }
    MSIHANDLE Database() const noexcept { return mDatabase; }
    bool Ok() const noexcept { return mOk; }

    static std::wstring BuildQuery(const std::wstring& table, const wchar_t* const* columnList,
                                   const wchar_t* const* sortList, const wchar_t* where);

private:
    void ReadColumnInfo();
    void FetchRows();

    MSIHANDLE mDatabase = 0;
    std::wstring mTable;
    std::vector<std::wstring> mColumns;
    std::vector<wchar_t> mTypes;
    std::vector<TableRow> mRows;
    std::vector<std::vector<std::uint8_t>> mBinaries;
    bool mOwnsDatabase = false;
    MsiHandle mView;
    bool mOk = true;
};

// Opens and executes a view; on a failed execute the view is still handed
// back for its owner to close.
bool OpenView(MSIHANDLE database, const std::wstring& queryText, MsiHandle& outView);
// Writes the stream in the first column of the query's first row to `path`.
bool ExtractBinary(MSIHANDLE database, const std::wstring& queryText, const std::wstring& path);
// Writes one stream field of an open record to `path`; true when every byte
// the record announced was read.
bool ExtractBinaryColumn(MSIHANDLE rowRecord, UINT column, const std::wstring& path);

}  // namespace tv
