#pragma once
#include <windows.h>
#include <atomic>
#include <string>
#include "platform/KernelHandle.h"

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

    // Appends one time-stamped line to the file, opening it first if need
    // be; with no file the line is dropped.
    void Write(const std::wstring& text);
    // Closes the file; the next line opens it again under a new banner.
    void Close();

protected:
    // Writes the flag under the lock; readers take it without the lock.
    void SetEnabled(bool enabled);

private:
    void EnsureLock();
    void OpenFile();
    // Sets `path` for the given attempt, or false when none is left.
    bool ChooseLocation(int attempt);
    std::wstring DefaultFileName() const;
    void WritePiece(const void* data, DWORD bytes);
    void WritePiece(const std::wstring& text);

    CRITICAL_SECTION mLock{};
    std::atomic<unsigned char> mInitialized{0};  // 0 none, 1 creating, 2 ready
    std::atomic<bool> mEnabled{false};

public:
    std::wstring path;
    std::wstring fileName;  // inside the chosen folder; empty for the host's name + ".LOG"
    const wchar_t* banner = L"\r\n<< Tarvo (x86) Log >>\r\n";
    KernelHandle file;
};

// The one file log a build can switch on: only a build configured with
// TV_FILE_LOG raises `active`, and the diagnostic log's lines then go to the
// file as well. It ends the file when the library is unloaded.
struct FileLog : LogFile {
    ~FileLog();
    unsigned char active = 0;
};
extern FileLog gLogFile;

}  // namespace tv
