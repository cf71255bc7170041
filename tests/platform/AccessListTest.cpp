// Access lists and account lookups against Wine's security calls.
#include "Harness.h"
#include <sddl.h>
#include "platform/AccessList.h"
#include "platform/LocalMemory.h"

using namespace tvtest;

namespace {

// The descriptor's access list as SDDL text ("D:(A;;GA;;;SY)..."), empty for none.
std::wstring DaclOf(PSECURITY_DESCRIPTOR descriptor) {
    tv::LocalMemory<wchar_t> text;
    if (descriptor)
        ::ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION,
                                                               text.Put(), nullptr);
    return text ? text.Get() : L"";
}

}  // namespace

TEST(AccessList, EntriesInOrderOfAddingAndEachBuildHoldsAllSoFar) {
    struct Account { const wchar_t* name; bool isSidText; const wchar_t* ace; };  // ace null: not resolved
    const Account everyone{L"Everyone", false, L"(A;;GA;;;WD)"}, world{L"S-1-1-0", true, L"(A;;GA;;;WD)"},
        system{L"S-1-5-18", true, L"(A;;GA;;;SY)"}, admins{L"S-1-5-32-544", true, L"(A;;GA;;;BA)"},
        unknown{L"NoSuchAccountTv", false, nullptr}, badSid{L"not a sid", true, nullptr};
    const std::pair<std::vector<Account>, DWORD> cases[] = {
        {{everyone}, 0}, {{world, system, unknown, admins}, ERROR_NONE_MAPPED}, {{unknown}, ERROR_NONE_MAPPED},
        {{badSid}, ERROR_INVALID_SID}};
    for (const auto& [accounts, lastError] : cases) {
        tv::AccessListBuilder builder;
        std::wstring dacl;
        for (const Account& a : accounts) {
            EXPECT_EQ(builder.Add(a.name, GENERIC_ALL, a.isSidText), a.ace != nullptr) << Narrow(a.name);
            if (a.ace) dacl = (dacl.empty() ? L"D:" : dacl) + a.ace;
            // Each Build replaces the one before; without entries it gives null.
            EXPECT_EQ(DaclOf(builder.Build()), dacl) << Narrow(a.name);
        }
        EXPECT_EQ(builder.LastError(), lastError) << Narrow(accounts[0].name);
    }
}

TEST(AccessList, SidUseAndLocalSystem) {
    const std::pair<const wchar_t*, int> cases[] = {
        {L"S-1-1-0", SidTypeWellKnownGroup}, {L"S-1-5-32-544", SidTypeAlias}, {L"S-1-5-21-1-2-3-4242", 0},
        {L"S-1-5-32-555", SidTypeAlias},  // "Remote Desktop Users": longer than the first buffer
    };
    for (const auto& [text, use] : cases) {
        tv::LocalMemory<> sid;
        ASSERT_TRUE(::ConvertStringSidToSidW(text, sid.Put()));
        EXPECT_EQ(static_cast<int>(tv::GetSidUse(sid.Get())), use) << Narrow(text);
    }
    // Under Wine the test runs as user S-1-5-21-0-0-0-1000, a member of Administrators.
    EXPECT_FALSE(tv::IsLocalSystem());
}
