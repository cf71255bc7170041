// Operating-system detection from version keys built below a scratch key of
// HKCU, and the real record of this Wine prefix.
#include <sstream>
#include "Harness.h"
#include "frame/OsInfo.h"
#include "platform/RegistryKey.h"

using namespace tvtest;
using namespace std::string_literals;

namespace {

// REG_DWORD data in decimal; a multi-string's final empty string is added.
struct Entry { const wchar_t* name; DWORD type; std::wstring data; };

// Creates the key with its values; no entries, no key.
void Store(const std::wstring& path, const std::vector<Entry>& entries) {
    for (const Entry& e : entries) {
        const DWORD number = e.type == REG_DWORD ? std::stoul(e.data) : 0;
        const std::wstring text = e.data + L'\0';
        const void* data = e.type == REG_DWORD ? static_cast<const void*>(&number) : text.c_str();
        const auto size = static_cast<DWORD>(e.type == REG_DWORD ? 4 : (text.size() + 1) * sizeof(wchar_t));
        ASSERT_EQ(::RegSetKeyValueW(HKEY_CURRENT_USER, path.c_str(), e.name, e.type, data, size), 0);
    }
}

std::string Describe(const tv::OsInfo& i) {
    std::ostringstream out;
    out << i.major << "." << i.minor << "." << i.build << " sp" << i.servicePack << " '" << Narrow(i.csdVersion)
        << "' type " << i.productType << " suite " << i.suiteMask << " server " << i.isServer << " wow64 "
        << i.isWow64 << " release " << i.releaseId;
    return out.str();
}

}  // namespace

TEST(OsInfo, DetectionFromTheRegistry) {
    const std::wstring root = L"Software\\TvTest\\OsInfo-" + std::to_wstring(::GetCurrentProcessId());
    const std::wstring csd = L"Service Pack " + std::wstring(186, L'x') + L"3";
    const wchar_t *const major = L"CurrentMajorVersionNumber", *const build = L"CurrentBuildNumber";
    struct Case { std::vector<Entry> version, product; tv::OsInfo expected; };
    const Case cases[] = {
        {{{major, REG_DWORD, L"10"}, {L"CurrentVersion", REG_SZ, L"6.3"}, {build, REG_SZ, L"22621"}},
         {{L"ProductType", REG_SZ, L"WinNT"}},
         {.major = 11, .build = 22621}},
        {{{major, REG_DWORD, L"10"}, {L"CurrentMinorVersionNumber", REG_DWORD, L"2"}, {build, REG_SZ, L"21999"},
          {L"ReleaseId", REG_SZ, L"2009"}},
         // Exact names with case, up to the first empty string.
         {{L"ProductSuite", REG_MULTI_SZ, L"Small Business(Restricted)\0Terminal Server\0enterprise\0\0DataCenter"s}},
         {.major = 10, .minor = 2, .build = 21999, .suiteMask = 0x30, .releaseId = 2009}},
        {{{L"CurrentVersion", REG_SZ, L"6.1"}, {build, REG_SZ, L"7601"}, {L"CSDVersion", REG_SZ, L"Service Pack 1"}},
         {{L"ProductType", REG_SZ, L"ServerNT"}, {L"ProductSuite", REG_MULTI_SZ, L"Blade\0Enterprise"s}},
         {.major = 6, .minor = 1, .build = 7601, .servicePack = 1, .csdVersion = L"Service Pack 1",
          .productType = VER_NT_SERVER, .suiteMask = 0x402, .isServer = true}},
        {{{L"CurrentVersion", REG_SZ, L"10.0"}, {build, REG_SZ, L"19045"}, {L"CSDVersion", REG_SZ, csd}},
         {{L"ProductType", REG_SZ, L"LanmanNT"}},
         {.build = 19045, .servicePack = 3, .csdVersion = csd.substr(0, 127), .productType = VER_NT_DOMAIN_CONTROLLER,
          .isServer = true}},
        {{}, {{L"ProductType", REG_SZ, L"ServerNT"}}, {}},
    };
    for (const Case& c : cases) {
        Store(root + L"\\Software\\Microsoft\\Windows NT\\CurrentVersion", c.version);
        Store(root + L"\\SYSTEM\\CurrentControlSet\\Control\\ProductOptions", c.product);
        const tv::OsInfo found = tv::DetectOsInfo(tv::RegistryKey(root, HKEY_CURRENT_USER, false).Handle());
        EXPECT_EQ(found, c.expected) << Describe(found) << "\nexpected " << Describe(c.expected);
        EXPECT_EQ(::RegDeleteTreeW(HKEY_CURRENT_USER, root.c_str()), ERROR_SUCCESS);
    }
}

TEST(OsInfo, RealRecordUnderWine) {
    const tv::OsInfo& info = tv::GetOsInfo();
    EXPECT_EQ(&info, &tv::GetOsInfo());
    using RtlGetVersionFn = LONG(WINAPI*)(OSVERSIONINFOW*);
    const auto rtlGetVersion =
        reinterpret_cast<RtlGetVersionFn>(::GetProcAddress(::GetModuleHandleW(L"ntdll"), "RtlGetVersion"));
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    ASSERT_TRUE(rtlGetVersion && rtlGetVersion(&version) == 0);
    // The prefix reports Windows 10 with a build below that of 11; a 32-bit
    // process in a 32-bit prefix isn't under WOW64. Wine's Windows 10 has an
    // empty "CSDVersion" and no "ReleaseId" or "ProductSuite", which a real
    // one carries, so releaseId stays 1507 and suiteMask 0 here.
    EXPECT_EQ(Describe(info), Describe({.major = 10, .minor = version.dwMinorVersion, .build = version.dwBuildNumber}));
    EXPECT_TRUE(tv::IsWindows10OrLater());
}
