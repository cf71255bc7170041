#include "Harness.h"
#include <msiquery.h>
#include <cstdio>
#include <stdexcept>
#include "install/ResumeTask.h"

namespace tvtest {

std::wstring TvDll::Path() {
    wchar_t exe[MAX_PATH];
    DWORD n = ::GetModuleFileNameW(nullptr, exe, MAX_PATH);
    std::wstring folder(exe, n);
    folder.resize(folder.find_last_of(L"\\/") + 1);
    return folder + L"tvprereq.dll";
}

std::wstring TvDll::Folder() {
    const std::wstring dll = Path();
    return dll.substr(0, dll.find_last_of(L'\\'));
}

TvDll::TvDll() : mModule(::LoadLibraryW(Path().c_str())) {
    if (!mModule) throw std::runtime_error("cannot load tvprereq.dll");
}

TvDll& TvDll::Get() {
    static TvDll dll;
    return dll;
}

UINT TvDll::Call(const char* exportName, MSIHANDLE session) const {
    using Entry = UINT(__stdcall*)(MSIHANDLE);
    auto entry = reinterpret_cast<Entry>(::GetProcAddress(mModule, exportName));
    if (!entry) throw std::runtime_error(std::string("no export ") + exportName);
    return entry(session);
}

SessionTest::~SessionTest() {
    if (!mSession) return;
    const std::wstring productCode = Property(L"ProductCode"), manufacturer = Property(L"Manufacturer");
    if (!tv::RemoveResumeTask(productCode)) tv::RemoveResumeRunOnce(productCode, manufacturer);
}

std::wstring SessionTest::Property(const std::wstring& name) const {
    DWORD size = 0;
    wchar_t empty[1] = {0};
    if (::MsiGetPropertyW(mSession, name.c_str(), empty, &size) != ERROR_MORE_DATA) return {};
    std::wstring value(++size, L'\0');
    ::MsiGetPropertyW(mSession, name.c_str(), value.data(), &size);
    value.resize(size);
    return value;
}

void SessionTest::SetProperty(const std::wstring& name, const std::wstring& value) const {
    ::MsiSetPropertyW(mSession, name.c_str(), value.c_str());
}

std::string TempFile::Read() const {
    // A wide path: the temporary folder may hold characters outside the
    // ANSI code page.
    std::string bytes;
    if (FILE* file = ::_wfopen(path.c_str(), L"rb")) {
        char buffer[65536];
        for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, file)) > 0;) bytes.append(buffer, n);
        std::fclose(file);
    }
    return bytes;
}

}  // namespace tvtest
