// The command that continues an installation after a restart, and its
// registration.
#include <algorithm>
#include "frame/MsiSession.h"
#include "frame/Session.h"
#include "install/Install.h"
#include "install/PrereqCommand.h"
#include "install/RelaunchProperties.h"
#include "install/ResumeTask.h"

namespace tv {

namespace {

// The feature keys by their action state, as the lists that select them on
// a new command line.
class FeatureLists : public RowCallback {
public:
    explicit FeatureLists(SessionInterface& session) : mSession(session) {}

    bool OnRow(const std::vector<std::wstring>& cells) override {
        INSTALLSTATE installed, action;
        if (!mSession.GetFeatureState(cells[0], installed, action)) return true;
        if (action < INSTALLSTATE_ADVERTISED || action > INSTALLSTATE_DEFAULT) return true;
        std::wstring& list = mLists[action - INSTALLSTATE_ADVERTISED];
        if (!list.empty()) list += L',';
        list += cells[0];
        return true;
    }

    // "ADDLOCAL=a,b REMOVE=c " and so on, each list that holds a key.
    std::wstring Arguments() const {
        static const std::pair<INSTALLSTATE, const wchar_t*> order[] = {
            {INSTALLSTATE_LOCAL, L"ADDLOCAL"}, {INSTALLSTATE_ABSENT, L"REMOVE"},
            {INSTALLSTATE_ADVERTISED, L"ADVERTISE"}, {INSTALLSTATE_SOURCE, L"ADDSOURCE"},
            {INSTALLSTATE_DEFAULT, L"ADDDEFAULT"}};
        std::wstring text;
        for (const auto& [state, property] : order) {
            const std::wstring& list = mLists[state - INSTALLSTATE_ADVERTISED];
            if (!list.empty()) text += std::wstring(property) + L"=" + list + L" ";
        }
        return text;
    }

private:
    SessionInterface& mSession;
    std::wstring mLists[5];  // advertised, absent, local, source, default
};

}  // namespace

void Install::PrepareResume() {
    MsiTableReader reader(mSession);
    MsiSession session(mSession, reader);
    std::wstring application, packageArgument = L"\"" + GetProperty(mSession, L"OriginalDatabase") + L"\"";
    std::wstring arguments;
    const std::wstring setupPath = GetProperty(mSession, L"TV_SETUPEXEPATH");
    const std::wstring setupFolder = GetProperty(mSession, L"SETUPEXEDIR");
    if (!setupPath.empty()) {
        application = L"\"" + setupPath + L"\"";
        packageArgument.clear();
        arguments += GetProperty(mSession, L"RESTART_EXE_CMD_LINE") + L" ";
    } else {
        application = GetMsiexecPath();
        if (session.IsInstalled()) packageArgument = GetProperty(mSession, L"ProductCode");
    }
    if (!packageArgument.empty()) arguments += L"/i " + packageArgument + L" ";
    if (!setupPath.empty()) {
        // An earlier registration under the setup's own name would start it twice.
        std::wstring name = setupPath;
        std::replace_if(name.begin(), name.end(), [](wchar_t c) { return std::wcschr(L"\\/:*?\"<>|", c); }, L'_');
        if (!RemoveResumeTask(name)) RemoveResumeRunOnce(name, L"");
        arguments += L"TV_SETUPEXEPATH=\"" + setupPath + L"\" ";
        arguments += L"SETUPEXEDIR=\"" + setupFolder + L"\" ";
        arguments += L"TV_BOOTSTRAPPER_RESUME=1 ";
    }
    FeatureLists features(session);
    const wchar_t* const featureColumns[] = {L"Feature", nullptr};
    session.ReadTable(L"Feature", featureColumns, nullptr, nullptr, features);
    arguments += features.Arguments();
    if (!setupPath.empty()) {
        RelaunchPropertyCollector collector;
        collector.session = &session;
        std::vector<std::wstring> collected = collector.Collect();
        // The new process makes its own list of what is missing.
        std::erase_if(collected, [](const std::wstring& argument) {
            return argument.starts_with(L"TV_MISSING_PREREQS");
        });
        arguments += JoinQuoted(collected);
    }
    RegisterResume(application, arguments);
}

void Install::RegisterResume(const std::wstring& application, const std::wstring& arguments) {
    const std::wstring productCode = GetProperty(mSession, L"ProductCode");
    const std::wstring manufacturer = GetProperty(mSession, L"Manufacturer");
    const std::wstring account = FormatText(mSession, L"[%UserDomain]\\[LogonUser]");
    const bool elevated = GetProperty(mSession, L"TV_EXECUTION_LEVEL") == L"2";
    RegisterResumeTask(productCode, application, arguments, account, manufacturer, elevated);
}

}  // namespace tv
