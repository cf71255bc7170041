// Feature-bound rows follow the installer's own feature states: the product
// is really installed into the Wine prefix where a test needs it present.
#include "Harness.h"
#include "prereq/PrereqConditions.h"

using namespace tvtest;
using tv::Prerequisite;

namespace {

class FeatureStates : public SessionTest {
protected:
    // Opens the session and costs it, so that feature states can be set.
    void OpenCosted() {
        Open();
        for (const wchar_t* action : {L"CostInitialize", L"FileCost", L"CostFinalize"})
            ASSERT_EQ(::MsiDoActionW(mSession, action), 0u) << Narrow(action);
    }
    std::pair<INSTALLSTATE, INSTALLSTATE> States() const {
        INSTALLSTATE installed = INSTALLSTATE_UNKNOWN, action = INSTALLSTATE_UNKNOWN;
        ::MsiGetFeatureStateW(mSession, L"F1", &installed, &action);
        return {installed, action};
    }
};

struct Expect {
    INSTALLSTATE action;
    const wchar_t* options;
    const wchar_t* missing;
    bool install, repair, removal, stillMissing;
};

void Check(MSIHANDLE session, const Expect& e) {
    const Prerequisite row = {{L"PrereqKey", L"K"}, {L"Feature_", L"F1"}, {L"Options", e.options},
                              {L"MissingCondition", e.missing}};
    ASSERT_EQ(::MsiSetFeatureStateW(session, L"F1", e.action), 0u) << e.action;
    const std::string what = "action " + std::to_string(e.action) + " options " + Narrow(e.options) + " missing " +
                             Narrow(e.missing);
    EXPECT_EQ(tv::IsInstallNeeded(session, row), e.install) << what;
    EXPECT_EQ(tv::IsRepairNeeded(session, row), e.repair) << what;
    EXPECT_EQ(tv::IsUninstallNeeded(session, row), e.removal) << what;
    EXPECT_EQ(tv::IsStillMissing(session, row), e.stillMissing) << what;
}

}  // namespace

TEST_F(FeatureStates, NotInstalledFeatureIsInstalledWhenComing) {
    mPackage.Product({L"F1"});
    OpenCosted();
    EXPECT_EQ(States().first, INSTALLSTATE_ABSENT);
    const Expect cases[] = {
        {INSTALLSTATE_LOCAL, L"f=-", L"", true, false, false, false},
        {INSTALLSTATE_SOURCE, L"f=-", L"1", true, false, false, true},
        {INSTALLSTATE_ABSENT, L"f=-", L"1", false, false, false, false},
        {INSTALLSTATE_LOCAL, L"f", L"0", false, false, false, false},
        {INSTALLSTATE_LOCAL, L"fi", L"0", true, false, false, false},  // i lifts the condition, states still decide
        {INSTALLSTATE_ABSENT, L"fi", L"0", false, false, false, false},
        {INSTALLSTATE_LOCAL, L"y", L"1", true, false, false, true},  // not feature-bound: the states don't count
        {INSTALLSTATE_ABSENT, L"y", L"1", true, false, false, true},
    };
    for (const Expect& e : cases) Check(mSession, e);
}

TEST_F(FeatureStates, InstalledFeatureIsRepairedOrRemoved) {
    TestPackage package;
    package.Product({L"F1"});
    InstalledProduct product(package.Build(), package.ProductCode());
    ASSERT_EQ(product.Result(), 0u);
    ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    ASSERT_EQ(::MsiOpenPackageW(package.Path().c_str(), &mSession), 0u);
    for (const wchar_t* action : {L"CostInitialize", L"FileCost", L"CostFinalize"}) ::MsiDoActionW(mSession, action);
    EXPECT_EQ(States().first, INSTALLSTATE_LOCAL);
    const Expect cases[] = {
        {INSTALLSTATE_LOCAL, L"f=-", L"0", false, true, false, false},
        {INSTALLSTATE_SOURCE, L"f=-", L"0", false, true, false, false},
        {INSTALLSTATE_ABSENT, L"f=-", L"0", false, false, true, false},
        {INSTALLSTATE_ABSENT, L"f=", L"0", false, false, false, false},
        {INSTALLSTATE_ABSENT, L"f-", L"1", false, false, false, false},  // a missing one isn't removed
        {INSTALLSTATE_ABSENT, L"f-i", L"1", false, false, true, false},
        {INSTALLSTATE_LOCAL, L"f=", L"1", false, false, false, true},
        {INSTALLSTATE_LOCAL, L"f=i", L"1", false, true, false, true},
        {INSTALLSTATE_LOCAL, L"p=", L"0", false, true, false, false},
        {INSTALLSTATE_LOCAL, L"w=", L"0", false, true, false, false},
    };
    for (const Expect& e : cases) Check(mSession, e);
    ::MsiCloseHandle(mSession);
    mSession = 0;
}

TEST_F(FeatureStates, AdvertisedFeatureCountsAsNotPresent) {
    // Components that run from source: Windows reports the feature as source
    // (4), present; Wine cannot resolve the source and reports it advertised
    // (1), not present. Each answer is checked against its own row of the
    // decision table.
    TestPackage package;
    package.Product({L"F1"}, 1);
    InstalledProduct product(package.Build(), package.ProductCode());
    ASSERT_EQ(product.Result(), 0u);
    ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    ASSERT_EQ(::MsiOpenPackageW(package.Path().c_str(), &mSession), 0u);
    for (const wchar_t* action : {L"CostInitialize", L"FileCost", L"CostFinalize"}) ::MsiDoActionW(mSession, action);
    const INSTALLSTATE installed = States().first;
    ASSERT_TRUE(installed == INSTALLSTATE_ADVERTISED || installed == INSTALLSTATE_SOURCE) << installed;
    const bool present = installed == INSTALLSTATE_SOURCE;
    Check(mSession, {INSTALLSTATE_LOCAL, L"f=-", L"", !present, present, false, false});
    Check(mSession, {INSTALLSTATE_ABSENT, L"f=-", L"", false, false, present, false});
    ::MsiCloseHandle(mSession);
    mSession = 0;
}
