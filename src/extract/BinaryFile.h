#pragma once
#include <windows.h>
#include <msi.h>
#include <string>

namespace tv {

// "SELECT `column` FROM `table` WHERE `key`='value'": the query of one cell.
std::wstring SelectCellQuery(const std::wstring& column, const std::wstring& table, const std::wstring& key,
                             const std::wstring& value);

// Writes the stream cell that `query` selects to `target`, making its
// folders and asking the user for room while the disk is too full. True
// when `target` exists afterwards; a file already there is taken as it is.
bool ExtractBinaryToFile(MSIHANDLE session, const std::wstring& query, const std::wstring& target);

}  // namespace tv
