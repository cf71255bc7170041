#include "prereq/PrereqLocation.h"
#include <msiquery.h>
#include <shlobj.h>
#include <shlwapi.h>
#include "frame/Session.h"
#include "platform/AccessList.h"
#include "platform/CoTaskMemory.h"
#include "platform/Files.h"

namespace tv {

namespace {

constexpr wchar_t kDefaultPrereqsDir[] = L"[TempFolder][ProductCode]";
constexpr wchar_t kSystemPrereqsDir[] = L"[WindowsVolume][Manufacturer]\\[ProductName]\\prerequisites\\";
constexpr size_t kMaxFilePath = 259;
constexpr size_t kShortNameLimit = 30;

std::wstring ProfileFolder() {
    CoTaskMemory<wchar_t> path;
    if (FAILED(::SHGetKnownFolderPath(FOLDERID_Profile, 0, nullptr, path.Put())) || !path) return {};
    return path.Get();
}

}  // namespace

bool HasEmbeddedFilesLocation(MSIHANDLE session) {
    return !GetProperty(session, L"TV_EMBEDDED_FILES_LOCATION").empty();
}

std::wstring ChoosePrereqsDir(MSIHANDLE session, const std::wstring& folder, bool localSystem,
                              const std::wstring& profile) {
    if (!localSystem) return folder;
    // A failed profile lookup leaves no way to tell: take the safe folder.
    if (!profile.empty() && !IsSameOrBelow(NormalizePath(folder), NormalizePath(profile))) return folder;
    return FormatText(session, kSystemPrereqsDir);
}

std::wstring GetPrereqsDir(MSIHANDLE session) {
    std::wstring folder = GetProperty(session, L"TV_PREREQS_DIR");
    if (folder.empty()) folder = kDefaultPrereqsDir;
    folder = FormatText(session, folder);
    const std::wstring profile = ProfileFolder();
    return ChoosePrereqsDir(session, folder, IsLocalSystem(), profile);
}

std::wstring GetPrereqFilePath(MSIHANDLE session, const Prerequisite& row) {
    const int location = CellInt(row, L"Location");
    if (location == 0) {
        std::wstring folder;
        if (HasEmbeddedFilesLocation(session)) {
            folder = GetPrereqsDir(session);
        } else {
            folder = GetProperty(session, L"TV_SETUPEXEPATH");
            if (folder.empty()) folder = GetProperty(session, L"SourceDir");
            const size_t slash = folder.rfind(L'\\');
            if (slash != std::wstring::npos) folder.resize(slash);
        }
        return AddBackslash(folder) + Cell(row, L"TargetName");
    }
    if (location != 1) return {};

    const std::wstring url = FormatText(session, Cell(row, L"SetupFileUrl"));
    const std::wstring local = UrlToLocalPath(url);
    if (!local.empty() && !::PathIsUNCW(local.c_str())) return local;

    std::wstring path = AddBackslash(GetPrereqsDir(session));
    auto [folder, file] = SplitTargetName(row);
    if (folder.empty()) folder = Cell(row, L"PrereqKey");
    if (!folder.empty()) path += folder + L"\\";
    // Unsigned on purpose: a path already past the limit gives a huge limit,
    // and the name is then kept whole.
    if (file.empty()) file = FileNameFromUrl(url, kMaxFilePath - path.size());
    return path + file;
}

std::wstring GetPrereqShortName(MSIHANDLE session, const Prerequisite& row) {
    if (CellInt(row, L"Location") == 1)
        return FileNameFromUrl(FormatText(session, Cell(row, L"SetupFileUrl")), kShortNameLimit);
    return Cell(row, L"TargetName");
}

std::wstring FileNameFromUrl(const std::wstring& url, size_t limit) {
    const size_t last = url.find_last_of(L"\\/:*?\"<>|");
    std::wstring name = last == std::wstring::npos ? url : url.substr(last + 1);
    if (name.size() > limit) name.erase(0, name.size() - limit);
    return name;
}

std::pair<std::wstring, std::wstring> SplitTargetName(const Prerequisite& row) {
    const std::wstring& cell = Cell(row, L"TargetName");
    const size_t mark = cell.find(L'?');
    if (mark == std::wstring::npos) return {cell, std::wstring()};
    return {cell.substr(0, mark), cell.substr(mark + 1)};
}

std::wstring GetFilePrefix(const std::wstring& url) {
    for (const wchar_t* prefix : {L"file:///", L"file://"}) {
        const size_t length = std::wcslen(prefix);
        if (url.size() >= length && ::CompareStringOrdinal(url.c_str(), static_cast<int>(length), prefix,
                                                           static_cast<int>(length), TRUE) == CSTR_EQUAL)
            return url.substr(0, length);
    }
    return {};
}

std::wstring UrlToLocalPath(const std::wstring& url) {
    const std::wstring prefix = GetFilePrefix(url);
    if (prefix.empty()) return {};
    std::wstring path = url.substr(prefix.size());
    for (wchar_t& c : path)
        if (c == L'/') c = L'\\';
    return path;
}

void AddPrereqFile(MSIHANDLE session, const std::wstring& path) {
    std::wstring files = GetProperty(session, L"TV_PREREQFILES");
    if (!files.empty()) files += L'\x0001';
    files += path;
    ::MsiSetPropertyW(session, L"TV_PREREQFILES", files.c_str());
}

}  // namespace tv
