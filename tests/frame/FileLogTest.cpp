// The file side of the log: dormant in this library, written by a build that
// raises gLogFile.active.
#include <shlobj.h>
#include "Harness.h"
#include "frame/LogFile.h"

using namespace tvtest;

namespace {

std::wstring LogFolder() {
    wchar_t* folder = nullptr;
    ::SHGetKnownFolderPath(FOLDERID_ProgramData, 0, nullptr, &folder);
    const std::wstring path = std::wstring(folder) + L"\\TARVO_LOGS";
    ::CoTaskMemFree(folder);
    return path;
}

std::wstring ReadWide(const std::wstring& path) {
    TempFile file;
    file.path = path;
    const std::string bytes = file.Read();
    file.path.clear();
    return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / 2);
}

size_t Count(const std::wstring& text, const std::wstring& part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::wstring::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

}  // namespace

TEST(FileLog, BannerOnceAFileOpeningAndStampedLines) {
    EXPECT_EQ(tv::gLogFile.active, 0);  // this library never raises it
    const std::wstring name = NewGuid() + L".log", path = LogFolder() + L"\\" + name;
    {
        tv::LogFile log;
        log.fileName = name;
        log.Write(L"first");
        EXPECT_EQ(log.path, path);
        log.Close();
        log.Write(L"second");  // reopened: appended, a new banner, no second mark
    }
    const std::wstring text = ReadWide(path);
    ::DeleteFileW(path.c_str());
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text[0], 0xFEFF);
    EXPECT_EQ(Count(text, L"\xFEFF"), 1u);
    EXPECT_EQ(Count(text, L"\r\n<< Tarvo (x86) Log >>\r\nOS Version: "), 2u);
    EXPECT_EQ(Count(text, L"\r\nCPU: "), 2u);
    const size_t first = text.find(L"-first\r\n"), second = text.find(L"-second\r\n");
    ASSERT_NE(first, std::wstring::npos);
    ASSERT_NE(second, std::wstring::npos);
    EXPECT_LT(first, second);
    // yyyy-mm-dd hh-mm-ss before the text: hyphens, never colons.
    const std::wstring stamp = text.substr(first - 19, 19);
    EXPECT_EQ(stamp[4], L'-');
    EXPECT_EQ(stamp[10], L' ');
    EXPECT_EQ(stamp.substr(13, 1) + stamp.substr(16, 1), L"--");
}

TEST(FileLog, TheFileLogBuildWritesTheDiagnosticLineAndEndsTheFile) {
    const std::wstring path = LogFolder() + L"\\frame_tests.LOG";
    ::DeleteFileW(path.c_str());
    TestPackage package;
    package.Product({L"F1"});
    MessageRecorder messages;
    const MSIHANDLE session = package.OpenSession();
    {
        DebugLogSwitch logOn;
        const HMODULE dll = ::LoadLibraryW((TvDll::Folder() + L"\\tvprereq_filelog.dll").c_str());
        ASSERT_NE(dll, nullptr);
        using Entry = UINT(__stdcall*)(MSIHANDLE);
        const auto clean = reinterpret_cast<Entry>(::GetProcAddress(dll, "CleanPrereq"));
        ASSERT_NE(clean, nullptr);
        EXPECT_EQ(clean(session), 0u);
        ::FreeLibrary(dll);
    }
    const std::wstring text = ReadWide(path);
    ::DeleteFileW(path.c_str());
    EXPECT_EQ(Count(text, L"<< Tarvo (x86) Log >>"), 1u);
    EXPECT_EQ(Count(text, L"-TV_CleanPrereq: Trying to Remove from Run:" + package.ProductCode() + L"\r\n\r\n"), 1u);
    const std::wstring end = L"=====================End of Log=====================\r\n\r\n";
    ASSERT_GE(text.size(), end.size());
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
}
