#pragma once
#include <windows.h>
#include <string>
#include "Harness.h"

// Row tables name only the leading cells of a row; the rest stay empty.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace tvtest {

// One row of TV_AppSearchEx; cells left empty are null.
struct SearchRowSpec {
    std::wstring property;
    int type = 0;
    std::wstring search;
    std::wstring verMin;
    std::wstring verMax;
    std::wstring platform;
    std::wstring content;
    std::wstring condition;
    std::wstring prereqSearch;
};

// A package with TV_AppSearchEx rows in the order given, and a scratch key
// "Software\TvSearchTest-<pid>" under HKCU and HKLM, removed after the test.
class AppSearchTest : public SessionTest {
protected:
    void SetUp() override;
    void TearDown() override;

    void AddSearch(const SearchRowSpec& row);
    // The scratch key's path for a SearchString ("HKCU\Software\...").
    std::wstring KeyPath(const wchar_t* root = L"HKCU") const { return std::wstring(root) + L"\\" + mKeyName; }
    // Writes a value below the scratch key of `hive` (sub-key may be empty).
    void SetValue(HKEY hive, const std::wstring& subKey, const std::wstring& name, DWORD type, const void* data,
                  DWORD size) const;
    void SetText(HKEY hive, const std::wstring& subKey, const std::wstring& name, const std::wstring& text) const;
    void CreateKey(HKEY hive, const std::wstring& subKey) const;

    std::wstring mKeyName;

private:
    int mOrder = 0;
};

// A folder under %TEMP% removed with everything in it.
class ProgramFolder {
public:
    ProgramFolder();
    ~ProgramFolder();
    ProgramFolder(const ProgramFolder&) = delete;
    ProgramFolder& operator=(const ProgramFolder&) = delete;
    // Makes a sub-folder chain "a\b"; returns its path with a final "\".
    std::wstring Make(const std::wstring& relative) const;
    // Copies a program of the build folder to `relative`.
    std::wstring CopyProgram(const wchar_t* program, const std::wstring& relative) const;
    const std::wstring& Path() const { return mPath; }  // with a final "\"

private:
    std::wstring mPath;
};

}  // namespace tvtest
