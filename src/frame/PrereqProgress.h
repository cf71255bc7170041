#pragma once
#include <windows.h>
#include <msi.h>
#include <string>

namespace tv {

// The reporter of one progress line: action data, ticks and prompts. It
// reads the package's wordings for its action lines once, when built.
class PrereqProgress {
public:
    explicit PrereqProgress(MSIHANDLE session);
    virtual ~PrereqProgress() = default;
    PrereqProgress(const PrereqProgress&) = delete;
    PrereqProgress& operator=(const PrereqProgress&) = delete;

    const std::wstring& InstallingText() const noexcept { return mInstallingText; }
    const std::wstring& DownloadingText() const noexcept { return mDownloadingText; }
    const std::wstring& ExtractingText() const noexcept { return mExtractingText; }
    const std::wstring& CompletedSuffix() const noexcept { return mCompletedSuffix; }

private:
    MSIHANDLE mSession;
    std::wstring mInstallingText;
    std::wstring mDownloadingText;
    std::wstring mExtractingText;
    std::wstring mCompletedSuffix;
};

}  // namespace tv
