#include "install/RelaunchProperties.h"
#include <winnetwk.h>
#include <cwctype>
#include "frame/DebugLog.h"

namespace tv {

namespace {

// Installer properties and the library's own, in the order they are judged.
const wchar_t* const kSessionProperties[] = {
    L"ADDDEFAULT", L"ADDLOCAL", L"ADDSOURCE", L"ADVERTISE", L"COMPADDLOCAL", L"COMPADDSOURCE",
    L"COMPADDDEFAULT", L"FILEADDLOCAL", L"FILEADDSOURCE", L"PATCH", L"REINSTALL", L"REINSTALLMODE", L"REMOVE",
    L"ACTION", L"ALLUSERS", L"ARPAUTHORIZEDCDFPREFIX", L"ARPCOMMENTS", L"ARPCONTACT", L"ARPHELPLINK",
    L"ARPNOMODIFY", L"ARPNOREMOVE", L"ARPNOREPAIR", L"ARPPRODUCTICON", L"ARPREADME", L"ARPSIZE",
    L"ARPSYSTEMCOMPONENT", L"ARPURLINFOABOUT", L"ARPURLUPDATEINFO", L"AVAILABLEFREEREG", L"CCP_DRIVE",
    L"DefaultUIFont", L"DISABLEADVTSHORTCUTS", L"DISABLEMEDIA", L"DISABLEROLLBACK", L"EXECUTEACTION",
    L"EXECUTEMODE", L"FASTOEM", L"INSTALLLEVEL", L"LIMITUI", L"LOGACTION", L"MEDIAPACKAGEPATH",
    L"MSINODISABLEMEDIA", L"PRIMARYFOLDER", L"PROMPTROLLBACKCOST", L"REBOOT", L"REBOOTPROMPT", L"ROOTDRIVE",
    L"SEQUENCE", L"SHORTFILENAMES", L"TRANSFORMS", L"TRANSFORMSATSOURCE", L"TRANSFORMSSECURE",
    L"TV_EXTRACT_DIR", L"TV_PREREQFILES", L"TV_PREREQDIRS", L"TV_PREREQS_DIR", L"TV_LOGFILELOCATION",
    L"TV_TEMP_FILE_ROLLBACK_INFO", L"TVTEMPFILESEXTRACTED", L"TVTEMPFILESREMOVED", L"MSIINSTALLPERUSER",
    L"TV_INSTALL_MODE", L"TV_MISSING_PREREQS", L"TV_FOUND_PREREQS", L"TV_BOOTSTRAPPER",
    L"TV_SKIPBOOTSTRAPPERLANG", L"TV_FREE_DISK_SPACE", L"TV_ROLLBACK_PREREQS",
};

// What the searches of the setup executable found.
const wchar_t* const kDetectionResults[] = {
    L"TV_DETECTED_DOTNET_CORE_VERSION", L"TV_DETECTED_DOTNET_CORE32_VERSION",
    L"TV_DETECTED_DOTNET_CORE64_VERSION", L"TV_DETECTED_DOTNET_VERSION", L"TV_DETECTED_SQLCOMPACT_VERSION",
    L"TV_DETECTED_SQLCOMPACT35_VERSION", L"TV_DETECTED_SQLCOMPACT40_VERSION",
    L"TV_DETECTED_SQLEXPRESS_VERSION", L"TV_DETECTED_SQLEXPRESS2005_VERSION",
    L"TV_DETECTED_SQLEXPRESS2008_VERSION", L"TV_DETECTED_SQLEXPRESS2008R2_VERSION",
    L"TV_DETECTED_SQLEXPRESS2012_VERSION", L"TV_DETECTED_SQLEXPRESS2014_VERSION",
    L"TV_DETECTED_SQLSERVER_ODBCDRIVER_VERSION", L"TV_DETECTED_SQLSERVER_ODBCDRIVER9_VERSION",
    L"TV_DETECTED_SQLSERVER_ODBCDRIVER11_VERSION", L"TV_DETECTED_SQLSERVER_ODBCDRIVER13_VERSION",
    L"TV_DETECTED_SQLSERVER_ODBCDRIVER17_VERSION", L"TV_DETECTED_ADOBEREADER_VERSION",
    L"TV_DETECTED_JDK_VERSION", L"TV_DETECTED_JDK32_VERSION", L"TV_DETECTED_JDK64_VERSION",
    L"TV_DETECTED_JRE_VERSION", L"TV_DETECTED_JRE32_VERSION", L"TV_DETECTED_JRE64_VERSION",
    L"TV_DETECTED_IE_VERSION", L"TV_DETECTED_DIRECTX_VERSION", L"TV_DETECTED_XNA_VERSION",
    L"TV_DETECTED_OFFICE_ACCESS_VERSION", L"TV_DETECTED_OFFICE_ACCESS32_VERSION",
    L"TV_DETECTED_OFFICE_ACCESS64_VERSION", L"TV_DETECTED_OFFICE_EXCEL_VERSION",
    L"TV_DETECTED_OFFICE_EXCEL32_VERSION", L"TV_DETECTED_OFFICE_EXCEL64_VERSION",
    L"TV_DETECTED_OFFICE_GROOVE_VERSION", L"TV_DETECTED_OFFICE_GROOVE32_VERSION",
    L"TV_DETECTED_OFFICE_GROOVE64_VERSION", L"TV_DETECTED_OFFICE_INFOPATH_VERSION",
    L"TV_DETECTED_OFFICE_INFOPATH32_VERSION", L"TV_DETECTED_OFFICE_INFOPATH64_VERSION",
    L"TV_DETECTED_OFFICE_LYNC_VERSION", L"TV_DETECTED_OFFICE_LYNC32_VERSION",
    L"TV_DETECTED_OFFICE_LYNC64_VERSION", L"TV_DETECTED_OFFICE_ONENOTE_VERSION",
    L"TV_DETECTED_OFFICE_ONENOTE32_VERSION", L"TV_DETECTED_OFFICE_ONENOTE64_VERSION",
    L"TV_DETECTED_OFFICE_OUTLOOK_VERSION", L"TV_DETECTED_OFFICE_OUTLOOK32_VERSION",
    L"TV_DETECTED_OFFICE_OUTLOOK64_VERSION", L"TV_DETECTED_OFFICE_POWERPOINT_VERSION",
    L"TV_DETECTED_OFFICE_POWERPOINT32_VERSION", L"TV_DETECTED_OFFICE_POWERPOINT64_VERSION",
    L"TV_DETECTED_OFFICE_PUBLISHER_VERSION", L"TV_DETECTED_OFFICE_PUBLISHER32_VERSION",
    L"TV_DETECTED_OFFICE_PUBLISHER64_VERSION", L"TV_DETECTED_OFFICE_SHAREPOINT_VERSION",
    L"TV_DETECTED_OFFICE_SHAREPOINT32_VERSION", L"TV_DETECTED_OFFICE_SHAREPOINT64_VERSION",
    L"TV_DETECTED_OFFICE_SKYDRIVEPRO_VERSION", L"TV_DETECTED_OFFICE_SKYDRIVEPRO32_VERSION",
    L"TV_DETECTED_OFFICE_SKYDRIVEPRO64_VERSION", L"TV_DETECTED_OFFICE_VISIO_VERSION",
    L"TV_DETECTED_OFFICE_VISIO32_VERSION", L"TV_DETECTED_OFFICE_VISIO64_VERSION",
    L"TV_DETECTED_OFFICE_WORD_VERSION", L"TV_DETECTED_OFFICE_WORD32_VERSION",
    L"TV_DETECTED_OFFICE_WORD64_VERSION", L"TV_DETECTED_OFFICE_EXCEL_PIA_VERSION",
    L"TV_DETECTED_OFFICE_INFOPATH_PIA_VERSION", L"TV_DETECTED_OFFICE_MSFORMS_PIA_VERSION",
    L"TV_DETECTED_OFFICE_MSGRAPH_PIA_VERSION", L"TV_DETECTED_OFFICE_MSPROJECT_PIA_VERSION",
    L"TV_DETECTED_OFFICE_OUTLOOK_PIA_VERSION", L"TV_DETECTED_OFFICE_POWERPOINT_PIA_VERSION",
    L"TV_DETECTED_OFFICE_SHARED_PIA_VERSION", L"TV_DETECTED_OFFICE_SMARTTAG_PIA_VERSION",
    L"TV_DETECTED_OFFICE_VISIO_PIA_VERSION", L"TV_DETECTED_OFFICE_WORD_PIA_VERSION",
    L"TV_DETECTED_OFFICE_EXCEL2003_PIA_VERSION", L"TV_DETECTED_OFFICE_INFOPATH2003_PIA_VERSION",
    L"TV_DETECTED_OFFICE_MSFORMS2003_PIA_VERSION", L"TV_DETECTED_OFFICE_MSGRAPH2003_PIA_VERSION",
    L"TV_DETECTED_OFFICE_OUTLOOK2003_PIA_VERSION", L"TV_DETECTED_OFFICE_POWERPOINT2003_PIA_VERSION",
    L"TV_DETECTED_OFFICE_SMARTTAG2003_PIA_VERSION", L"TV_DETECTED_OFFICE_VISIO2003_PIA_VERSION",
    L"TV_DETECTED_OFFICE_WORD2003_PIA_VERSION", L"TV_DETECTED_OFFICE_EXCEL2007_PIA_VERSION",
    L"TV_DETECTED_OFFICE_INFOPATH2007_PIA_VERSION", L"TV_DETECTED_OFFICE_MSFORMS2007_PIA_VERSION",
    L"TV_DETECTED_OFFICE_MSGRAPH2007_PIA_VERSION", L"TV_DETECTED_OFFICE_MSPROJECT2007_PIA_VERSION",
    L"TV_DETECTED_OFFICE_OUTLOOK2007_PIA_VERSION", L"TV_DETECTED_OFFICE_POWERPOINT2007_PIA_VERSION",
    L"TV_DETECTED_OFFICE_SHARED2007_PIA_VERSION", L"TV_DETECTED_OFFICE_SMARTTAG2007_PIA_VERSION",
    L"TV_DETECTED_OFFICE_VISIO2007_PIA_VERSION", L"TV_DETECTED_OFFICE_WORD2007_PIA_VERSION",
    L"TV_DETECTED_OFFICE_EXCEL2010_PIA_VERSION", L"TV_DETECTED_OFFICE_INFOPATH2010_PIA_VERSION",
    L"TV_DETECTED_OFFICE_MSFORMS2010_PIA_VERSION", L"TV_DETECTED_OFFICE_MSGRAPH2010_PIA_VERSION",
    L"TV_DETECTED_OFFICE_MSPROJECT2010_PIA_VERSION", L"TV_DETECTED_OFFICE_OUTLOOK2010_PIA_VERSION",
    L"TV_DETECTED_OFFICE_POWERPOINT2010_PIA_VERSION", L"TV_DETECTED_OFFICE_SHARED2010_PIA_VERSION",
    L"TV_DETECTED_OFFICE_SMARTTAG2010_PIA_VERSION", L"TV_DETECTED_OFFICE_VISIO2010_PIA_VERSION",
    L"TV_DETECTED_OFFICE_WORD2010_PIA_VERSION", L"TV_DETECTED_VSTO_VERSION", L"TV_DETECTED_IIS_VERSION",
    L"TV_DETECTED_IIS_SERVICE", L"TV_DETECTED_SHAREPOINT_VERSION", L"TV_DETECTED_SHAREPOINT_PERMISSIONS",
    L"TV_DETECTED_SHAREPOINT_SERVICES", L"TV_DETECTED_SHAREPOINT_DEPLOYMENT",
    L"TV_DETECTED_ACTIVESYNC_VERSION", L"TV_DETECTED_WINDOWS_POWERSHELL_VERSION",
    L"TV_DETECTED_POWERSHELL_VERSION", L"TV_DETECTED_POWERSHELL32_VERSION",
    L"TV_DETECTED_POWERSHELL64_VERSION", L"TV_DETECTED_COLOR_QUALITY", L"TV_DETECTED_SCREEN_RESOLUTION_X",
    L"TV_DETECTED_SCREEN_RESOLUTION_Y", L"TV_DETECTED_PHYSICAL_MEMORY", L"TV_DETECTED_GRAPHICS_ADAPTERS",
    L"TV_DETECTED_PRIVILEGED", L"TV_DETECTED_ADMIN_USER", L"TV_DETECTED_PRODUCT_ANTIVIRUS",
    L"TV_DETECTED_INTERNET_CONNECTION", L"TV_DETECTED_WINDOWS_AZURE_VM", L"TV_DETECTED_VIRTUAL_MACHINE",
    L"TV_DETECTED_PENDING_REBOOT", L"TV_DETECTED_MINOR_UPGRADE", L"TV_DETECTED_ALL",
};

// Columns whose values name properties, each with the rows it applies to.
struct NamingColumn {
    const wchar_t* table;
    const wchar_t* column;
    const wchar_t* where;
};
const NamingColumn kNamingColumns[] = {
    {L"AppSearch", L"Property", nullptr},       {L"TV_AppSearchEx", L"Property", nullptr},
    {L"Control", L"Property", nullptr},         {L"TV_TempFile", L"Property", nullptr},
    {L"TV_PreRequisite", L"PrereqKey", nullptr}, {L"TV_PreRequisite", L"RetValPropName", nullptr},
    {L"TV_XmlLocator", L"Property", nullptr},    {L"CustomAction", L"Source", L"`Type` = 51"},
};

// Calls a function for each row of a walk.
template <class F>
class RowFunction : public RowCallback {
public:
    explicit RowFunction(F f) : mF(std::move(f)) {}
    bool OnRow(const std::vector<std::wstring>& cells) override { return mF(cells), true; }

private:
    F mF;
};

std::wstring WithoutTrailingSlash(std::wstring path) {
    if (!path.empty() && (path.back() == L'\\' || path.back() == L'/')) path.pop_back();
    return path;
}

}  // namespace

bool IsPublicProperty(const std::wstring& name) {
    for (wchar_t c : name)
        if (std::iswalpha(c) && !std::iswupper(c)) return false;
    return true;
}

std::wstring UniversalName(const std::wstring& path) {
    alignas(UNIVERSAL_NAME_INFOW) BYTE buffer[1024];
    DWORD size = sizeof(buffer);
    if (::WNetGetUniversalNameW(path.c_str(), UNIVERSAL_NAME_INFO_LEVEL, buffer, &size) != NO_ERROR) return path;
    return reinterpret_cast<UNIVERSAL_NAME_INFOW*>(buffer)->lpUniversalName;
}

const std::vector<std::wstring>& RelaunchPropertyCollector::Collect() {
    ReadDefaults();
    for (const wchar_t* name : kSessionProperties) AddProperty(name);
    for (const wchar_t* name : kDetectionResults) AddProperty(name);
    const std::wstring secure = session->GetProperty(L"SecureCustomProperties");
    for (size_t start = 0; !secure.empty() && start <= secure.size();) {
        const size_t end = std::min(secure.find(L';', start), secure.size());
        AddProperty(secure.substr(start, end - start));
        start = end + 1;
    }
    for (const auto& entry : defaults) AddProperty(entry.first);
    AddMovedDirectories();
    return arguments;
}

void RelaunchPropertyCollector::ReadDefaults() {
    defaults.clear();
    const wchar_t* const propertyColumns[] = {L"Property", L"Value", nullptr};
    RowFunction byRow([this](const std::vector<std::wstring>& cells) {
        if (IsPublicProperty(cells[0])) defaults.emplace(cells[0], cells[1]);
    });
    session->ReadTable(L"Property", propertyColumns, nullptr, nullptr, byRow);
    for (const NamingColumn& naming : kNamingColumns) {
        const wchar_t* const columns[] = {naming.column, nullptr};
        RowFunction named([this](const std::vector<std::wstring>& cells) {
            if (!cells[0].empty() && IsPublicProperty(cells[0])) defaults.emplace(cells[0], L"");
        });
        session->ReadTable(naming.table, columns, nullptr, naming.where, named);
    }
}

void RelaunchPropertyCollector::AddProperty(const std::wstring& name, const std::optional<std::wstring>& given) {
    if (seen.count(name) || !IsPublicProperty(name)) return;
    const std::wstring value = given ? *given : session->GetProperty(name);
    const auto entry = defaults.find(name);
    const std::wstring& standard = entry == defaults.end() ? std::wstring() : entry->second;
    if (value != standard) {
        TV_LOG(L"ADD PROP TO CMD: " << name << L" Value: " << value);
        std::wstring quoted;
        for (wchar_t c : value) quoted += c == L'"' ? std::wstring(L"\"\"") : std::wstring(1, c);
        arguments.push_back(name + L"=\"" + quoted + L"\"");
    }
    seen.insert(name);
}

void RelaunchPropertyCollector::AddMovedDirectories() {
    const wchar_t* const columns[] = {L"Directory", L"Directory_Parent", L"DefaultDir", nullptr};
    RowFunction byRow([this](const std::vector<std::wstring>& cells) {
        const std::wstring &key = cells[0], &parentKey = cells[1], &defaultDir = cells[2];
        if (!IsPublicProperty(key) || parentKey.empty()) return;
        const std::wstring parent = WithoutTrailingSlash(session->GetProperty(parentKey));
        const std::wstring path = WithoutTrailingSlash(session->GetProperty(key));
        const size_t slash = path.find_last_of(L"\\/");
        const std::wstring left = slash == std::wstring::npos ? path : path.substr(0, slash);
        const std::wstring right = slash == std::wstring::npos ? path : path.substr(slash + 1);
        const std::wstring name = defaultDir.substr(0, defaultDir.find(L':'));
        // Where the package puts it: the new process will put it there too.
        if (left == parent && right == name) return;
        AddProperty(key, UniversalName(path));
    });
    session->ReadTable(L"Directory", columns, nullptr, nullptr, byRow);
}

std::wstring JoinQuoted(const std::vector<std::wstring>& arguments) {
    std::wstring joined;
    for (size_t i = 0; i < arguments.size() && !arguments[i].empty(); ++i) {
        const std::wstring& argument = arguments[i];
        const bool quoted = argument.front() == L'"' || argument.back() == L'"';
        if (i) joined += L' ';
        joined += !quoted && argument.find(L' ') != std::wstring::npos ? L"\"" + argument + L"\"" : argument;
    }
    return joined;
}

}  // namespace tv
