// Windows fails a custom action whose export is missing (Wine only warns),
// and a DLL that needs mingw's runtime DLLs fails to load on a clean machine:
// both are read from the built file itself.
#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>
#include "Harness.h"

using namespace tvtest;

namespace {

struct PeImage {
    std::vector<char> bytes;
    const IMAGE_NT_HEADERS32* nt = nullptr;

    explicit PeImage(const std::wstring& path) {
        std::ifstream in(Narrow(path), std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(in), {});
        auto dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(bytes.data());
        nt = reinterpret_cast<const IMAGE_NT_HEADERS32*>(bytes.data() + dos->e_lfanew);
    }
    // File offset of a relative virtual address.
    const char* At(DWORD rva) const {
        auto section = IMAGE_FIRST_SECTION(nt);
        for (WORD i = 0; i < nt->FileHeader.NumberOfSections; ++i, ++section)
            if (rva >= section->VirtualAddress && rva < section->VirtualAddress + section->Misc.VirtualSize)
                return bytes.data() + section->PointerToRawData + (rva - section->VirtualAddress);
        return nullptr;
    }
    const IMAGE_DATA_DIRECTORY& Directory(int index) const { return nt->OptionalHeader.DataDirectory[index]; }
};

}  // namespace

TEST(ExportTable, ExportsExactlyTheThirteenEntryPointsUndecorated) {
    PeImage image(TvDll::Path());
    ASSERT_EQ(image.nt->Signature, IMAGE_NT_SIGNATURE);
    ASSERT_EQ(image.nt->FileHeader.Machine, IMAGE_FILE_MACHINE_I386);
    auto exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(
        image.At(image.Directory(IMAGE_DIRECTORY_ENTRY_EXPORT).VirtualAddress));
    ASSERT_NE(exports, nullptr);
    auto names = reinterpret_cast<const DWORD*>(image.At(exports->AddressOfNames));
    std::set<std::string> found;
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) found.insert(image.At(names[i]));

    const std::set<std::string> expected = {
        "DoAppSearchEx",  "InstallPrePrereq",  "VerifyPrePrereq",         "DownloadPrereq",
        "ExtractPrereq",  "InstallPrereq",     "VerifyPrereq",            "InstallPostPrereq",
        "RollbackPrePrereq", "RollbackPrereq", "CleanPrereq",             "ConfigurePrereqLauncher",
        "ExtractSourceFiles"};
    EXPECT_EQ(found, expected);
    EXPECT_EQ(exports->NumberOfFunctions, 13u);
}

TEST(ExportTable, ImportsOnlySystemLibraries) {
    PeImage image(TvDll::Path());
    auto descriptor = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(
        image.At(image.Directory(IMAGE_DIRECTORY_ENTRY_IMPORT).VirtualAddress));
    ASSERT_NE(descriptor, nullptr);
    const std::set<std::string> system = {"kernel32.dll", "msi.dll", "msvcrt.dll", "user32.dll", "advapi32.dll",
                                          "shell32.dll",  "shlwapi.dll", "ole32.dll", "oleaut32.dll",
                                          "wininet.dll",  "mpr.dll",     "netapi32.dll", "ntdll.dll"};
    std::vector<std::string> imported;
    for (; descriptor->Name != 0; ++descriptor) {
        std::string name = image.At(descriptor->Name);
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
        imported.push_back(name);
        EXPECT_TRUE(system.count(name)) << "imports " << name;
    }
    EXPECT_NE(std::find(imported.begin(), imported.end(), "msi.dll"), imported.end());
}
