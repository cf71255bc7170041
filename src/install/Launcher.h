#pragma once
#include <windows.h>
#include <atomic>
#include <string>
#include <thread>

namespace tv {

// 1 while the watcher of the elevation prompt is to run. Cleared by the
// driver after its last row, or by the watcher once it restored a window;
// nothing sets it back, so a later run's watcher ends at once.
extern std::atomic<unsigned char> gWatchConsent;

// Starts a program through the shell and waits for its end without a time
// limit, bringing its first window to the foreground. True if it started;
// `exitCode` gets the exit code, or the system error of a failed start.
bool LaunchAndWait(const std::wstring& application, const std::wstring& arguments,
                   const std::wstring& workingFolder, bool hidden, DWORD& exitCode);

// The watcher thread's body, and one poll of it: restores the first window
// of "consent.exe" so that the elevation prompt is not left minimised.
void ConsentWatcher();
bool RestoreConsentWindow();
// The first process named exactly "consent.exe" (with case), 0 if none; a
// failed snapshot is logged and gives 0.
DWORD FindConsentProcess();

// Runs ConsentWatcher for the life of the object: the flag is cleared and
// the thread joined on every way out, also when the run throws. The
// launches need no watcher, so a thread that cannot start is only logged.
class ConsentWatcherThread {
public:
    ConsentWatcherThread();
    ~ConsentWatcherThread();
    ConsentWatcherThread(const ConsentWatcherThread&) = delete;
    ConsentWatcherThread& operator=(const ConsentWatcherThread&) = delete;

private:
    std::thread mThread;
};

}  // namespace tv
