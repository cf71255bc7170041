#include <windows.h>
#include <chrono>
#include <memory>
#include <msiquery.h>
#include "SearchFixture.h"
#include "frame/MsiHandle.h"
#include "search/PackageStore.h"
#include "search/ProductSearch.h"

using namespace tvtest;

namespace {

// A product of one feature with an upgrade code and a version, built and
// installed into the prefix for the object's lifetime.
class TinyProduct {
public:
    TinyProduct(const std::wstring& upgradeCode, const std::wstring& version) {
        mPackage.Product({L"Main"});
        mPackage.Property(L"UpgradeCode", upgradeCode);
        tv::MsiHandle view;
        const std::wstring update = L"UPDATE `Property` SET `Value` = '" + version + L"' WHERE `Property` = 'ProductVersion'";
        ::MsiDatabaseOpenViewW(mPackage.Database(), update.c_str(), view.Put());
        ::MsiViewExecute(view.Get(), 0);
        view.Reset();
        tv::MsiHandle query;
        ::MsiDatabaseOpenViewW(mPackage.Database(), L"SELECT `ComponentId` FROM `Component`", query.Put());
        ::MsiViewExecute(query.Get(), 0);
        tv::MsiHandle record;
        if (::MsiViewFetch(query.Get(), record.Put()) == ERROR_SUCCESS) {
            wchar_t id[40] = {};
            DWORD size = 40;
            ::MsiRecordGetStringW(record.Get(), 1, id, &size);
            mComponent = id;
        }
        query.Reset();
        record.Reset();
        mInstalled = std::make_unique<InstalledProduct>(mPackage.Build(), mPackage.ProductCode());
    }
    UINT Result() const { return mInstalled->Result(); }
    const std::wstring& Code() const { return mPackage.ProductCode(); }
    const std::wstring& Component() const { return mComponent; }

private:
    TestPackage mPackage;
    std::wstring mComponent;
    std::unique_ptr<InstalledProduct> mInstalled;
};

std::vector<std::uint8_t> ReadProgram(const wchar_t* name) {
    std::vector<std::uint8_t> bytes;
    HANDLE file = ::CreateFileW((TvDll::Folder() + L"\\" + name).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return bytes;
    bytes.resize(::GetFileSize(file, nullptr));
    DWORD read = 0;
    ::ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
    ::CloseHandle(file);
    return bytes;
}

size_t CountTableTempFiles() {
    wchar_t folder[MAX_PATH];
    ::GetTempPathW(MAX_PATH, folder);
    WIN32_FIND_DATAW entry;
    HANDLE find = ::FindFirstFileW((std::wstring(folder) + L"ACS*").c_str(), &entry);
    size_t count = 0;
    if (find == INVALID_HANDLE_VALUE) return 0;
    do ++count; while (::FindNextFileW(find, &entry));
    ::FindClose(find);
    return count;
}

}  // namespace

// Products by code and by upgrade family, and a component, against two
// products installed into the prefix.
TEST_F(AppSearchTest, InstalledProductsAndComponents) {
    const std::wstring upgrade = NewGuid();
    TinyProduct first(upgrade, L"1.0.0");
    TinyProduct second(upgrade, L"3.0.0");
    ASSERT_EQ(first.Result(), 0u);
    ASSERT_EQ(second.Result(), 0u);
    const SearchRowSpec rows[] = {
        {L"PRODUCT", 3, first.Code()},
        {L"PRODUCTBOUND", 3, first.Code(), L"2.0"},
        {L"PRODUCTABSENT", 3, NewGuid()},
        {L"FAMILY", 4, upgrade, L"2.0"},
        {L"FAMILYABOVE", 4, upgrade, L"4.0"},
        {L"FAMILYABSENT", 4, NewGuid()},
        {L"COMPONENT", 11, first.Component(), L"9.0"},
        {L"COMPONENTABSENT", 11, NewGuid()},
    };
    for (const SearchRowSpec& row : rows) AddSearch(row);
    Open();
    ASSERT_EQ(Call("DoAppSearchEx"), 0u);
    const std::pair<const wchar_t*, const wchar_t*> expected[] = {
        {L"PRODUCT", L"1"},
        {L"PRODUCTTvVerFound", L"1.0.0"},
        {L"PRODUCTBOUND", L""},
        {L"PRODUCTBOUNDTvVerFound", L"1.0.0"},
        {L"PRODUCTABSENT", L""},
        {L"FAMILYABOVE", L""},
        {L"FAMILYABSENT", L""},
        // Found, with a bound and no versions: the property is deleted.
        {L"COMPONENT", L""},
        {L"COMPONENTTvVerMin", L"9.0"},
        {L"COMPONENTABSENT", L""},
    };
    for (const auto& [name, value] : expected) EXPECT_EQ(Property(name), value) << Narrow(name);
    // Both products of the family are listed, in the installer's order.
    for (const wchar_t* name : {L"FAMILY", L"FAMILYTvVerFound"}) {
        const std::wstring both = Property(name);
        EXPECT_TRUE(both == L"1.0.0, 3.0.0" || both == L"3.0.0, 1.0.0") << Narrow(name) << ": " << Narrow(both);
    }
}

// A program from the Binary table: exit code 0 is found, anything else or a
// file that isn't a program is not; its temporary file is gone afterwards.
TEST_F(AppSearchTest, ProgramFromBinaryTable) {
    mPackage.Row(L"Binary", {L"probe.exe", Stream{ReadProgram(L"fakesetup.exe")}});
    mPackage.Row(L"Binary", {L"notaprogram.exe", Stream{{'h', 'e', 'l', 'l', 'o'}}});
    const SearchRowSpec rows[] = {
        {L"EXITZERO", 10, L"probe.exe", L"", L"", L"", L"/exit:0"},
        {L"EXITONE", 10, L"probe.exe", L"", L"", L"", L"/exit:1"},
        {L"HIDDEN", 10, L"probe.exe", L"", L"", L"", L"WND_HIDE"},
        {L"BROKEN", 10, L"notaprogram.exe"},
        {L"ABSENT", 10, L"nosuchentry.exe"},
    };
    for (const SearchRowSpec& row : rows) AddSearch(row);
    const size_t before = CountTableTempFiles();
    Open();
    ASSERT_EQ(Call("DoAppSearchEx"), 0u);
    EXPECT_EQ(Property(L"EXITZERO"), L"1");
    EXPECT_EQ(Property(L"EXITONE"), L"");
    EXPECT_EQ(Property(L"HIDDEN"), L"1");
    EXPECT_EQ(Property(L"BROKEN"), L"");
    EXPECT_EQ(Property(L"ABSENT"), L"");
    EXPECT_EQ(CountTableTempFiles(), before);
}

// Under Wine there is no package manager: kind 13 finds nothing, at once.
TEST_F(AppSearchTest, PackageSearchWithoutPackageManager) {
    AddSearch({L"PACKAGE", 13, L"Vendor.App"});
    Open();
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(Call("DoAppSearchEx"), 0u);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_EQ(Property(L"PACKAGE"), L"");
}

namespace {

void ListFakePackages(std::vector<tv::PackageIdentity>& out) {
    tv::PackageIdentity other{L"Other.App", L"CN=Other", 9, {}};
    other.version.parts = {9, 0, 0, 0};
    tv::PackageIdentity arm{L"Vendor.App", L"CN=X", 12, {}};
    arm.version.parts = {1, 2, 0, 0};
    tv::PackageIdentity x64{L"Vendor.App", L"CN=Y", 9, {}};
    x64.version.parts = {2, 0, 3, 65535};
    tv::PackageIdentity odd{L"Vendor.Odd", L"CN=X", 7, {}};
    odd.version.parts = {3, 0, 0, 0};
    out = {other, arm, x64, odd};
}

}  // namespace

// The filters of kind 13 on a store the test fills.
TEST(PackageSearch, FiltersByNameArchitectureAndPublisher) {
    tv::PackageLister saved = tv::GetPackageStoreSeam();
    tv::GetPackageStoreSeam() = &ListFakePackages;
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"Vendor.App", L"1.2"},
        {L" Vendor.App ? x64 ", L"2.0.3"},
        {L"Vendor.App?arm64?CN=X", L"1.2"},
        {L"Vendor.App?x64?CN=X", L""},
        {L"Vendor.App??CN=X", L""},
        {L"vendor.app", L""},
        {L"Vendor.Odd", L"3.0"},
        {L"Vendor.Odd?neutral", L""},
        {L"", L""},
        {L"???", L""},
    };
    for (const auto& [text, version] : cases) {
        tv::SearchResult result;
        tv::PackageSearch(text, result);
        EXPECT_EQ(result.versions.empty() ? std::wstring() : result.versions.front(), version) << Narrow(text);
    }
    tv::GetPackageStoreSeam() = saved;
}
