#include "platform/TempFile.h"
#include <windows.h>
#include "platform/Files.h"

namespace tv {

TempFile& TempFile::operator=(TempFile&& other) noexcept {
    if (this != &other) {
        Delete();
        mPath = std::move(other.mPath);
        other.mPath.clear();
    }
    return *this;
}

void TempFile::Reset(std::wstring path) {
    Delete();
    mPath = std::move(path);
}

void TempFile::Delete() noexcept {
    if (mPath.empty()) return;
    try {
        ::DeleteFileW(ToLongPath(mPath).c_str());
    } catch (...) {
    }
    mPath.clear();
}

namespace {

// The draws are bounded, unlike the unique-name loop of the system: a folder
// that refuses every rename still ends in a file, the first one drawn.
constexpr int kMaxDraws = 16;

std::wstring DrawTempName(const std::wstring& folder, const std::wstring& prefix) {
    wchar_t buffer[MAX_PATH + 1] = {};
    if (::GetTempFileNameW(ToLongPath(folder).c_str(), prefix.c_str(), 0, buffer) == 0) return {};
    return buffer;
}

std::wstring WithExtension(const std::wstring& path, const std::wstring& extension) {
    const std::wstring bare = !extension.empty() && extension[0] == L'.' ? extension.substr(1) : extension;
    const size_t slash = path.rfind(L'\\');
    const size_t dot = path.rfind(L'.');
    if (dot != std::wstring::npos && (slash == std::wstring::npos || dot > slash))
        return path.substr(0, dot + 1) + bare;
    return path + L"." + bare;
}

}  // namespace

std::wstring MakeTempFile(const std::wstring& folder, const std::wstring& prefix, const std::wstring& extension) {
    std::wstring drawn = DrawTempName(folder, prefix);
    if (drawn.empty()) return {};
    if (extension.empty()) return NormalizePath(drawn);
    for (int draw = 0; draw < kMaxDraws; ++draw) {
        const std::wstring renamed = WithExtension(drawn, extension);
        if (::MoveFileW(ToLongPath(drawn).c_str(), ToLongPath(renamed).c_str())) return NormalizePath(renamed);
        // The name with the extension is taken: draw another and drop this one.
        const std::wstring next = DrawTempName(folder, prefix);
        if (next.empty()) break;
        ::DeleteFileW(ToLongPath(drawn).c_str());
        drawn = next;
    }
    return NormalizePath(drawn);
}

TempFile MakeDownloadTempFile() {
    return TempFile(MakeTempFile(GetTempFolders().workTemp, L"123", L"DLD"));
}

std::wstring MakeTableTempFile(const std::wstring& extension) {
    return MakeTempFile(GetTempFolders().workTemp, L"ACS", extension);
}

}  // namespace tv
