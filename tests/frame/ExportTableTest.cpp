// Windows fails a custom action whose export is missing (Wine only warns),
// and a DLL that needs mingw's runtime DLLs fails to load on a clean machine:
// both are read from the built DLL's own image.
#include <cctype>
#include <set>
#include "Harness.h"

using namespace tvtest;

namespace {

// The loaded image of the DLL at a relative virtual address.
template <class T = char>
const T* Image(DWORD rva) {
    return reinterpret_cast<const T*>(reinterpret_cast<const char*>(TvDll::Get().Module()) + rva);
}

const IMAGE_NT_HEADERS32* Headers() { return Image<IMAGE_NT_HEADERS32>(Image<IMAGE_DOS_HEADER>(0)->e_lfanew); }

DWORD Directory(int index) { return Headers()->OptionalHeader.DataDirectory[index].VirtualAddress; }

}  // namespace

TEST(ExportTable, ExportsExactlyTheThirteenEntryPointsUndecorated) {
    ASSERT_EQ(Headers()->FileHeader.Machine, IMAGE_FILE_MACHINE_I386);
    ASSERT_NE(Directory(IMAGE_DIRECTORY_ENTRY_EXPORT), 0u);
    const auto* exports = Image<IMAGE_EXPORT_DIRECTORY>(Directory(IMAGE_DIRECTORY_ENTRY_EXPORT));
    std::set<std::string> found;
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) found.insert(Image(Image<DWORD>(exports->AddressOfNames)[i]));
    EXPECT_EQ(found, (std::set<std::string>{
                         "DoAppSearchEx", "InstallPrePrereq", "VerifyPrePrereq", "DownloadPrereq", "ExtractPrereq",
                         "InstallPrereq", "VerifyPrereq", "InstallPostPrereq", "RollbackPrePrereq", "RollbackPrereq",
                         "CleanPrereq", "ConfigurePrereqLauncher", "ExtractSourceFiles"}));
    EXPECT_EQ(exports->NumberOfFunctions, 13u);
}

TEST(ExportTable, ImportsOnlySystemLibraries) {
    ASSERT_NE(Directory(IMAGE_DIRECTORY_ENTRY_IMPORT), 0u);
    const std::set<std::string> system = {"kernel32.dll", "msi.dll",     "msvcrt.dll", "user32.dll",   "advapi32.dll",
                                          "shell32.dll",  "shlwapi.dll", "ole32.dll",  "oleaut32.dll", "wininet.dll",
                                          "mpr.dll",      "netapi32.dll", "ntdll.dll",  "version.dll"};
    std::set<std::string> imported;
    for (auto d = Image<IMAGE_IMPORT_DESCRIPTOR>(Directory(IMAGE_DIRECTORY_ENTRY_IMPORT)); d->Name != 0; ++d) {
        std::string name = Image(d->Name);
        for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        imported.insert(name);
        EXPECT_TRUE(system.count(name)) << "imports " << name;
    }
    EXPECT_TRUE(imported.count("msi.dll"));
}
