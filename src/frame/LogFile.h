#pragma once
#include <windows.h>
#include <atomic>
#include <string>

namespace tv {

// Base of the diagnostic log: its lock and its enabled flag. The file side
// of this class is only ever entered by a build that raises gLogFile.active.
class LogFile {
public:
    LogFile() = default;
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    bool IsEnabled() const noexcept { return mEnabled.load(std::memory_order_relaxed); }

protected:
    // Writes the flag under the lock; readers take it without the lock.
    void SetEnabled(bool enabled);

private:
    void EnsureLock();

    CRITICAL_SECTION mLock{};
    std::atomic<unsigned char> mInitialized{0};  // 0 none, 1 creating, 2 ready
    std::atomic<bool> mEnabled{false};

public:
    std::wstring path;
};

// The one file log a build could switch on; this library never does.
struct FileLog : LogFile {
    unsigned char active = 0;
};
extern FileLog gLogFile;

}  // namespace tv
