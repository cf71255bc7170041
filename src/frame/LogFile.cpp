#include "frame/LogFile.h"

namespace tv {

FileLog gLogFile;

LogFile::~LogFile() {
    if (mInitialized.load() == 2) ::DeleteCriticalSection(&mLock);
}

void LogFile::EnsureLock() {
    unsigned char state = mInitialized.load(std::memory_order_acquire);
    if (state == 2) return;
    unsigned char expected = 0;
    if (mInitialized.compare_exchange_strong(expected, 1)) {
        ::InitializeCriticalSection(&mLock);
        mInitialized.store(2, std::memory_order_release);
        return;
    }
    while (mInitialized.load(std::memory_order_acquire) != 2) ::Sleep(0);
}

void LogFile::SetEnabled(bool enabled) {
    EnsureLock();
    ::EnterCriticalSection(&mLock);
    mEnabled.store(enabled, std::memory_order_relaxed);
    ::LeaveCriticalSection(&mLock);
}

}  // namespace tv
