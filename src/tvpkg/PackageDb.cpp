#include "tvpkg/PackageDb.h"

namespace tvpkg {

std::wstring SqlText(const std::wstring& text) {
    std::wstring out;
    for (wchar_t c : text) out += c == L'\'' ? std::wstring(L"''") : std::wstring(1, c);
    return L"'" + out + L"'";
}

namespace {

void Check(UINT rc, const std::wstring& what) {
    if (rc != ERROR_SUCCESS)
        throw std::runtime_error(ToUtf8(what) + " failed with error " + std::to_string(rc));
}

}  // namespace

PackageDb::PackageDb(const std::wstring& path, bool write) {
    if (::GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES)
        throw UnusableInput("cannot open " + ToUtf8(path) + ": no such file");
    MSIHANDLE db = 0;
    const UINT rc = ::MsiOpenDatabaseW(path.c_str(), write ? MSIDBOPEN_TRANSACT : MSIDBOPEN_READONLY, &db);
    if (rc != ERROR_SUCCESS)
        throw UnusableInput("cannot open " + ToUtf8(path) + " as an installer database (error " + std::to_string(rc) +
                            ")");
    mDb.Reset(db);
}

bool PackageDb::HasTable(const std::wstring& table) const {
    return ::MsiDatabaseIsTablePersistentW(mDb.Get(), table.c_str()) == MSICONDITION_TRUE;
}

std::vector<std::wstring> PackageDb::Columns(const std::wstring& table) const {
    std::vector<std::wstring> columns;
    if (!HasTable(table)) return columns;
    tv::MsiHandle view;
    if (!tv::OpenView(mDb.Get(), L"SELECT * FROM `" + table + L"`", view)) return columns;
    MSIHANDLE names = 0;
    if (::MsiViewGetColumnInfo(view.Get(), MSICOLINFO_NAMES, &names) != ERROR_SUCCESS) return columns;
    tv::MsiHandle record(names);
    const UINT count = ::MsiRecordGetFieldCount(names);
    for (UINT i = 1; i <= count; ++i) {
        DWORD size = 0;
        wchar_t empty[1] = {};
        ::MsiRecordGetStringW(names, i, empty, &size);
        std::wstring name(size + 1, L'\0');
        ++size;
        ::MsiRecordGetStringW(names, i, name.data(), &size);
        name.resize(size);
        columns.push_back(name);
    }
    return columns;
}

void PackageDb::Execute(const std::wstring& sql) const {
    MSIHANDLE view = 0;
    Check(::MsiDatabaseOpenViewW(mDb.Get(), sql.c_str(), &view), sql);
    tv::MsiHandle owned(view);
    Check(::MsiViewExecute(view, 0), sql);
}

void PackageDb::EnsureTable(const std::wstring& table, const std::wstring& createSql) const {
    if (!HasTable(table)) Execute(createSql);
}

void PackageDb::Modify(const std::wstring& table, const std::vector<CellValue>& cells, MSIMODIFY mode) const {
    MSIHANDLE view = 0;
    Check(::MsiDatabaseOpenViewW(mDb.Get(), (L"SELECT * FROM `" + table + L"`").c_str(), &view), L"view " + table);
    tv::MsiHandle owned(view);
    Check(::MsiViewExecute(view, 0), L"view " + table);
    tv::MsiHandle record(::MsiCreateRecord(static_cast<UINT>(cells.size())));
    for (size_t i = 0; i < cells.size(); ++i) {
        const UINT field = static_cast<UINT>(i + 1);
        if (const int* number = std::get_if<int>(&cells[i])) {
            ::MsiRecordSetInteger(record.Get(), field, *number);
        } else if (const std::wstring* text = std::get_if<std::wstring>(&cells[i])) {
            ::MsiRecordSetStringW(record.Get(), field, text->c_str());
        } else if (const StreamFile* stream = std::get_if<StreamFile>(&cells[i])) {
            Check(::MsiRecordSetStreamW(record.Get(), field, stream->path.c_str()), L"stream " + stream->path);
        }
    }
    const UINT rc = ::MsiViewModify(view, mode, record.Get());
    if (mode == MSIMODIFY_INSERT && rc == ERROR_FUNCTION_FAILED) return;  // the key is there
    Check(rc, L"writing a row of " + table);
}

void PackageDb::Assign(const std::wstring& table, const std::vector<CellValue>& cells) const {
    Modify(table, cells, MSIMODIFY_ASSIGN);
}

void PackageDb::InsertIfMissing(const std::wstring& table, const std::vector<CellValue>& cells) const {
    Modify(table, cells, MSIMODIFY_INSERT);
}

std::vector<tv::TableRow> PackageDb::Rows(const std::wstring& table) const {
    if (!HasTable(table)) return {};
    tv::MsiTableReader reader(mDb.Get(), false);
    reader.Open(table, nullptr, nullptr, nullptr);
    return reader.GetRows();
}

void PackageDb::Commit() const { Check(::MsiDatabaseCommit(mDb.Get()), L"MsiDatabaseCommit"); }

}  // namespace tvpkg
