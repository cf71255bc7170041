#pragma once
#include <windows.h>
#include <string>
#include "platform/KernelHandle.h"

namespace tv {

// The launcher's own log: one line per decision, appended as UTF-8 with the
// local time in front, so that an author can read what a silent
// installation did. A log that can't be opened costs nothing but its lines.
class ChainerLog {
public:
    // Appends to `path`, creating it if needed; lines written before the
    // first Open are kept and written then.
    void Open(const std::wstring& path);
    void Line(const std::wstring& text);
    const std::wstring& Path() const noexcept { return mPath; }

private:
    void Append(const std::string& utf8);

    std::wstring mPath;
    KernelHandle mFile;
    std::string mPending;
};

}  // namespace tv
