// Access lists and account lookups against Wine's security calls.
#include "Harness.h"
#include <sddl.h>
#include "platform/AccessList.h"

using namespace tvtest;

namespace {

// The SIDs of the descriptor's access list, in order; each entry must allow
// GENERIC_ALL.
std::vector<std::wstring> SidsOf(PSECURITY_DESCRIPTOR descriptor) {
    std::vector<std::wstring> sids;
    BOOL present = FALSE, defaulted = FALSE;
    PACL acl = nullptr;
    if (!descriptor || !::GetSecurityDescriptorDacl(descriptor, &present, &acl, &defaulted) || !acl) return sids;
    void* raw = nullptr;
    for (DWORD i = 0; i < acl->AceCount && ::GetAce(acl, i, &raw); ++i) {
        auto* ace = static_cast<ACCESS_ALLOWED_ACE*>(raw);
        EXPECT_EQ(ace->Header.AceType, ACCESS_ALLOWED_ACE_TYPE);
        EXPECT_EQ(ace->Mask, static_cast<DWORD>(GENERIC_ALL));
        wchar_t* text = nullptr;
        ::ConvertSidToStringSidW(&ace->SidStart, &text);
        sids.push_back(text ? text : L"?");
        ::LocalFree(text);
    }
    return sids;
}

}  // namespace

TEST(AccessList, EntriesInOrderOfAdding) {
    struct Account { const wchar_t* name; bool isSidText; bool added; };
    struct Case {
        std::vector<Account> accounts;
        std::vector<std::wstring> sids;  // empty: Build gives null
        DWORD lastError;
    };
    const Account unknown = {L"NoSuchAccountTv", false, false};
    const Case cases[] = {
        {{{L"Everyone", false, true}}, {L"S-1-1-0"}, 0},
        {{{L"S-1-1-0", true, true}, {L"S-1-5-18", true, true}}, {L"S-1-1-0", L"S-1-5-18"}, 0},
        {{{L"S-1-5-18", true, true}, {L"S-1-5-32-544", true, true}}, {L"S-1-5-18", L"S-1-5-32-544"}, 0},
        {{unknown}, {}, ERROR_NONE_MAPPED},
        {{{L"not a sid", true, false}}, {}, ERROR_INVALID_SID},
        {{{L"S-1-5-18", true, true}, unknown}, {L"S-1-5-18"}, ERROR_NONE_MAPPED},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(Narrow(c.accounts[0].name));
        tv::AccessListBuilder builder;
        for (const Account& a : c.accounts) EXPECT_EQ(builder.Add(a.name, GENERIC_ALL, a.isSidText), a.added);
        EXPECT_EQ(builder.LastError(), c.lastError);
        PSECURITY_DESCRIPTOR descriptor = builder.Build();
        EXPECT_EQ(descriptor != nullptr, !c.sids.empty());
        EXPECT_EQ(SidsOf(descriptor), c.sids);
    }
}

TEST(AccessList, SecondBuildHoldsWhatWasAddedSince) {
    tv::AccessListBuilder builder;
    ASSERT_TRUE(builder.Add(L"S-1-1-0", GENERIC_ALL, true));
    EXPECT_EQ(SidsOf(builder.Build()), std::vector<std::wstring>{L"S-1-1-0"});
    ASSERT_TRUE(builder.Add(L"S-1-5-18", GENERIC_ALL, true));
    PSECURITY_DESCRIPTOR second = builder.Build();
    EXPECT_TRUE(::IsValidSecurityDescriptor(second));
    EXPECT_EQ(SidsOf(second), (std::vector<std::wstring>{L"S-1-1-0", L"S-1-5-18"}));
}

TEST(AccessList, SidUseAndLocalSystem) {
    const std::pair<const wchar_t*, int> cases[] = {
        {L"S-1-1-0", SidTypeWellKnownGroup}, {L"S-1-5-18", SidTypeWellKnownGroup}, {L"S-1-5-32-544", SidTypeAlias},
        {L"S-1-5-32-555", SidTypeAlias},  // "Remote Desktop Users": longer than the first buffer
        {L"S-1-5-21-1-2-3-4242", 0},
    };
    for (const auto& [text, use] : cases) {
        PSID sid = nullptr;
        ASSERT_TRUE(::ConvertStringSidToSidW(text, &sid));
        EXPECT_EQ(static_cast<int>(tv::GetSidUse(sid)), use) << Narrow(text);
        ::LocalFree(sid);
    }
    // Under Wine the test runs as user S-1-5-21-0-0-0-1000, a member of Administrators.
    EXPECT_FALSE(tv::IsLocalSystem());
}
