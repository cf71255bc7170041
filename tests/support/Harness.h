#pragma once
#include <windows.h>
#include <msi.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include "MessageRecorder.h"
#include "TestPackage.h"

namespace tvtest {

// Creates the global atom that switches the diagnostic log on, for the
// lifetime of the object.
class DebugLogSwitch {
public:
    DebugLogSwitch() : mAtom(::GlobalAddAtomW(L"TV_DebugLog")) {}
    ~DebugLogSwitch() { if (mAtom) ::GlobalDeleteAtom(mAtom); }
    DebugLogSwitch(const DebugLogSwitch&) = delete;
    DebugLogSwitch& operator=(const DebugLogSwitch&) = delete;

private:
    ATOM mAtom;
};

// The built custom-action DLL, loaded once per process from the folder of
// the test program.
class TvDll {
public:
    static TvDll& Get();
    HMODULE Module() const { return mModule; }
    // Calls an export by name with a session handle.
    UINT Call(const char* exportName, MSIHANDLE session) const;
    static std::wstring Path();
    // The folder of the DLL and of the test programs, without a final "\".
    static std::wstring Folder();

private:
    TvDll();
    HMODULE mModule = nullptr;
};

// A test with a package to fill and a recorder installed; Open() builds the
// package and opens the session.
class SessionTest : public ::testing::Test {
protected:
    // An installation driven by a test registers its resume; it must not
    // run at the prefix's next start.
    ~SessionTest() override;
    MSIHANDLE Open() { return mSession = mPackage.OpenSession(); }
    std::wstring Property(const std::wstring& name) const;
    void SetProperty(const std::wstring& name, const std::wstring& value) const;
    UINT Call(const char* exportName) const { return TvDll::Get().Call(exportName, mSession); }

    TestPackage mPackage;
    MessageRecorder mMessages;
    MSIHANDLE mSession = 0;
};

// Fills a file under %TEMP% that is removed with the object.
struct TempFile {
    explicit TempFile(const std::wstring& suffix = L".tmp") : path(TestPackage::TempPath(suffix)) {}
    ~TempFile() { ::DeleteFileW(path.c_str()); }
    std::string Read() const;
    std::wstring path;
};

// A folder under %TEMP% that is removed with everything in it, with the
// object.
struct ScratchFolder {
    explicit ScratchFolder(const std::wstring& suffix = L"-scratch");
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    // Makes `relative` below the folder with the folders leading to it: a
    // folder when it ends in "\", else a file holding its own name.
    void Make(const std::wstring& relative) const;
    bool Exists(const std::wstring& relative) const;
    std::wstring path;  // without a final "\"
};

// Removes a folder with everything in it.
void RemoveTree(const std::wstring& folder);

// The bytes of a file; empty when it can't be read.
std::string ReadBytes(const std::wstring& path);

}  // namespace tvtest
