#pragma once
// What tvpkg knows of the tables, actions and texts the library expects
// (docs/TVPKG.md tells the author the same).
#include <string>
#include <vector>

namespace tvpkg {

// Binary rows apply writes.
extern const wchar_t kLibraryBinary[];   // "tvprereq.dll"
extern const wchar_t kLauncherBinary[];  // "tvpackagechainer.exe", the name the library extracts
extern const wchar_t kScriptBinary[];    // "file_deleter.ps1", likewise
// The custom action that starts the launcher on the launcher routes.
extern const wchar_t kLaunchAction[];    // "TV_LaunchPrereqChainer"
// The Property row that tells which library a package carries.
extern const wchar_t kVersionProperty[];  // "TV_LIBRARY_VERSION"

// The thirteen exports, in the order the library expects them in a sequence
// (ExtractSourceFiles is not bound by it).
const std::vector<std::wstring>& Exports();
// The custom action apply writes for an export: "TV_" + export.
std::wstring ActionOf(const std::wstring& exportName);

// The CREATE TABLE text of a table apply may have to create.
const std::wstring& CreateSql(const std::wstring& table);

// A column of a TV_ table: its name, its _Validation row.
struct ColumnDefinition {
    const wchar_t* name;
    bool integer;
    bool nullable;
    const wchar_t* category;  // _Validation Category
    int minValue;             // for integers; minValue > maxValue: none
    int maxValue;
    const wchar_t* keyTable;
    const wchar_t* description;
};
const std::vector<ColumnDefinition>& PrereqColumns();  // the 26 of TV_PreRequisite, in order
const std::vector<ColumnDefinition>& SearchColumns();  // the 10 of TV_AppSearchEx, in order

// Option letters the library knows.
extern const wchar_t kOptionLetters[];

// Texts the library reads; apply writes these defaults where a row is missing.
struct DefaultText {
    std::wstring key;
    std::wstring text;
    std::wstring extra;  // ActionText: the Template
};
const std::vector<DefaultText>& DefaultErrors();      // key: the number
const std::vector<DefaultText>& DefaultUiTexts();
const std::vector<DefaultText>& DefaultActionTexts();

}  // namespace tvpkg
