#include "frame/MsiSession.h"
#include <msiquery.h>
#include "frame/DebugLog.h"
#include "frame/Session.h"

namespace tv {

std::wstring MsiSession::GetProperty(const std::wstring& name) { return tv::GetProperty(mSession, name); }

bool MsiSession::ReadTable(const std::wstring& table, const wchar_t* const* columnList,
                           const wchar_t* const* sortList, const wchar_t* where, RowCallback& callback) {
    // A reader of its own, so that a callback may walk the session's reader.
    MsiTableReader reader(mReader->Database(), false);
    if (!reader.Open(table, columnList, sortList, where)) return false;
    for (const TableRow& row : reader.GetRows()) {
        std::vector<std::wstring> cells;
        for (const wchar_t* const* column = columnList; *column; ++column) cells.push_back(Cell(row, *column));
        if (!callback.OnRow(cells)) return true;
    }
    return true;
}

bool MsiSession::ReadFullTable(const std::wstring& table, const wchar_t* const* columnList,
                               const wchar_t* const* sortList, const wchar_t* where, FullRowCallback& callback) {
    mReader->Open(table, columnList, sortList, where);
    const auto& binaries = mReader->Binaries();
    size_t nextBinary = 0;
    for (const TableRow& row : mReader->GetRows()) {
        std::vector<TableCell> cells;
        for (const wchar_t* const* column = columnList; *column; ++column) {
            const std::wstring& text = Cell(row, *column);
            if (text == L"{Binary Data}") {
                cells.emplace_back(L"", nextBinary < binaries.size() ? &binaries[nextBinary] : nullptr);
                ++nextBinary;
            } else {
                cells.emplace_back(text, nullptr);
            }
        }
        if (!callback.OnRow(cells)) return true;
    }
    TV_LOG(L"EXIT ReadFullTable");
    return true;
}

bool MsiSession::SetProperty(const std::wstring& name, const std::wstring& value) {
    if (name.empty()) return false;
    return ::MsiSetPropertyW(mSession, name.c_str(), value.c_str()) == ERROR_SUCCESS;
}

bool MsiSession::EvaluateCondition(const std::wstring& condition) {
    const MSICONDITION result = ::MsiEvaluateConditionW(mSession, condition.c_str());
    return result == MSICONDITION_TRUE || result == MSICONDITION_NONE;
}

bool MsiSession::GetFeatureValidStates(const std::wstring& feature, DWORD& states) {
    return ::MsiGetFeatureValidStatesW(mSession, feature.c_str(), &states) == ERROR_SUCCESS;
}

InstallStates MsiSession::GetFeatureState(const std::wstring& feature) {
    INSTALLSTATE installed = static_cast<INSTALLSTATE>(0), action = static_cast<INSTALLSTATE>(0);
    ::MsiGetFeatureStateW(mSession, feature.c_str(), &installed, &action);
    return {installed, action};
}

bool MsiSession::GetFeatureState(const std::wstring& feature, INSTALLSTATE& installed, INSTALLSTATE& action) {
    INSTALLSTATE i = INSTALLSTATE_UNKNOWN, a = INSTALLSTATE_UNKNOWN;
    if (::MsiGetFeatureStateW(mSession, feature.c_str(), &i, &a) != ERROR_SUCCESS) return false;
    installed = i;
    action = a;
    return true;
}

InstallStates MsiSession::GetComponentState(const std::wstring& component) {
    INSTALLSTATE installed = static_cast<INSTALLSTATE>(0), action = static_cast<INSTALLSTATE>(0);
    ::MsiGetComponentStateW(mSession, component.c_str(), &installed, &action);
    return {installed, action};
}

bool MsiSession::SetFeatureState(const std::wstring& feature, INSTALLSTATE state) {
    return ::MsiSetFeatureStateW(mSession, feature.c_str(), state) == ERROR_SUCCESS;
}

bool MsiSession::SetTargetPath(const std::wstring& folder, const std::wstring& path) {
    return ::MsiSetTargetPathW(mSession, folder.c_str(), path.c_str()) == ERROR_SUCCESS;
}

bool MsiSession::SetInstallLevel(int level) { return ::MsiSetInstallLevel(mSession, level) == ERROR_SUCCESS; }

std::wstring MsiSession::GetUiText(const std::wstring& key) { return mReader->GetUiText(key); }

std::wstring MsiSession::GetErrorTemplate(int number) { return mReader->GetErrorTemplate(number); }

int MsiSession::GetFeatureCost(const std::wstring& feature, MSICOSTTREE tree) {
    INSTALLSTATE installed = INSTALLSTATE_UNKNOWN, action = INSTALLSTATE_UNKNOWN;
    if (::MsiGetFeatureStateW(mSession, feature.c_str(), &installed, &action) != ERROR_SUCCESS) return 0;
    const INSTALLSTATE state = action == INSTALLSTATE_UNKNOWN ? installed : action;
    INT cost = 0;
    if (::MsiGetFeatureCostW(mSession, feature.c_str(), tree, state, &cost) != ERROR_SUCCESS) return 0;
    return cost / 2;  // units of 512 bytes
}

bool MsiSession::IsInstalled() { return !tv::GetProperty(mSession, L"Installed").empty(); }

std::wstring MsiSession::FormatText(const std::wstring& text) { return tv::FormatText(mSession, text); }

}  // namespace tv
