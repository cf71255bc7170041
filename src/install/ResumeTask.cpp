#include "install/ResumeTask.h"
#include <lm.h>
#include <sddl.h>
#include <taskschd.h>
#include <cwchar>
#include <vector>
#include "frame/DebugLog.h"
#include "install/PrereqCommand.h"
#include "platform/AccessList.h"
#include "platform/ComPointer.h"
#include "platform/LocalMemory.h"
#include "platform/RegistryKey.h"

namespace tv {

const wchar_t* const gRunOnceKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\RunOnce";

namespace {

const CLSID kTaskSchedulerClass = {0x0F87369F, 0xA4E5, 0x4CFC, {0xBD, 0x3E, 0x73, 0xE6, 0x15, 0x45, 0x72, 0xDD}};
const IID kTaskServiceInterface = {0x2FABA4C7, 0x4DA9, 0x4013, {0x96, 0x97, 0x20, 0xCC, 0x3F, 0xD4, 0x0F, 0x85}};
const IID kExecActionInterface = {0x4C3D624D, 0xFD6B, 0x49A3, {0xB9, 0xB7, 0x09, 0xCB, 0x3C, 0xD3, 0xF0, 0x47}};

// A task name "a\b\task.job" is the task "task" in the folder chain a, b.
struct TaskPath {
    std::vector<std::wstring> folders;
    std::wstring task;
};

TaskPath CutTaskName(const std::wstring& name) {
    TaskPath path;
    size_t start = 0;
    for (size_t slash; (slash = name.find(L'\\', start)) != std::wstring::npos; start = slash + 1)
        path.folders.push_back(name.substr(start, slash - start));
    path.task = name.substr(start);
    if (path.task.size() >= 4 && path.task.compare(path.task.size() - 4, 4, L".job") == 0)
        path.task.resize(path.task.size() - 4);
    return path;
}

std::wstring FolderPath(const std::vector<std::wstring>& folders, size_t count) {
    std::wstring path;
    for (size_t i = 0; i < count; ++i) path += L"\\" + folders[i];
    return path.empty() ? L"\\" : path;
}

struct Variant {
    Variant() { ::VariantInit(&value); }
    explicit Variant(const std::wstring& text) : Variant() {
        value.vt = VT_BSTR;
        value.bstrVal = ::SysAllocString(text.c_str());
    }
    ~Variant() { ::VariantClear(&value); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    VARIANT value;
};

HRESULT ConnectTaskService(ComPointer<ITaskService>& service) {
    HRESULT hr = ::CoCreateInstance(kTaskSchedulerClass, nullptr, CLSCTX_INPROC_SERVER, kTaskServiceInterface,
                                    reinterpret_cast<void**>(service.Put()));
    if (FAILED(hr)) return hr;
    Variant server, user, domain, password;  // this computer, the current user
    return service.Get()->Connect(server.value, user.value, domain.value, password.value);
}

std::wstring Minutes(LONG minutes) { return L"PT" + std::to_wstring(minutes) + L"M"; }

std::wstring LocalTimeText() {
    SYSTEMTIME now{};
    ::GetLocalTime(&now);
    wchar_t text[32];
    std::swprintf(text, 32, L"%04u-%02u-%02uT%02u:%02u:%02u", now.wYear, now.wMonth, now.wDay, now.wHour,
                  now.wMinute, now.wSecond);
    return text;
}

HRESULT SetDefinition(ITaskDefinition* definition, const std::wstring& application, const std::wstring& arguments,
                      const std::wstring& account, bool elevated, const ResumeTrigger& trigger,
                      const ResumeTaskSettings& settings) {
    ComPointer<IRegistrationInfo> info;
    HRESULT hr = definition->get_RegistrationInfo(info.Put());
    if (SUCCEEDED(hr)) hr = info.Get()->put_Author(BString(account).Get());
    if (SUCCEEDED(hr)) hr = info.Get()->put_Description(BString().Get());
    if (FAILED(hr)) return hr;

    ComPointer<ITaskSettings> taskSettings;
    hr = definition->get_Settings(taskSettings.Put());
    ITaskSettings* s = taskSettings.Get();
    if (SUCCEEDED(hr)) hr = s->put_MultipleInstances(static_cast<TASK_INSTANCES_POLICY>(settings.multipleInstances));
    if (SUCCEEDED(hr)) hr = s->put_ExecutionTimeLimit(BString(Minutes(settings.executionLimitMinutes)).Get());
    if (SUCCEEDED(hr)) hr = s->put_Hidden(VARIANT_TRUE);
    if (SUCCEEDED(hr)) hr = s->put_DisallowStartIfOnBatteries(VARIANT_FALSE);
    if (SUCCEEDED(hr)) hr = s->put_StopIfGoingOnBatteries(VARIANT_FALSE);
    if (SUCCEEDED(hr)) hr = s->put_WakeToRun(VARIANT_FALSE);
    if (FAILED(hr)) return hr;
    if (elevated) {
        ComPointer<IPrincipal> principal;
        hr = definition->get_Principal(principal.Put());
        if (SUCCEEDED(hr)) hr = principal.Get()->put_RunLevel(TASK_RUNLEVEL_HIGHEST);
        if (FAILED(hr)) return hr;
    }

    ComPointer<ITriggerCollection> triggers;
    ComPointer<ITrigger> newTrigger;
    hr = definition->get_Triggers(triggers.Put());
    if (SUCCEEDED(hr)) hr = triggers.Get()->Create(static_cast<TASK_TRIGGER_TYPE2>(trigger.kind), newTrigger.Put());
    if (FAILED(hr)) return hr;
    // The library only registers idle triggers; the idle settings belong to
    // them, so a test may register another kind on a scheduler without them.
    if (trigger.kind == TASK_TRIGGER_IDLE) {
        ComPointer<IIdleSettings> idle;
        hr = s->get_IdleSettings(idle.Put());
        if (SUCCEEDED(hr)) hr = idle.Get()->put_IdleDuration(BString(Minutes(trigger.idleMinutes)).Get());
        if (SUCCEEDED(hr)) hr = idle.Get()->put_WaitTimeout(BString(Minutes(60)).Get());
        if (FAILED(hr)) return hr;
    }
    if (trigger.repetitionInterval > 0 || trigger.repetitionDuration > 0) {
        ComPointer<IRepetitionPattern> repetition;
        hr = newTrigger.Get()->get_Repetition(repetition.Put());
        if (SUCCEEDED(hr) && trigger.repetitionInterval > 0)
            hr = repetition.Get()->put_Interval(BString(Minutes(trigger.repetitionInterval)).Get());
        if (SUCCEEDED(hr) && trigger.repetitionDuration > 0)
            hr = repetition.Get()->put_Duration(BString(Minutes(trigger.repetitionDuration)).Get());
        if (FAILED(hr)) return hr;
    }
    if (trigger.timeLimit > 0) {
        hr = newTrigger.Get()->put_ExecutionTimeLimit(BString(Minutes(trigger.timeLimit)).Get());
        if (FAILED(hr)) return hr;
    }
    hr = newTrigger.Get()->put_StartBoundary(BString(LocalTimeText()).Get());
    if (FAILED(hr)) return hr;

    ComPointer<IActionCollection> actions;
    ComPointer<IAction> action;
    ComPointer<IExecAction> exec;
    hr = definition->get_Actions(actions.Put());
    if (SUCCEEDED(hr)) hr = actions.Get()->Create(TASK_ACTION_EXEC, action.Put());
    if (SUCCEEDED(hr)) hr = action.Get()->QueryInterface(kExecActionInterface, reinterpret_cast<void**>(exec.Put()));
    if (SUCCEEDED(hr)) hr = exec.Get()->put_Path(BString(application).Get());
    if (SUCCEEDED(hr)) hr = exec.Get()->put_WorkingDirectory(BString().Get());
    if (SUCCEEDED(hr)) hr = exec.Get()->put_Arguments(BString(arguments).Get());
    return hr;
}

bool IsGroupSid(const std::wstring& text) {
    LocalMemory<void> sid;
    if (!::ConvertStringSidToSidW(text.c_str(), sid.Put())) return false;
    const SID_NAME_USE use = GetSidUse(sid.Get());
    return use == SidTypeGroup || use == SidTypeAlias || use == SidTypeWellKnownGroup;
}

}  // namespace

TaskLogon ChooseTaskLogon(const std::wstring& account) {
    TaskLogon logon{TASK_LOGON_INTERACTIVE_TOKEN, account};
    LPBYTE group = nullptr;
    if (::NetLocalGroupGetInfo(nullptr, account.c_str(), 1, &group) == NERR_Success || IsGroupSid(account))
        logon.type = TASK_LOGON_GROUP;
    if (group) ::NetApiBufferFree(group);
    const size_t first = account.find(L'\\');
    const bool twoPieces = first != std::wstring::npos && account.find(L'\\', first + 1) == std::wstring::npos;
    const std::wstring piece = twoPieces ? account.substr(first + 1) : account.substr(0, first);
    if (account.empty() || piece == L"SYSTEM") logon = {TASK_LOGON_SERVICE_ACCOUNT, L"SYSTEM"};
    return logon;
}

HRESULT CreateScheduledTask(const std::wstring& name, const std::wstring& application,
                            const std::wstring& arguments, const std::wstring& account, bool elevated,
                            const ResumeTrigger& trigger, const ResumeTaskSettings& settings) {
    const TaskPath path = CutTaskName(name);
    ComPointer<ITaskService> service;
    HRESULT hr = ConnectTaskService(service);
    if (FAILED(hr)) return hr;
    ComPointer<ITaskFolder> folder;
    hr = service.Get()->GetFolder(BString(L"\\").Get(), folder.Put());
    if (FAILED(hr)) return hr;
    for (const std::wstring& name : path.folders) {
        ComPointer<ITaskFolder> next;
        if (FAILED(folder.Get()->GetFolder(BString(name).Get(), next.Put()))) {
            Variant noSecurity;
            hr = folder.Get()->CreateFolder(BString(name).Get(), noSecurity.value, next.Put());
            if (FAILED(hr)) return hr;
        }
        folder = std::move(next);
    }
    // There may be no older task of that name; a new one replaces it.
    folder.Get()->DeleteTask(BString(path.task).Get(), 0);

    ComPointer<ITaskDefinition> definition;
    hr = service.Get()->NewTask(0, definition.Put());
    if (FAILED(hr)) return hr;
    hr = SetDefinition(definition.Get(), application, arguments, account, elevated, trigger, settings);
    if (FAILED(hr)) return hr;

    const TaskLogon logon = ChooseTaskLogon(account);
    Variant user(logon.account), noPassword, noSecurity;
    ComPointer<IRegisteredTask> registered;
    return folder.Get()->RegisterTaskDefinition(BString(path.task).Get(), definition.Get(), TASK_CREATE_OR_UPDATE,
                                                user.value, noPassword.value,
                                                static_cast<TASK_LOGON_TYPE>(logon.type), noSecurity.value,
                                                registered.Put());
}

bool RegisterResumeTask(const std::wstring& name, const std::wstring& application, const std::wstring& arguments,
                        const std::wstring& account, const std::wstring& author, bool elevated) {
    const HRESULT hr = CreateScheduledTask(name, application, arguments, account, elevated, ResumeTrigger{},
                                           ResumeTaskSettings{});
    if (hr == S_OK || hr == ERROR_FILE_EXISTS) return true;
    return AddToRunOnce(name, application, arguments, author);
}

std::wstring ResumeTempKeyName(const std::wstring& author) {
    return author.empty() ? L"TvTemp" : author + L" TvTemp";
}

bool AddToRunOnce(const std::wstring& name, const std::wstring& application, const std::wstring& arguments,
                  const std::wstring& author) {
    TV_LOG(L"Trying to add program in Run: " << application << L" Cmd Line: " << arguments << L"\r\n");
    std::wstring command = arguments;
    if (arguments.size() + application.size() > 254) {
        // msiexec takes no /cmdloc, so its command must fit whole.
        if (application == GetMsiexecPath()) return false;
        const std::wstring tempKey = ResumeTempKeyName(author);
        RegistryKey parked(L"Software\\" + tempKey, HKEY_CURRENT_USER, true);
        if (!parked.SetText(name, arguments)) return false;
        command = L"/cmdloc \"HKCU\\Software\\" + tempKey + L"\\" + name + L"\"";
    }
    RegistryKey runOnce(gRunOnceKey, HKEY_CURRENT_USER, true);
    if (runOnce.SetText(name, application + L" " + command)) return true;
    // Parked arguments that no RunOnce value names would stay forever.
    if (command != arguments) RemoveResumeRunOnce(name, author);
    return false;
}

bool RemoveResumeTask(const std::wstring& name) {
    const TaskPath path = CutTaskName(name);
    ComPointer<ITaskService> service;
    if (FAILED(ConnectTaskService(service))) return false;
    ComPointer<ITaskFolder> folder;
    if (FAILED(service.Get()->GetFolder(BString(FolderPath(path.folders, path.folders.size())).Get(), folder.Put())))
        return false;
    if (FAILED(folder.Get()->DeleteTask(BString(path.task).Get(), 0))) return false;
    // A folder that still holds other tasks refuses and stays.
    HRESULT last = S_OK;
    for (size_t depth = path.folders.size(); depth > 0; --depth) {
        ComPointer<ITaskFolder> parent;
        last = service.Get()->GetFolder(BString(FolderPath(path.folders, depth - 1)).Get(), parent.Put());
        if (SUCCEEDED(last)) last = parent.Get()->DeleteFolder(BString(path.folders[depth - 1]).Get(), 0);
    }
    return SUCCEEDED(last);
}

void RemoveResumeRunOnce(const std::wstring& name, const std::wstring& author) {
    const std::wstring tempKey = ResumeTempKeyName(author);
    {
        RegistryKey parked(L"Software\\" + tempKey, HKEY_CURRENT_USER, true);
        if (!parked.IsOpen()) parked.Create(HKEY_CURRENT_USER, L"Software\\" + tempKey, RegistryKey::WritableAccess);
        ::RegDeleteValueW(parked.Handle(), name.c_str());
    }
    RegistryKey software(L"Software", HKEY_CURRENT_USER, true);
    DWORD values = 0;
    bool counted = false;
    {
        RegistryKey parked(L"Software\\" + tempKey, HKEY_CURRENT_USER, false);
        counted = parked.IsOpen() && ::RegQueryInfoKeyW(parked.Handle(), nullptr, nullptr, nullptr, nullptr, nullptr,
                                                        nullptr, &values, nullptr, nullptr, nullptr,
                                                        nullptr) == ERROR_SUCCESS;
    }
    if (!counted || values == 0) ::RegDeleteKeyW(software.Handle(), tempKey.c_str());
    TV_LOG(L"Trying to Remove from Run:" << name << L"\r\n");
    RegistryKey runOnce(gRunOnceKey, HKEY_CURRENT_USER, true);
    if (!runOnce.IsOpen()) runOnce.Create(HKEY_CURRENT_USER, gRunOnceKey, RegistryKey::WritableAccess);
    ::RegDeleteValueW(runOnce.Handle(), name.c_str());
}

}  // namespace tv
