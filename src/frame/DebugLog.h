#pragma once
#include <windows.h>
#include <msi.h>
#include <atomic>
#include <memory>
#include <string>
#include "frame/LogFile.h"
#include "frame/LogLine.h"

namespace tv {

// The process-wide diagnostic log. Lines go to the installer's log as INFO
// messages, prefixed with the running action's name, and only while the
// global atom TV_DebugLog exists.
class DebugLog : public LogFile {
public:
    static DebugLog& Instance();

    // Binds the log to a session and an action name and looks the atom up anew.
    void Init(MSIHANDLE session, const std::wstring& prefix);

    // Steps after the text is built: no session, or the embedded condition
    // true, and nothing is sent.
    void Write(const std::wstring& text);
    void SendLine(const std::wstring& text);

    MSIHANDLE Session() const noexcept { return mSession.load(); }
    std::wstring Prefix() const;
    ATOM Atom() const noexcept { return mAtom.load(); }

private:
    DebugLog() = default;

    std::atomic<MSIHANDLE> mSession{0};
    // Replaced whole by Init, so a thread inside SendLine keeps the old text
    // alive for as long as it reads it.
    std::atomic<std::shared_ptr<const std::wstring>> mPrefix;
    std::atomic<ATOM> mAtom{0};
};

}  // namespace tv

// Builds and sends a line only while the log is enabled:
//   TV_LOG(L"Error code:" << rc);
// Logging never changes the course of an action: a line that cannot be
// built (out of memory) is dropped, also inside destructors.
#define TV_LOG(parts)                                               \
    do {                                                            \
        ::tv::DebugLog& tvLog_ = ::tv::DebugLog::Instance();        \
        if (tvLog_.IsEnabled()) {                                   \
            try {                                                   \
                ::tv::LogLine tvLine_;                              \
                tvLine_ << parts;                                   \
                tvLog_.Write(tvLine_.Text());                       \
            } catch (...) {                                         \
            }                                                       \
        }                                                           \
    } while (0)
