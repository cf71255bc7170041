#include "prereq/PrereqConditions.h"
#include <msiquery.h>
#include "frame/Session.h"
#include "install/PrereqCommand.h"
#include "prereq/PrereqLocation.h"
#include "prereq/PrereqOptions.h"

namespace tv {

namespace {

struct FeatureStates {
    bool known = false;
    INSTALLSTATE installed = INSTALLSTATE_UNKNOWN;
    INSTALLSTATE action = INSTALLSTATE_UNKNOWN;

    bool Coming() const {
        return known && (action == INSTALLSTATE_LOCAL || action == INSTALLSTATE_SOURCE ||
                         action == INSTALLSTATE_DEFAULT);
    }
    bool Going() const { return known && (action == INSTALLSTATE_ADVERTISED || action == INSTALLSTATE_ABSENT); }
    bool Present() const { return known && (installed == INSTALLSTATE_LOCAL || installed == INSTALLSTATE_SOURCE); }
    bool NotPresent() const {
        return known && (installed == INSTALLSTATE_ADVERTISED || installed == INSTALLSTATE_ABSENT);
    }
};

FeatureStates FeatureOf(MSIHANDLE session, const Prerequisite& row) {
    FeatureStates states;
    states.known = ::MsiGetFeatureStateW(session, Cell(row, L"Feature_").c_str(), &states.installed,
                                         &states.action) == ERROR_SUCCESS;
    return states;
}

MSICONDITION Missing(MSIHANDLE session, const Prerequisite& row) {
    return EvaluateCondition(session, Cell(row, L"MissingCondition"));
}

bool IgnoresMissing(const Prerequisite& row) { return HasOptionLetter(OptionsOf(row), L'i'); }

}  // namespace

bool PassesSelectionProperty(MSIHANDLE session, const Prerequisite& row) {
    return ConditionPasses(session, GetProperty(session, Cell(row, L"PrereqKey")));
}

bool IsInstallNeeded(MSIHANDLE session, const Prerequisite& row) {
    if (!ConditionPasses(session, Cell(row, L"InstallCondition"))) return false;
    if (Missing(session, row) == MSICONDITION_FALSE && !IgnoresMissing(row)) return false;
    if (IsFeatureBound(row)) {
        const FeatureStates feature = FeatureOf(session, row);
        return feature.Coming() && feature.NotPresent();
    }
    return PassesSelectionProperty(session, row);
}

bool IsRepairNeeded(MSIHANDLE session, const Prerequisite& row) {
    if (!ConditionPasses(session, L"Installed")) return false;
    if (!HasOptionLetter(OptionsOf(row), L'=')) return false;
    if (!ConditionPasses(session, Cell(row, L"RepairCondition"))) return false;
    if (Missing(session, row) == MSICONDITION_TRUE && !IgnoresMissing(row)) return false;
    if (IsFeatureBound(row)) {
        const FeatureStates feature = FeatureOf(session, row);
        return feature.Coming() && feature.Present();
    }
    return PassesSelectionProperty(session, row);
}

bool IsUninstallNeeded(MSIHANDLE session, const Prerequisite& row) {
    if (!HasOptionLetter(OptionsOf(row), L'-')) return false;
    if (!ConditionPasses(session, L"Installed")) return false;
    if (!ConditionPasses(session, Cell(row, L"UninstallCondition"))) return false;
    if (Missing(session, row) == MSICONDITION_TRUE && !IgnoresMissing(row)) return false;
    if (IsFeatureBound(row)) {
        const FeatureStates feature = FeatureOf(session, row);
        return feature.Going() && feature.Present();
    }
    return PassesSelectionProperty(session, row);
}

bool IsActionNeeded(MSIHANDLE session, const Prerequisite& row) {
    return IsInstallNeeded(session, row) || IsRepairNeeded(session, row) || IsUninstallNeeded(session, row);
}

bool IsStillMissing(MSIHANDLE session, const Prerequisite& row) {
    if (!ConditionPasses(session, Cell(row, L"InstallCondition"))) return false;
    if (IsFeatureBound(row)) {
        const FeatureStates feature = FeatureOf(session, row);
        if (!feature.Coming() || !(feature.Present() || feature.NotPresent())) return false;
    }
    return Missing(session, row) == MSICONDITION_TRUE;
}

bool IsFileNeeded(MSIHANDLE session, const Prerequisite& row) {
    const int location = CellInt(row, L"Location");
    std::wstring name;
    if (location == 0) name = Cell(row, L"TargetName");
    else if (location == 1) name = GetPrereqShortName(session, row);

    if (IsInstallNeeded(session, row) || IsRepairNeeded(session, row)) return true;
    if (!IsUninstallNeeded(session, row)) return false;

    // Being removed: the file is needed only when the removal command runs it.
    const std::wstring& cell = Cell(row, L"UninstallComLine");
    const int level = GetUiLevel(session);
    if (level < 2 || level > 5) return true;
    const PrereqCommand command(name, cell);
    return command.mApplicationPath.find(name) != std::wstring::npos ||
           command.mProcessedCmdLine.find(name) != std::wstring::npos || cell.find(name) != std::wstring::npos;
}

bool IsOptionalForFailure(MSIHANDLE session, bool succeeded, const Prerequisite& row) {
    return succeeded || !IsInstallNeeded(session, row) || !HasOptionLetter(OptionsOf(row), L'm');
}

}  // namespace tv
