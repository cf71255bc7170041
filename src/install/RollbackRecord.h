#pragma once
#include <windows.h>
#include <msi.h>
#include <string>
#include <vector>

namespace tv {

// What undoes one launched prerequisite.
struct RollbackEntry {
    std::wstring key;      // PrereqKey of the row
    std::wstring file;     // the file the launch used
    std::wstring command;  // the formatted command that undoes the launch
    std::wstring options;  // the row's Options, for its phase
};

// Stored form: fields joined by U+0001, entries by U+0002, nothing escaped.
// A damaged entry (not exactly four fields) is dropped: its fields can't be
// told apart.
std::vector<RollbackEntry> ParseRollbackEntries(const std::wstring& text);
std::wstring JoinRollbackEntries(const std::vector<RollbackEntry>& entries);

// The per-user key of this product and version that keeps the entries
// between the installation and its rollback.
std::wstring RollbackKeyText(MSIHANDLE session);
// Replaces the stored value; an empty text writes nothing.
void WriteRollbackValue(MSIHANDLE session, const std::wstring& text);
// Reads the stored value and removes its key, so each entry is run once.
std::wstring TakeRollbackValue(MSIHANDLE session);

}  // namespace tv
