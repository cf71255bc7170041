#pragma once
#include <windows.h>
#include <msi.h>
#include <vector>
#include "frame/MsiTableReader.h"
#include "frame/TableRow.h"

namespace tv {

// One row of TV_PreRequisite. There is no typed model: every decision reads
// the cells by column name.
using Prerequisite = TableRow;

extern const wchar_t* const TV_PreRequisite;
// The 26 columns every query names, in order, null-terminated.
extern const wchar_t* const gPrereqColumns[27];
// Every query sorts by Sequence.
extern const wchar_t* const gPrereqSortList[2];

// Runs the one query of the table on `reader`; the rows stay the reader's.
bool OpenPrereqTable(MsiTableReader& reader);

// Reads the table and keeps a copy of each row that passes `filter`, in
// Sequence order. An unreadable table gives an empty list.
template <class Filter>
std::vector<Prerequisite> ReadPrereqList(MSIHANDLE session, Filter&& filter) {
    std::vector<Prerequisite> list;
    MsiTableReader reader(session);
    OpenPrereqTable(reader);
    for (const Prerequisite& row : reader.GetRows())
        if (filter(row)) list.push_back(row);
    return list;
}

// Cells that hold integers are read with a conversion that takes leading
// digits and gives 0 for empty or non-numeric text.
int CellInt(const TableRow& row, const std::wstring& name);
long long CellInt64(const TableRow& row, const std::wstring& name);

}  // namespace tv
