#include "platform/FolderVariables.h"
#include <windows.h>
#include <shlobj.h>
#include <knownfolders.h>
#include <mutex>
#include <unordered_map>
#include <vector>
#include "platform/CoTaskMemory.h"
#include "platform/Files.h"
#include "platform/RegKeyHandle.h"
#include "platform/RegistryText.h"

namespace tv {

std::wstring gSetupExeDirValue;

namespace {

using KnownFolderTable = std::unordered_map<std::wstring, const KNOWNFOLDERID*>;

const KnownFolderTable& KnownFolders() {
    static const KnownFolderTable table = {
        {L"AdminToolsFolder", &FOLDERID_AdminTools},
        {L"AppDataFolder", &FOLDERID_RoamingAppData},
        {L"CommonAppDataFolder", &FOLDERID_ProgramData},
        {L"CommonFiles64Folder", &FOLDERID_ProgramFilesCommon},
        {L"CommonFilesFolder", &FOLDERID_ProgramFilesCommon},
        {L"DesktopFolder", &FOLDERID_Desktop},
        {L"FavoritesFolder", &FOLDERID_Favorites},
        {L"FontsFolder", &FOLDERID_Fonts},
        {L"LocalAppDataFolder", &FOLDERID_LocalAppData},
        {L"MyPicturesFolder", &FOLDERID_Pictures},
        {L"NetHoodFolder", &FOLDERID_NetHood},
        {L"PersonalFolder", &FOLDERID_Documents},
        {L"PrintHoodFolder", &FOLDERID_PrintHood},
        {L"ProgramFiles64Folder", &FOLDERID_ProgramFiles},
        {L"ProgramFilesFolder", &FOLDERID_ProgramFiles},
        {L"ProgramMenuFolder", &FOLDERID_Programs},
        {L"RecentFolder", &FOLDERID_Recent},
        {L"SendToFolder", &FOLDERID_SendTo},
        {L"StartMenuFolder", &FOLDERID_StartMenu},
        {L"System16Folder", &FOLDERID_SystemX86},
        {L"System64Folder", &FOLDERID_System},
        {L"StartupFolder", &FOLDERID_Startup},
        {L"TemplateFolder", &FOLDERID_Templates},
        {L"AllUsersDesktopFolder", &FOLDERID_PublicDesktop},
        {L"ProgramFiles", &FOLDERID_ProgramFiles},
    };
    return table;
}

bool KnownFolderPath(const KNOWNFOLDERID& id, std::wstring& value) {
    CoTaskMemory<wchar_t> path;
    if (FAILED(::SHGetKnownFolderPath(id, 0, nullptr, path.Put())) || !path) return false;
    value = AddBackslash(path.Get());
    return true;
}

template <class Call>
std::wstring SystemFolderText(Call&& call) {
    wchar_t buffer[MAX_PATH + 1] = {};
    const UINT length = call(buffer, MAX_PATH + 1);
    if (length == 0 || length > MAX_PATH) return {};
    return buffer;
}

std::wstring HostProcessFolder() {
    wchar_t buffer[MAX_PATH] = {};
    const DWORD length = ::GetModuleFileNameW(nullptr, buffer, MAX_PATH);
    std::wstring path(buffer, length < MAX_PATH ? length : MAX_PATH);
    const size_t slash = path.rfind(L'\\');
    return slash == std::wstring::npos ? path : path.substr(0, slash + 1);
}

std::wstring EnvironmentText(const std::wstring& name) {
    const DWORD size = ::GetEnvironmentVariableW(name.c_str(), nullptr, 0);
    if (size == 0) return {};
    std::vector<wchar_t> buffer(size + 1);
    const DWORD length = ::GetEnvironmentVariableW(name.c_str(), buffer.data(), size + 1);
    return length == 0 || length > size ? std::wstring() : std::wstring(buffer.data(), length);
}

}  // namespace

bool ResolveFolder(const std::wstring& name, bool is64, std::wstring& value) {
    if (name == L"ProgramFiles64Folder") {
        const std::wstring native = EnvironmentText(L"ProgramW6432");
        if (!native.empty()) {
            value = AddBackslash(native);
            return true;
        }
    } else if (name == L"SystemFolder") {
        return KnownFolderPath(is64 ? FOLDERID_System : FOLDERID_SystemX86, value);
    } else if (name == L"System32Folder") {
        value = AddBackslash(SystemFolderText(::GetSystemDirectoryW));
        return !value.empty();
    } else if (name == L"WindowsFolder") {
        value = AddBackslash(SystemFolderText(::GetWindowsDirectoryW));
        return !value.empty();
    } else if (name == L"WindowsVolume") {
        value = SystemFolderText(::GetWindowsDirectoryW).substr(0, 3);
        return !value.empty();
    } else if (name == L"TempFolder") {
        value = AddBackslash(ToLongPath(GetTempFolders().workTemp));
        return true;
    } else if (name == L"SETUPEXEDIR") {
        if (gSetupExeDirValue.empty()) gSetupExeDirValue = HostProcessFolder();
        value = gSetupExeDirValue;
        return true;
    }
    const KnownFolderTable& table = KnownFolders();
    const auto entry = table.find(name);
    return entry != table.end() && KnownFolderPath(*entry->second, value);
}

std::wstring ReadRegistryPathText(const std::wstring& path, bool is64) {
    const HKEY root = RootFromPath(path);
    if (!root) return {};
    const size_t first = path.find(L'\\');
    const size_t last = path.rfind(L'\\');
    const std::wstring subKey = last > first ? path.substr(first + 1, last - first - 1) : std::wstring();
    const std::wstring name = path.substr(last + 1);
    RegKeyHandle key;
    const REGSAM access = KEY_QUERY_VALUE | (is64 ? KEY_WOW64_64KEY : 0);
    if (::RegOpenKeyExW(root, subKey.c_str(), 0, access, key.Put()) != ERROR_SUCCESS) return {};
    std::wstring text;
    ReadValueText(key.Get(), name, text);
    return text;
}

std::wstring ExpandFolderVariables(const std::wstring& text, bool is64) {
    std::wstring result;
    size_t position = 0;
    while (true) {
        const size_t opener = text.find_first_of(L"[%!", position);
        if (opener == std::wstring::npos) break;
        result.append(text, position, opener - position);
        position = opener;
        const wchar_t open = text[opener];
        const wchar_t close = open == L'[' ? L']' : open;
        // "%%" names the empty variable; a "!" path takes at least one character.
        const size_t from = opener + (open == L'[' ? 0 : open == L'%' ? 1 : 2);
        if (from > text.size()) break;
        const size_t closer = text.find(close, from);
        if (closer == std::wstring::npos) break;
        const std::wstring name = text.substr(opener + 1, closer - opener - 1);
        if (open == L'[') {
            std::wstring value;
            if (ResolveFolder(name, is64, value))
                result += value;
            else
                result.append(text, opener, closer - opener + 1);
        } else if (open == L'%') {
            result += EnvironmentText(name);
        } else {
            result += ReadRegistryPathText(name, is64);
        }
        position = closer + 1;
    }
    result.append(text, position, std::wstring::npos);
    return result;
}

}  // namespace tv
