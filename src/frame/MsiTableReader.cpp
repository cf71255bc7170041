#include "frame/MsiTableReader.h"
#include <msiquery.h>
#include <cwctype>
#include "frame/CharBuffer.h"
#include "frame/DebugLog.h"
#include "platform/KernelHandle.h"

namespace tv {

const std::wstring& Cell(const TableRow& row, const std::wstring& name) {
    static const std::wstring empty;
    auto it = row.find(name);
    return it == row.end() ? empty : it->second;
}

namespace {

constexpr DWORD kStreamChunk = 51200;

std::wstring RecordString(MSIHANDLE record, UINT field) {
    return ReadSizedText([&](wchar_t* data, DWORD* capacity) {
        return ::MsiRecordGetStringW(record, field, data, capacity);
    });
}

void AppendNameList(std::wstring& query, const wchar_t* const* names) {
    for (const wchar_t* const* name = names; *name; ++name) {
        if (name != names) query += L',';
        query += L'`';
        query += *name;
        query += L'`';
    }
}

}  // namespace

MsiTableReader::MsiTableReader(MSIHANDLE handle) {
    Reset();
    if (::MsiGetDatabaseState(handle) == MSIDBSTATE_ERROR) {
        mDatabase = ::MsiGetActiveDatabase(handle);
        mOwnsDatabase = true;
    } else {
        mDatabase = handle;
        mOwnsDatabase = false;
    }
    if (mDatabase == 0) {
        const DWORD error = ::GetLastError();
        TV_LOG(L"MsiTableReader: Error opening the MSI database ! ERROR = " << error);
        mOk = false;
    }
}

MsiTableReader::MsiTableReader(MSIHANDLE database, bool /*owner*/) : mDatabase(database) {}

MsiTableReader::~MsiTableReader() {
    Reset();
    if (mOwnsDatabase && mDatabase != 0) ::MsiCloseHandle(mDatabase);
}

void MsiTableReader::Reset() {
    TV_LOG(L"RESET READER");
    mOk = true;
    mTable.clear();
    mColumns.clear();
    mTypes.clear();
    mRows.clear();
    mBinaries.clear();
    if (mView) {
        ::MsiViewClose(mView.Get());
        mView.Reset();
    }
}

std::wstring MsiTableReader::BuildQuery(const std::wstring& table, const wchar_t* const* columnList,
                                        const wchar_t* const* sortList, const wchar_t* where) {
    std::wstring query = L"SELECT ";
    if (columnList == nullptr) query += L'*';
    else AppendNameList(query, columnList);
    query += L" FROM `" + table + L"`";
    if (where != nullptr && *where != 0) {
        query += L" WHERE ";
        query += where;
    }
    if (sortList != nullptr && sortList[0] != nullptr) {
        query += L" ORDER BY ";
        AppendNameList(query, sortList);
    }
    return query;
}

bool MsiTableReader::Open(const std::wstring& table, const wchar_t* const* columnList,
                          const wchar_t* const* sortList, const wchar_t* where) {
    Reset();
    mTable = table;
    if (mOk) mOk = OpenView(mDatabase, BuildQuery(table, columnList, sortList, where), mView);
    if (mOk) ReadColumnInfo();
    if (mOk) FetchRows();
    return !mRows.empty();
}

std::wstring MsiTableReader::GetErrorTemplate(int number) {
    const std::wstring where = L"Error = " + std::to_wstring(number);
    Open(L"Error", nullptr, nullptr, where.c_str());
    std::wstring text;
    for (const TableRow& row : mRows) {
        text = Cell(row, L"Message");
        TV_LOG(L"Error template [" << number << L"]: " << text);
    }
    return text;
}

std::wstring MsiTableReader::GetUiText(const std::wstring& key) {
    const std::wstring where = L"`Key` = '" + key + L"'";
    Open(L"UIText", nullptr, nullptr, where.c_str());
    return mRows.empty() ? std::wstring() : Cell(mRows.back(), L"Text");
}

void MsiTableReader::ReadColumnInfo() {
    // Column names are at most 64 characters in a package; a longer one is
    // cut by the installer's call.
    wchar_t buffer[255];
    MsiHandle names;
    ::MsiViewGetColumnInfo(mView.Get(), MSICOLINFO_NAMES, names.Put());
    int count = ::MsiRecordGetFieldCount(names.Get());
    for (int field = 1; field <= count; ++field) {
        DWORD size = 255;
        buffer[0] = 0;
        ::MsiRecordGetStringW(names.Get(), field, buffer, &size);
        mColumns.emplace_back(buffer);
    }
    MsiHandle types;
    ::MsiViewGetColumnInfo(mView.Get(), MSICOLINFO_TYPES, types.Put());
    for (int field = 1; field <= count; ++field) {
        DWORD size = 255;
        buffer[0] = 0;
        ::MsiRecordGetStringW(types.Get(), field, buffer, &size);
        mTypes.push_back(static_cast<wchar_t>(std::towlower(buffer[0])));
    }
}

void MsiTableReader::FetchRows() {
    for (;;) {
        MsiHandle record;
        if (::MsiViewFetch(mView.Get(), record.Put()) != ERROR_SUCCESS) break;
        TableRow row;
        for (size_t i = 0; i < mColumns.size() && i < mTypes.size(); ++i) {
            const UINT field = static_cast<UINT>(i + 1);
            const std::wstring& name = mColumns[i];
            switch (mTypes[i]) {
            case L'g':
                if (name.empty()) break;
                [[fallthrough]];
            case L's':
            case L'l':
                row[name] = RecordString(record.Get(), field);
                break;
            case L'i': {
                int value = ::MsiRecordGetInteger(record.Get(), field);
                row[name] = value == static_cast<int>(MSI_NULL_INTEGER) ? std::wstring() : std::to_wstring(value);
                break;
            }
            case L'v': {
                std::vector<std::uint8_t> bytes;
                DWORD size = 0;
                if (::MsiRecordReadStream(record.Get(), field, nullptr, &size) == ERROR_SUCCESS && size != 0) {
                    bytes.resize(size);
                    if (::MsiRecordReadStream(record.Get(), field, reinterpret_cast<char*>(bytes.data()), &size) ==
                        ERROR_SUCCESS)
                        bytes.resize(size);
                    else
                        bytes.clear();
                }
                mBinaries.push_back(std::move(bytes));
                row[name] = L"{Binary Data}";
                break;
            }
            default:
                break;
            }
        }
        mRows.push_back(std::move(row));
    }
}

bool OpenView(MSIHANDLE database, const std::wstring& queryText, MsiHandle& outView) {
    UINT rc = ::MsiDatabaseOpenViewW(database, queryText.c_str(), outView.Put());
    if (rc != ERROR_SUCCESS) {
        TV_LOG(L"Error opening View: [" << queryText << L"] Error code:" << rc);
        return false;
    }
    rc = ::MsiViewExecute(outView.Get(), 0);
    if (rc != ERROR_SUCCESS) {
        TV_LOG(L"Error executing the query: [" << queryText << L"] Error code:" << rc);
        return false;
    }
    return true;
}

bool ExtractBinary(MSIHANDLE database, const std::wstring& queryText, const std::wstring& path) {
    MsiHandle view;
    if (!OpenView(database, queryText, view)) return false;
    MsiHandle record;
    if (::MsiViewFetch(view.Get(), record.Put()) != ERROR_SUCCESS) return false;
    bool ok = ExtractBinaryColumn(record.Get(), 1, path);
    ::MsiViewClose(view.Get());
    return ok;
}

bool ExtractBinaryColumn(MSIHANDLE rowRecord, UINT column, const std::wstring& path) {
    TV_LOG(L"MsiTableReader::ExtractBinaryColumn to: [" << path << L"].");
    KernelHandle file(::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return false;
    const UINT expected = ::MsiRecordDataSize(rowRecord, column);
    std::vector<char> buffer(kStreamChunk, 0);
    unsigned long long total = 0;
    bool written = true;
    for (;;) {
        DWORD count = kStreamChunk;
        if (::MsiRecordReadStream(rowRecord, column, buffer.data(), &count) != ERROR_SUCCESS) break;
        DWORD done = 0;
        if (count > 0 && (!::WriteFile(file.Get(), buffer.data(), count, &done, nullptr) || done != count)) {
            written = false;
            break;
        }
        total += count;
        if (count == 0) break;
    }
    if (written) return total == expected;
    // A cut-off file would pass later for one already extracted.
    file.Reset();
    ::DeleteFileW(path.c_str());
    return false;
}

}  // namespace tv
