#include "platform/Files.h"
#include <shlwapi.h>
#include <string_view>
#include <vector>
#include "frame/DebugLog.h"
#include "platform/AccessList.h"
#include "platform/FindHandle.h"
#include "platform/KernelHandle.h"
#include "platform/SystemErrorText.h"

namespace tv {

namespace {

// Plain arrays: usable from other objects' static initialisation.
const wchar_t kLongPrefix[] = L"\\\\?\\";
const wchar_t kLongUncPrefix[] = L"\\\\?\\UNC\\";
constexpr size_t kLongPrefixLength = 4;
constexpr size_t kLongUncPrefixLength = 8;

bool StartsWith(const std::wstring& text, std::wstring_view prefix) {
    return std::wstring_view(text).substr(0, prefix.size()) == prefix;
}

bool StartsWithTwoBackslashes(const std::wstring& path) {
    return path.size() >= 2 && path[0] == L'\\' && path[1] == L'\\';
}

bool HasDriveColon(const std::wstring& path) {
    return path.size() >= 2 && path[1] == L':';
}

// PathIsUNCW as Windows answers it since Vista: "\\?\C:\x" is no share
// path, "\\?\UNC\srv\x" is. Wine's (like XP's) takes anything that opens
// with two backslashes for one.
bool IsUnc(const std::wstring& path) {
    if (!::PathIsUNCW(path.c_str())) return false;
    return path.size() < 3 || path[2] != L'?' || StartsWith(path, kLongUncPrefix);
}

// The long form of an absolute path whatever its length.
std::wstring WithLongPrefix(const std::wstring& path, bool unc) {
    return unc ? kLongUncPrefix + path.substr(2) : kLongPrefix + path;
}

// Every element between backslashes, empty ones included.
std::vector<std::wstring> SplitAtBackslash(const std::wstring& text) {
    std::vector<std::wstring> parts;
    size_t start = 0;
    for (;;) {
        const size_t end = text.find(L'\\', start);
        parts.push_back(text.substr(start, end - start));
        if (end == std::wstring::npos) return parts;
        start = end + 1;
    }
}

}  // namespace

std::wstring ToLongPath(const std::wstring& path) {
    if (path.size() < 248) return path;
    if (!StartsWithTwoBackslashes(path) && !HasDriveColon(path)) return path;
    if (IsUnc(path)) return StartsWith(path, kLongUncPrefix) ? path : WithLongPrefix(path, true);
    return HasLongPrefix(path) ? path : WithLongPrefix(path, false);
}

std::wstring StripLongPrefix(const std::wstring& path) {
    if (StartsWith(path, kLongUncPrefix)) return L"\\\\" + path.substr(kLongUncPrefixLength);
    if (HasLongPrefix(path)) return path.substr(kLongPrefixLength);
    return path;
}

std::wstring NormalizePath(const std::wstring& path) {
    std::wstring text = StripLongPrefix(path);
    const size_t last = text.find_last_not_of(L'\\');
    if (last == std::wstring::npos) return {};
    text.resize(last + 1);

    std::wstring result;
    size_t i = 0;
    if (StartsWithTwoBackslashes(text)) {
        result = L"\\\\";
        i = 2;
    }
    while (i < text.size() && text[i] == L'\\') ++i;
    // The first character kept is no backslash, so text[i - 1] lies behind it.
    for (; i < text.size(); ++i) {
        if (text[i] == L'\\' && text[i - 1] == L'\\') continue;
        result.push_back(text[i]);
    }
    return result;
}

bool HasLongPrefix(const std::wstring& path) {
    return StartsWith(path, kLongPrefix);
}

std::wstring AddBackslash(const std::wstring& path) {
    if (path.empty() || path.back() == L'\\') return path;
    return path + L'\\';
}

std::wstring ParentFolder(const std::wstring& path) {
    std::wstring text = path;
    if (!text.empty() && text.back() == L'\\') text.pop_back();
    const size_t slash = text.rfind(L'\\');
    if (slash == std::wstring::npos) return path;
    return text.substr(0, slash);
}

std::wstring FileNameOf(const std::wstring& path) {
    const size_t slash = path.rfind(L'\\');
    return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

std::wstring FolderOf(const std::wstring& path) {
    const size_t slash = path.rfind(L'\\');
    return slash == std::wstring::npos ? std::wstring() : path.substr(0, slash);
}

bool IsSameOrBelow(const std::wstring& path, const std::wstring& folder) {
    std::wstring current = path;
    while (current.size() > folder.size()) {
        std::wstring parent = ParentFolder(current);
        if (parent.size() >= current.size()) break;
        current = std::move(parent);
    }
    return ::lstrcmpiW(current.c_str(), folder.c_str()) == 0;
}

std::wstring NearestExistingFolder(const std::wstring& path) {
    std::wstring current = path;
    while (!current.empty()) {
        if (FileExists(current)) return current;
        const size_t cut = current.find_last_of(L"\\/");
        if (cut == std::wstring::npos) break;
        current.resize(cut);
    }
    return {};
}

std::wstring VolumeRootOf(const std::wstring& path) {
    const std::wstring text = StripLongPrefix(path);
    if (!StartsWithTwoBackslashes(text)) return text.substr(0, 3);
    if (text.size() <= 2) return {};
    const size_t serverEnd = text.find(L'\\', 2);
    if (serverEnd == std::wstring::npos) return text;
    const size_t shareEnd = text.find(L'\\', serverEnd + 1);
    if (shareEnd == std::wstring::npos) return text;
    return text.substr(0, shareEnd + 1);
}

bool FileExists(const std::wstring& path) {
    if (path.empty()) return false;
    if (path[0] != L'\\' && path.find(L':') == std::wstring::npos) return false;
    WIN32_FIND_DATAW data;
    FindHandle find(::FindFirstFileW(path.c_str(), &data));
    return static_cast<bool>(find);
}

DWORD FileExistsByFind(const std::wstring& path, FoundFile* found) {
    if (path.empty()) return ERROR_INVALID_PARAMETER;
    if (!StartsWithTwoBackslashes(path) && !HasDriveColon(path)) return ERROR_PATH_NOT_FOUND;
    WIN32_FIND_DATAW data;
    FindHandle find(::FindFirstFileW(ToLongPath(path).c_str(), &data));
    if (!find) return ::GetLastError();
    if (found) {
        found->lastWrite = data.ftLastWriteTime;
        found->size = (static_cast<unsigned long long>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
    }
    return 0;
}

DWORD FileSizeOf(const std::wstring& path) {
    KernelHandle file(::CreateFileW(ToLongPath(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return 0;
    return ::GetFileSize(file.Get(), nullptr);
}

DWORD CreateFolderChain(const std::wstring& path) {
    if (FileExistsByFind(path) == 0) return 0;

    const bool longForm = HasLongPrefix(path);
    const std::wstring text = StripLongPrefix(path);
    const bool network = IsUnc(text);
    const size_t rootEnd = text.find(L'\\', network ? 2 : 0);
    if (rootEnd == std::wstring::npos) return 0;
    std::wstring current = text.substr(0, rootEnd);
    if (longForm) current = WithLongPrefix(current, network);

    const std::vector<std::wstring> elements = SplitAtBackslash(text.substr(rootEnd + 1));
    DWORD error = 0;
    // The last element is the file's name and gets no folder.
    for (size_t i = 0; i + 1 < elements.size(); ++i) {
        std::wstring next = current + L'\\' + elements[i];
        // A chain given in normal form still gets the long form for the call.
        if (!::CreateDirectoryW(ToLongPath(next).c_str(), nullptr)) {
            error = ::GetLastError();
            // A share's own root can't be made and may still be reachable.
            if (error != ERROR_ALREADY_EXISTS && !network) {
                if (i > 0) RemoveDirectoryLong(current);
                break;
            }
        }
        current = std::move(next);
    }
    return error == ERROR_ALREADY_EXISTS ? 0 : error;
}

bool RemoveDirectoryLong(const std::wstring& folder) {
    const std::wstring target = folder.size() < MAX_PATH || HasLongPrefix(folder) ? folder : kLongPrefix + folder;
    if (::RemoveDirectoryW(target.c_str())) return true;
    const DWORD error = ::GetLastError();
    TV_LOG(L"Failed to delete directory: " << folder << L" LastError= " << error << L"-" << SystemErrorText(error));
    return false;
}

std::wstring GetFreeSpace(const std::wstring& path, unsigned long long& bytes) {
    const std::wstring root = VolumeRootOf(path);
    ULARGE_INTEGER freeToCaller{};
    ULARGE_INTEGER total{};
    bytes = ::GetDiskFreeSpaceExW(root.c_str(), &freeToCaller, &total, nullptr) ? freeToCaller.QuadPart : 0;
    return std::to_wstring(static_cast<long long>(bytes / 1024));
}

namespace {

using GetTempPathFunction = DWORD(WINAPI*)(DWORD, LPWSTR);

std::wstring TempPathBy(GetTempPathFunction get) {
    wchar_t buffer[MAX_PATH];
    const DWORD length = get(MAX_PATH, buffer);
    if (length == 0 || length >= MAX_PATH) return {};
    return std::wstring(buffer, length);
}

// LocalSystem's own temporary folder. Made here when missing, with access
// for LocalSystem and Administrators only, since other accounts must not
// plant files that such a process then runs.
std::wstring SystemTempFolder() {
    std::wstring folder;
    // GetTempPath2W is missing before Windows 11 and recent updates of 10.
    HMODULE kernel = ::GetModuleHandleW(L"kernel32.dll");
    auto getTempPath2 =
        kernel ? reinterpret_cast<GetTempPathFunction>(::GetProcAddress(kernel, "GetTempPath2W")) : nullptr;
    if (getTempPath2) {
        folder = TempPathBy(getTempPath2);
    } else {
        wchar_t windows[MAX_PATH];
        const UINT length = ::GetWindowsDirectoryW(windows, MAX_PATH);
        if (length > 0 && length < MAX_PATH) folder = std::wstring(windows, length) + L"\\SystemTemp\\";
    }
    if (!folder.empty() && !::PathFileExistsW(folder.c_str())) {
        AccessListBuilder access;
        access.Add(L"S-1-5-18", GENERIC_ALL, true);
        access.Add(L"S-1-5-32-544", GENERIC_ALL, true);
        if (PSECURITY_DESCRIPTOR descriptor = access.Build()) {
            SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor, FALSE};
            ::CreateDirectoryW(folder.c_str(), &attributes);
        }
    }
    return folder;
}

TempFolders BuildTempFolders() {
    TempFolders folders;
    const std::wstring userTemp = TempPathBy(::GetTempPathW);
    folders.systemTemp = NormalizePath(IsLocalSystem() ? SystemTempFolder() : userTemp);
    folders.userTemp = NormalizePath(userTemp);
    folders.workTemp = folders.systemTemp;
    return folders;
}

}  // namespace

const TempFolders& GetTempFolders() {
    static const TempFolders folders = BuildTempFolders();
    return folders;
}

}  // namespace tv
