#pragma once
#include <windows.h>
#include <msi.h>
#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace tvtest {

struct Null {};
struct Stream { std::vector<std::uint8_t> bytes; };
// One cell of a row to insert: null, integer, string or stream.
using Value = std::variant<Null, int, std::wstring, const wchar_t*, Stream>;

// Builds a real installer database in a temporary file and opens a session
// on it. Tables are declared by name (a known schema) or by their SQL.
class TestPackage {
public:
    TestPackage();
    ~TestPackage();
    TestPackage(const TestPackage&) = delete;
    TestPackage& operator=(const TestPackage&) = delete;

    // Known schemas: Property, TV_PreRequisite, TV_AppSearchEx, Error,
    // UIText, ActionText, Binary, Feature, Component, FeatureComponents,
    // Directory, CustomAction, InstallExecuteSequence.
    TestPackage& Table(const std::wstring& name);
    TestPackage& TableSql(const std::wstring& createSql);
    TestPackage& Row(const std::wstring& table, const std::vector<Value>& values);
    TestPackage& Property(const std::wstring& name, const std::wstring& value);
    // A TV_PreRequisite row; columns not given are null.
    TestPackage& Prereq(const std::map<std::wstring, Value>& cells);
    // Makes the package an installable product whose features each hold one
    // empty component; componentAttributes 1 makes them run from source.
    TestPackage& Product(const std::vector<std::wstring>& features, int componentAttributes = 0);
    const std::wstring& ProductCode() const { return mProductCode; }

    // Commits the database and closes it; the file stays until destruction.
    const std::wstring& Build();
    // Builds and opens a session with the internal UI off.
    MSIHANDLE OpenSession();
    MSIHANDLE Session() const { return mSession; }
    MSIHANDLE Database();  // the open database while building
    const std::wstring& Path() const { return mPath; }
    void KeepFile() { mKeep = true; }

    static std::wstring TempPath(const std::wstring& suffix);

private:
    void EnsureTable(const std::wstring& name);

    std::wstring mPath;
    std::wstring mProductCode;
    MSIHANDLE mDatabase = 0;
    MSIHANDLE mSession = 0;
    std::vector<std::wstring> mTables;
    bool mBuilt = false;
    bool mKeep = false;
};

std::string Narrow(const std::wstring& text);
std::wstring NewGuid();

// Installs a built package into the Wine prefix for the object's lifetime.
class InstalledProduct {
public:
    InstalledProduct(const std::wstring& packagePath, const std::wstring& productCode,
                     const std::wstring& commandLine = L"");
    ~InstalledProduct();
    UINT Result() const { return mResult; }

private:
    std::wstring mProductCode;
    UINT mResult;
};
std::wstring Widen(const std::string& text);

}  // namespace tvtest
