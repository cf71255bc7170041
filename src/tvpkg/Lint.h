#pragma once
#include <string>
#include <vector>

namespace tvpkg {

// One problem of a package, where it stands.
struct Finding {
    std::wstring check;    // the check's name (docs/TVPKG.md, "Checks")
    std::wstring table;
    std::wstring row;      // the row's primary key; "" for the table as a whole
    std::wstring column;   // "" for the row as a whole
    std::wstring message;
};

// Every problem of the package, in table order. Throws UnusableInput when
// the file isn't an installer database.
std::vector<Finding> LintPackage(const std::wstring& packagePath);

// "Table[Row].Column: check: message".
std::wstring FindingLine(const Finding& finding);

}  // namespace tvpkg
