#include "prereq/Prerequisite.h"
#include <cwchar>

namespace tv {

const wchar_t* const TV_PreRequisite = L"TV_PreRequisite";

const wchar_t* const gPrereqColumns[27] = {
    L"PrereqKey",        L"DisplayName",     L"SetupFileUrl",     L"Location",         L"ExactSize",
    L"ComLine",          L"BasicUiComLine",  L"NoUiComLine",      L"Options",          L"Sequence",
    L"MD5",              L"TargetName",      L"Languages",        L"Feature_",         L"MissingCondition",
    L"RetValPropName",   L"RepairComLine",   L"UninstallComLine", L"RunCustActBefore", L"RunCustActAfter",
    L"InstallCondition", L"UninstallCondition", L"RepairCondition", L"RollbackCondition", L"RollbackComLine",
    L"LogComLine",       nullptr,
};

const wchar_t* const gPrereqSortList[2] = {L"Sequence", nullptr};

bool OpenPrereqTable(MsiTableReader& reader) {
    return reader.Open(TV_PreRequisite, gPrereqColumns, gPrereqSortList, nullptr);
}

int CellInt(const TableRow& row, const std::wstring& name) {
    return static_cast<int>(std::wcstol(Cell(row, name).c_str(), nullptr, 10));
}

long long CellInt64(const TableRow& row, const std::wstring& name) {
    return std::wcstoll(Cell(row, name).c_str(), nullptr, 10);
}

}  // namespace tv
