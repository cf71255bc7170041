// The install, repair and removal decisions, through real sessions: the
// installer evaluates the conditions and owns the feature states.
#include "Harness.h"
#include "prereq/PrereqConditions.h"

using namespace tvtest;
using tv::Prerequisite;

namespace {

// One digit per decision: install, repair, removal, still missing.
std::string Decide(MSIHANDLE s, const Prerequisite& row) {
    return {"01"[tv::IsInstallNeeded(s, row)], "01"[tv::IsRepairNeeded(s, row)], "01"[tv::IsUninstallNeeded(s, row)],
            "01"[tv::IsStillMissing(s, row)]};
}

using Conditions = SessionTest;

// Feature-bound rows follow the installer's own feature states: the product
// is really installed into the Wine prefix where a test needs it present.
class FeatureStates : public SessionTest {
protected:
    // A product with feature F1, installed when asked: F1's installed state in a costed session.
    INSTALLSTATE OpenProduct(bool install, int componentAttributes = 0) {
        mPackage.Product({L"F1"}, componentAttributes);
        if (install) mProduct = std::make_unique<InstalledProduct>(mPackage.Build(), mPackage.ProductCode());
        ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
        EXPECT_EQ(::MsiOpenPackageW(mPackage.Build().c_str(), &mSession), 0u);
        for (const wchar_t* step : {L"CostInitialize", L"FileCost", L"CostFinalize"}) ::MsiDoActionW(mSession, step);
        INSTALLSTATE installed = INSTALLSTATE_UNKNOWN, action = INSTALLSTATE_UNKNOWN;
        ::MsiGetFeatureStateW(mSession, L"F1", &installed, &action);
        return installed;
    }
    // Sets F1's action state, then the four decisions on a row bound to F1.
    void Check(std::initializer_list<std::tuple<INSTALLSTATE, const wchar_t*, const wchar_t*, const char*>> cases) {
        for (const auto& [action, options, missing, expected] : cases) {
            ASSERT_EQ(::MsiSetFeatureStateW(mSession, L"F1", action), 0u) << action;
            EXPECT_EQ(Decide(mSession, {{L"PrereqKey", L"K"}, {L"Feature_", L"F1"}, {L"Options", options},
                                        {L"MissingCondition", missing}}), expected)
                << "action " << action << " options " << Narrow(options) << " missing " << Narrow(missing);
        }
    }
    void TearDown() override { ::MsiCloseHandle(mSession); }  // before the product is removed
    std::unique_ptr<InstalledProduct> mProduct;
};

}  // namespace

TEST_F(Conditions, RowsWithoutAFeatureFollowConditionsAndSelectionProperty) {
    // installed: the package itself; expected: the four decisions, then whether its failed install is optional;
    // selection: the property named by PrereqKey, a condition; then the row's other conditions.
    struct Case {
        const char* name; bool installed; const wchar_t *options, *missing; const char* expected;
        const wchar_t *selection = L"", *install = L"", *repair = L"", *uninstall = L"";
    };
    const Case cases[] = {
        {"all empty", 0, L"", L"", "10001"}, {"missing false", 0, L"", L"0", "00001"},
        {"missing false, i", 0, L"i", L"0", "10001"}, {"missing true", 0, L"", L"1", "10011"},
        {"missing malformed", 1, L"=-", L"((", "11101"}, {"install cond. malformed", 0, L"", L"1", "00001", L"", L"(("},
        {"install cond. 0", 0, L"", L"1", "00001", L"", L"0"}, {"selection false", 0, L"", L"1", "00011", L"0"},
        {"selection true", 0, L"", L"", "10001", L"NOT Installed"}, {"repair and install both", 1, L"=", L"", "11001"},
        {"repair needs =", 1, L"", L"0", "00001"}, {"repair of a present one", 1, L"=", L"0", "01001"},
        {"repair cond. 0", 1, L"=", L"0", "00001", L"", L"", L"0"}, {"repair, missing", 1, L"=", L"1", "10011"},
        {"repair, missing, i", 1, L"=i", L"1", "11011"}, {"repair, package not installed", 0, L"=", L"0", "00001"},
        {"removal", 1, L"-", L"0", "00101"}, {"removal needs -", 1, L"", L"0", "00001", L"", L"", L"", L"1"},
        {"removal cond. 0", 1, L"-", L"0", "00001", L"", L"", L"", L"0"}, {"removal, missing", 1, L"-", L"1", "10011"},
        {"removal, package not installed", 0, L"-", L"0", "00001"}, {"mandatory, present", 0, L"m", L"0", "00001"},
        {"a failed mandatory install", 0, L"m", L"1", "10010"},
    };
    Open();
    for (const Case& c : cases) {
        SetProperty(L"Installed", c.installed ? L"1" : L"");
        SetProperty(L"Prq", c.selection);
        const Prerequisite row = {{L"PrereqKey", L"Prq"}, {L"Options", c.options}, {L"MissingCondition", c.missing},
                                  {L"InstallCondition", c.install}, {L"RepairCondition", c.repair},
                                  {L"UninstallCondition", c.uninstall}};
        EXPECT_EQ(Decide(mSession, row) + "01"[tv::IsOptionalForFailure(mSession, false, row)], c.expected) << c.name;
        EXPECT_TRUE(tv::IsOptionalForFailure(mSession, true, row)) << c.name << ": a success is no failure";
    }
}

TEST_F(FeatureStates, NotInstalledFeatureIsInstalledWhenComing) {
    ASSERT_EQ(OpenProduct(false), INSTALLSTATE_ABSENT);
    Check({{INSTALLSTATE_LOCAL, L"f=-", L"", "1000"}, {INSTALLSTATE_SOURCE, L"f=-", L"1", "1001"},
           {INSTALLSTATE_ABSENT, L"f=-", L"1", "0000"}, {INSTALLSTATE_LOCAL, L"f", L"0", "0000"},
           // i lifts the condition, the states still decide
           {INSTALLSTATE_LOCAL, L"fi", L"0", "1000"}, {INSTALLSTATE_ABSENT, L"fi", L"0", "0000"},
           // not feature-bound: the states don't count
           {INSTALLSTATE_LOCAL, L"y", L"1", "1001"}, {INSTALLSTATE_ABSENT, L"y", L"1", "1001"}});
}

TEST_F(FeatureStates, InstalledFeatureIsRepairedOrRemoved) {
    ASSERT_EQ(OpenProduct(true), INSTALLSTATE_LOCAL);
    Check({{INSTALLSTATE_LOCAL, L"f=-", L"0", "0100"}, {INSTALLSTATE_SOURCE, L"f=-", L"0", "0100"},
           {INSTALLSTATE_ABSENT, L"f=-", L"0", "0010"}, {INSTALLSTATE_ABSENT, L"f=", L"0", "0000"},
           // a missing one isn't removed, unless i
           {INSTALLSTATE_ABSENT, L"f-", L"1", "0000"}, {INSTALLSTATE_ABSENT, L"f-i", L"1", "0010"},
           {INSTALLSTATE_LOCAL, L"f=", L"1", "0001"}, {INSTALLSTATE_LOCAL, L"f=i", L"1", "0101"},
           {INSTALLSTATE_LOCAL, L"p=", L"0", "0100"}, {INSTALLSTATE_LOCAL, L"w=", L"0", "0100"}});
}

TEST_F(FeatureStates, AdvertisedFeatureCountsAsNotPresent) {
    // Components that run from source: Windows reports the feature as source
    // (4), present; Wine cannot resolve the source and reports it advertised
    // (1), not present. Each answer is checked against its own row of the
    // decision table.
    const INSTALLSTATE installed = OpenProduct(true, 1);
    ASSERT_TRUE(installed == INSTALLSTATE_ADVERTISED || installed == INSTALLSTATE_SOURCE) << installed;
    const bool present = installed == INSTALLSTATE_SOURCE;
    Check({{INSTALLSTATE_LOCAL, L"f=-", L"", present ? "0100" : "1000"},
           {INSTALLSTATE_ABSENT, L"f=-", L"", present ? "0010" : "0000"}});
}
