#pragma once
#include <string>
#include <unordered_map>

namespace tv {

// One row of a package table: column name to cell text.
using TableRow = std::unordered_map<std::wstring, std::wstring>;

// The cell of `name`, or one shared empty text when the row has no such
// column. Never inserts.
const std::wstring& Cell(const TableRow& row, const std::wstring& name);

}  // namespace tv
