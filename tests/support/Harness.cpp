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

std::string TempFile::Read() const { return ReadBytes(path); }

std::string ReadBytes(const std::wstring& path) {
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

void RemoveTree(const std::wstring& folder) {
    WIN32_FIND_DATAW data;
    HANDLE find = ::FindFirstFileW((folder + L"\\*").c_str(), &data);
    if (find != INVALID_HANDLE_VALUE) {
        do {
            const std::wstring name = data.cFileName;
            if (name == L"." || name == L"..") continue;
            const std::wstring child = folder + L"\\" + name;
            if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) RemoveTree(child);
            else ::DeleteFileW(child.c_str());
        } while (::FindNextFileW(find, &data));
        ::FindClose(find);
    }
    ::RemoveDirectoryW(folder.c_str());
}


ScratchFolder::ScratchFolder(const std::wstring& suffix) : path(TestPackage::TempPath(suffix)) {
    ::CreateDirectoryW(path.c_str(), nullptr);
}

ScratchFolder::~ScratchFolder() { RemoveTree(path); }

void ScratchFolder::Make(const std::wstring& relative) const {
    std::wstring current = path;
    size_t start = 0;
    for (size_t slash; (slash = relative.find(L'\\', start)) != std::wstring::npos; start = slash + 1) {
        current += L"\\" + relative.substr(start, slash - start);
        ::CreateDirectoryW(current.c_str(), nullptr);
    }
    if (start == relative.size()) return;
    const std::string content = Narrow(relative);
    if (FILE* file = ::_wfopen((path + L"\\" + relative).c_str(), L"wb")) {
        std::fwrite(content.data(), 1, content.size(), file);
        std::fclose(file);
    }
}

bool ScratchFolder::Exists(const std::wstring& relative) const {
    return ::GetFileAttributesW((path + L"\\" + relative).c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace tvtest
