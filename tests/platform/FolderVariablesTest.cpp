#include <gtest/gtest.h>
#include <windows.h>
#include <shlobj.h>
#include "platform/FileVersion.h"
#include "platform/Files.h"
#include "platform/FolderVariables.h"
#include "platform/TempFile.h"
#include "Harness.h"

using namespace tv;

namespace {

std::wstring Known(const KNOWNFOLDERID& id) {
    wchar_t* path = nullptr;
    std::wstring text;
    if (SUCCEEDED(::SHGetKnownFolderPath(id, 0, nullptr, &path))) text = AddBackslash(path);
    ::CoTaskMemFree(path);
    return text;
}

}  // namespace

TEST(FolderVariables, ExpansionRules) {
    const std::wstring key = L"Software\\TvFolderVariables-" + std::to_wstring(::GetCurrentProcessId());
    const std::wstring text = L"from [registry]";
    ::RegSetKeyValueW(HKEY_CURRENT_USER, key.c_str(), L"Value", REG_SZ, text.c_str(),
                      static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    ::RegSetKeyValueW(HKEY_CURRENT_USER, key.c_str(), nullptr, REG_SZ, L"default", 16);
    ::SetEnvironmentVariableW(L"TV_FV_SET", L"env");
    ::SetEnvironmentVariableW(L"ProgramW6432", nullptr);
    wchar_t windows[MAX_PATH];
    ::GetWindowsDirectoryW(windows, MAX_PATH);
    const std::wstring volume = std::wstring(windows).substr(0, 3);
    const std::wstring temp = AddBackslash(ToLongPath(GetTempFolders().workTemp));
    const std::wstring cu = L"HKCU\\" + key;

    const std::pair<std::wstring, std::wstring> cases[] = {
        {L"[WindowsVolume]Temp\\x", volume + L"Temp\\x"},
        {L"[WindowsFolder]", AddBackslash(windows)},
        {L"[ProgramFiles64Folder]x", Known(FOLDERID_ProgramFiles) + L"x"},
        {L"[ProgramFilesFolder]", Known(FOLDERID_ProgramFiles)},
        {L"[SystemFolder]", Known(FOLDERID_SystemX86)},
        {L"[AppDataFolder]a", Known(FOLDERID_RoamingAppData) + L"a"},
        {L"[TempFolder]", temp},
        {L"[UnknownProperty]\\a", L"[UnknownProperty]\\a"},
        {L"[programfilesfolder]", L"[programfilesfolder]"},
        {L"a[b", L"a[b"},
        {L"a%b", L"a%b"},
        {L"100%", L"100%"},
        {L"50% of 60%", L"50"},
        {L"%TV_FV_SET%\\x", L"env\\x"},
        {L"%NOSUCH%x", L"x"},
        {L"%%x", L"x"},
        {L"!" + cu + L"\\Value!", L"from [registry]"},
        {L"!" + cu + L"\\!", L"default"},
        {L"a!" + cu + L"\\Missing!b", L"ab"},
        {L"!!", L"!!"},
        {L"[a]!x", L"[a]!x"},
    };
    for (const auto& [input, output] : cases) EXPECT_EQ(ExpandFolderVariables(input, false), output) << tvtest::Narrow(input);

    ::SetEnvironmentVariableW(L"ProgramW6432", L"D:\\Native");
    EXPECT_EQ(ExpandFolderVariables(L"[ProgramFiles64Folder]x", false), L"D:\\Native\\x");
    ::SetEnvironmentVariableW(L"ProgramW6432", nullptr);
    ::SetEnvironmentVariableW(L"TV_FV_SET", nullptr);

    // The folder of the setup executable: the host's, unless set.
    const std::wstring saved = gSetupExeDirValue;
    gSetupExeDirValue.clear();
    wchar_t host[MAX_PATH];
    ::GetModuleFileNameW(nullptr, host, MAX_PATH);
    const std::wstring hostFolder = std::wstring(host).substr(0, std::wstring(host).rfind(L'\\') + 1);
    EXPECT_EQ(ExpandFolderVariables(L"[SETUPEXEDIR]x", false), hostFolder + L"x");
    gSetupExeDirValue = L"Q:\\Setup\\";
    EXPECT_EQ(ExpandFolderVariables(L"[SETUPEXEDIR]x", false), L"Q:\\Setup\\x");
    gSetupExeDirValue = saved;
    ::RegDeleteTreeW(HKEY_CURRENT_USER, key.c_str());
}

TEST(TempFiles, NamesAndVersions) {
    const std::wstring work = GetTempFolders().workTemp;
    const std::wstring withDot = MakeTempFile(work, L"ACS", L".xml");
    const std::wstring withoutDot = MakeTempFile(work, L"ACS", L"xml");
    const std::wstring plain = MakeTempFile(work, L"ACS", L"");
    for (const std::wstring& path : {withDot, withoutDot}) {
        EXPECT_EQ(path.substr(path.size() - 4), L".xml");
        EXPECT_EQ(FileNameOf(path).substr(0, 3), L"ACS");
        EXPECT_TRUE(FileExists(path));
    }
    EXPECT_EQ(plain.substr(plain.size() - 4), L".tmp");
    std::wstring downloadPath;
    {
        const TempFile download = MakeDownloadTempFile();
        downloadPath = download.Path();
        EXPECT_EQ(FileNameOf(downloadPath).substr(0, 3), L"123");
        EXPECT_EQ(downloadPath.substr(downloadPath.size() - 4), L".DLD");
        EXPECT_TRUE(FileExists(downloadPath));
    }
    EXPECT_FALSE(FileExists(downloadPath));
    for (const std::wstring& path : {withDot, withoutDot, plain}) ::DeleteFileW(path.c_str());

    DWORD high = 0, low = 0;
    EXPECT_EQ(ReadFileVersion(tvtest::TvDll::Folder() + L"\\versioned.exe", &high, &low), 0u);
    EXPECT_EQ(high, 0x00040003u);
    EXPECT_EQ(low, 0x00020001u);
    EXPECT_NE(ReadFileVersion(tvtest::TvDll::Folder() + L"\\nothing-here.exe", &high, nullptr), 0u);
    DWORD major = 0, minor = 7;
    EXPECT_TRUE(ReadModuleVersion(tvtest::TvDll::Folder() + L"\\versioned.exe", major, minor));
    EXPECT_EQ(major, 4u);
    EXPECT_EQ(minor, 0u);
}
