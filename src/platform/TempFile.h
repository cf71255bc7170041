#pragma once
#include <string>

namespace tv {

// Owns a temporary file: taking a new path deletes the old file first, and
// the destructor deletes the file through its long-path form.
class TempFile {
public:
    TempFile() = default;
    explicit TempFile(std::wstring path) : mPath(std::move(path)) {}
    ~TempFile() { Delete(); }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    TempFile(TempFile&& other) noexcept : mPath(std::move(other.mPath)) { other.mPath.clear(); }
    TempFile& operator=(TempFile&& other) noexcept;

    void Reset(std::wstring path);
    const std::wstring& Path() const noexcept { return mPath; }

private:
    void Delete() noexcept;
    std::wstring mPath;
};

// Makes a new empty file with a unique name in `folder`, "prefix" in front
// and `extension` (with or without its ".") in place of ".tmp". The
// normalised path, or empty text on failure.
std::wstring MakeTempFile(const std::wstring& folder, const std::wstring& prefix, const std::wstring& extension);
// A "123....DLD" file in the library's work folder.
TempFile MakeDownloadTempFile();
// An "ACS....<extension>" file in the library's work folder; its caller
// removes it.
std::wstring MakeTableTempFile(const std::wstring& extension);

}  // namespace tv
