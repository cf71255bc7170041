#pragma once
#include <windows.h>
#include <string>

namespace tv {

// The one trigger a resume task gets: after a minute of idle time, once.
struct ResumeTrigger {
    LONG kind = 6;  // TASK_TRIGGER_IDLE
    USHORT idleMinutes = 1;
    LONG repetitionInterval = 0;
    LONG repetitionDuration = 0;
    LONG timeLimit = 0;
};

struct ResumeTaskSettings {
    LONG multipleInstances = 2;  // TASK_INSTANCES_IGNORE_NEW
    LONG executionLimitMinutes = 4320;
};

// Registers `application arguments` to run after the next restart under
// `name`: a hidden scheduled task first, the user's RunOnce key if the
// scheduler refuses. True when a registration stands.
bool RegisterResumeTask(const std::wstring& name, const std::wstring& application, const std::wstring& arguments,
                        const std::wstring& account, const std::wstring& author, bool elevated);

// The Task Scheduler part of the registration; the scheduler's HRESULT.
HRESULT CreateScheduledTask(const std::wstring& name, const std::wstring& application,
                            const std::wstring& arguments, const std::wstring& account, bool elevated,
                            const ResumeTrigger& trigger, const ResumeTaskSettings& settings);

// Writes the RunOnce value `name`. A command over 254 characters keeps its
// arguments in the author's temp key and names them with /cmdloc; msiexec
// cannot read that, so its long commands are refused.
bool AddToRunOnce(const std::wstring& name, const std::wstring& application, const std::wstring& arguments,
                  const std::wstring& author);

// True when the task `name` is gone; false also when there was none.
bool RemoveResumeTask(const std::wstring& name);
// Removes the RunOnce value and the parked arguments of `name`; the temp key
// goes with its last value.
void RemoveResumeRunOnce(const std::wstring& name, const std::wstring& author);

// What CreateScheduledTask decides from the account text: the logon type
// (TASK_LOGON_*) and the account the task is registered for.
struct TaskLogon {
    LONG type;
    std::wstring account;
};
TaskLogon ChooseTaskLogon(const std::wstring& account);

// "Software\" + the temp key name of an author: "<author> TvTemp", or
// "TvTemp" alone without one.
std::wstring ResumeTempKeyName(const std::wstring& author);
extern const wchar_t* const gRunOnceKey;

}  // namespace tv
