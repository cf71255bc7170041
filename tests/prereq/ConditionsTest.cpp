// The install, repair and removal decisions, through real sessions: the
// installer evaluates the conditions and owns the feature states.
#include "Harness.h"
#include "prereq/PrereqConditions.h"

using namespace tvtest;
using tv::Prerequisite;

namespace {

struct Decisions {
    bool install, repair, removal, stillMissing;
    bool operator==(const Decisions&) const = default;
};

std::string Show(const Decisions& d) {
    return std::string("install=") + (d.install ? "1" : "0") + " repair=" + (d.repair ? "1" : "0") +
           " removal=" + (d.removal ? "1" : "0") + " stillMissing=" + (d.stillMissing ? "1" : "0");
}

Decisions Decide(MSIHANDLE session, const Prerequisite& row) {
    return {tv::IsInstallNeeded(session, row), tv::IsRepairNeeded(session, row), tv::IsUninstallNeeded(session, row),
            tv::IsStillMissing(session, row)};
}

Prerequisite Row(std::initializer_list<std::pair<const std::wstring, std::wstring>> cells) {
    Prerequisite row{{L"PrereqKey", L"Prq"}};
    for (const auto& cell : cells) row[cell.first] = cell.second;
    return row;
}

class Conditions : public SessionTest {};

}  // namespace

TEST_F(Conditions, RowsWithoutAFeatureFollowConditionsAndSelectionProperty) {
    struct Case {
        const char* name;
        bool installed;       // the package itself is installed
        const wchar_t* selection;  // value of the property named by PrereqKey; null: unset
        Prerequisite row;
        Decisions expected;
    };
    const Case cases[] = {
        {"all empty", false, nullptr, Row({}), {true, false, false, false}},
        {"missing false", false, nullptr, Row({{L"MissingCondition", L"0"}}), {false, false, false, false}},
        {"missing false, i", false, nullptr, Row({{L"MissingCondition", L"0"}, {L"Options", L"i"}}),
         {true, false, false, false}},
        {"missing true", false, nullptr, Row({{L"MissingCondition", L"1"}}), {true, false, false, true}},
        {"missing malformed", true, nullptr, Row({{L"MissingCondition", L"(("}, {L"Options", L"=-"}}),
         {true, true, true, false}},
        {"install condition malformed", false, nullptr, Row({{L"InstallCondition", L"(("}, {L"MissingCondition", L"1"}}),
         {false, false, false, false}},
        {"install condition false", false, nullptr, Row({{L"InstallCondition", L"0"}, {L"MissingCondition", L"1"}}),
         {false, false, false, false}},
        {"selection false", false, L"0", Row({{L"MissingCondition", L"1"}}), {false, false, false, true}},
        {"selection condition true", false, L"NOT Installed", Row({}), {true, false, false, false}},
        {"repair and install both", true, nullptr, Row({{L"Options", L"="}}), {true, true, false, false}},
        {"repair needs =", true, nullptr, Row({{L"MissingCondition", L"0"}}), {false, false, false, false}},
        {"repair of a present one", true, nullptr, Row({{L"MissingCondition", L"0"}, {L"Options", L"="}}),
         {false, true, false, false}},
        {"repair condition false", true, nullptr,
         {Row({{L"MissingCondition", L"0"}, {L"Options", L"="}, {L"RepairCondition", L"0"}})},
         {false, false, false, false}},
        {"repair not of a missing one", true, nullptr, Row({{L"MissingCondition", L"1"}, {L"Options", L"="}}),
         {true, false, false, true}},
        {"repair of a missing one with i", true, nullptr, Row({{L"MissingCondition", L"1"}, {L"Options", L"=i"}}),
         {true, true, false, true}},
        {"repair needs the package installed", false, nullptr, Row({{L"MissingCondition", L"0"}, {L"Options", L"="}}),
         {false, false, false, false}},
        {"removal", true, nullptr, Row({{L"MissingCondition", L"0"}, {L"Options", L"-"}}), {false, false, true, false}},
        {"removal needs -", true, nullptr, Row({{L"MissingCondition", L"0"}, {L"UninstallCondition", L"1"}}),
         {false, false, false, false}},
        {"removal condition false", true, nullptr,
         Row({{L"MissingCondition", L"0"}, {L"Options", L"-"}, {L"UninstallCondition", L"0"}}),
         {false, false, false, false}},
        {"removal not of a missing one", true, nullptr, Row({{L"MissingCondition", L"1"}, {L"Options", L"-"}}),
         {true, false, false, true}},
        {"removal needs the package installed", false, nullptr,
         Row({{L"MissingCondition", L"0"}, {L"Options", L"-"}}), {false, false, false, false}},
    };
    Open();
    for (const Case& c : cases) {
        SetProperty(L"Installed", c.installed ? L"1" : L"");
        SetProperty(L"Prq", c.selection ? c.selection : L"");
        const Decisions got = Decide(mSession, c.row);
        EXPECT_TRUE(got == c.expected) << c.name << ": got " << Show(got) << ", expected " << Show(c.expected);
    }
}

TEST_F(Conditions, OptionalForFailureOnlyMandatoryInstalls) {
    Open();
    const Prerequisite mandatory = Row({{L"Options", L"m"}, {L"MissingCondition", L"1"}});
    const Prerequisite present = Row({{L"Options", L"m"}, {L"MissingCondition", L"0"}});
    const Prerequisite optional = Row({{L"MissingCondition", L"1"}});
    EXPECT_FALSE(tv::IsOptionalForFailure(mSession, false, mandatory));
    EXPECT_TRUE(tv::IsOptionalForFailure(mSession, true, mandatory));
    EXPECT_TRUE(tv::IsOptionalForFailure(mSession, false, present));
    EXPECT_TRUE(tv::IsOptionalForFailure(mSession, false, optional));
}
