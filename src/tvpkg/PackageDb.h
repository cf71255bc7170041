#pragma once
// The package database as tvpkg writes and reads it: tables, rows and
// streams through the MSI API. The library's own reader (MsiTableReader)
// reads rows as text; this adds what an authoring tool needs besides.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>
#include "frame/MsiHandle.h"
#include "frame/MsiTableReader.h"
#include "platform/Utf8.h"

namespace tvpkg {

// One cell to write: null, integer, text, or a stream read from a file.
struct NullCell {};
struct StreamFile { std::wstring path; };
using CellValue = std::variant<NullCell, int, std::wstring, StreamFile>;

// A failure that makes the input unusable (exit code 2).
struct UnusableInput : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The description and the JSON output are UTF-8.
using tv::FromUtf8;
using tv::ToUtf8;

class PackageDb {
public:
    // Opens an existing package; `write` opens it for a transaction that
    // Commit() makes durable. Throws UnusableInput when it is no database.
    PackageDb(const std::wstring& path, bool write);
    MSIHANDLE Handle() const { return mDb.Get(); }

    bool HasTable(const std::wstring& table) const;
    // The table's columns in order, or nothing for a missing table.
    std::vector<std::wstring> Columns(const std::wstring& table) const;
    void Execute(const std::wstring& sql) const;
    // Creates the table with `createSql` unless it exists.
    void EnsureTable(const std::wstring& table, const std::wstring& createSql) const;
    // Inserts or replaces the row with these cells (all columns, in order).
    void Assign(const std::wstring& table, const std::vector<CellValue>& cells) const;
    // Inserts a row unless one with the same key is there.
    void InsertIfMissing(const std::wstring& table, const std::vector<CellValue>& cells) const;
    // All rows of a table as text, the MsiTableReader way.
    std::vector<tv::TableRow> Rows(const std::wstring& table) const;
    void Commit() const;

private:
    void Modify(const std::wstring& table, const std::vector<CellValue>& cells, MSIMODIFY mode) const;
    tv::MsiHandle mDb;
};

// Quotes a text for MSI SQL: the caller's values never hold a quote here.
std::wstring SqlText(const std::wstring& text);

}  // namespace tvpkg
