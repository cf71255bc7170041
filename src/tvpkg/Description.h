#pragma once
// The description file of a package's prerequisites (TOML; docs/TVPKG.md).
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>
#include "tvpkg/PackageDb.h"

namespace tvpkg {

// How the package runs the prerequisites (docs/TVPKG.md, "Routes").
enum class Route { Full, Reduced, Silent, Parallel };
// Where the rollback exports go: one of them into the execute sequence's
// fatal-error slot, none, or both right behind their verifications, where
// their [conditions] decide.
enum class RollbackSlot { Main, Pre, None, Inline };

// One table row: the cells given, by column name. A column not given is null.
using DescribedRow = std::map<std::wstring, CellValue>;

struct Description {
    std::wstring libraryPath;   // absolute after Load
    std::wstring launcherPath;
    std::wstring scriptPath;
    Route route = Route::Full;
    RollbackSlot rollback = RollbackSlot::Main;
    bool extractSourceFiles = false;
    std::vector<std::pair<std::wstring, std::wstring>> properties;  // sorted by name
    std::map<std::wstring, std::wstring> conditions;                // by export name
    std::vector<DescribedRow> prerequisites;
    std::vector<DescribedRow> searches;
    std::map<int, std::wstring> errors;
    std::map<std::wstring, std::wstring> uiTexts;
    std::map<std::wstring, std::pair<std::wstring, std::wstring>> actionTexts;
};

// Reads and checks a description; relative paths are taken from the file's
// folder, absent ones from `toolFolder`. Throws UnusableInput with the
// parser's message (file, line, column) for anything it can't use.
Description LoadDescription(const std::wstring& path, const std::wstring& toolFolder);

}  // namespace tvpkg
