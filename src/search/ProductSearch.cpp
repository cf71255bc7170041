#include "search/ProductSearch.h"
#include <msiquery.h>
#include <objbase.h>
#include <thread>
#include <vector>
#include "frame/CharBuffer.h"
#include "frame/DebugLog.h"
#include "frame/MsiTableReader.h"
#include "frame/OsInfo.h"
#include "install/Launcher.h"
#include "platform/Files.h"
#include "platform/FolderVariables.h"
#include "platform/TempFile.h"
#include "search/PackageStore.h"
#include "search/Version.h"

namespace tv {

void ProductVersionSearch(const std::wstring& productCode, SearchResult& result) {
    CharBuffer version;
    const bool read = ReadSized(
        [&](wchar_t* buffer, DWORD* capacity) {
            return ::MsiGetProductInfoW(productCode.c_str(), INSTALLPROPERTY_VERSIONSTRING, buffer, capacity);
        },
        version);
    if (read) result.versions.push_back(version.Text());
}

void UpgradeCodeSearch(const std::wstring& upgradeCode, SearchResult& result) {
    for (DWORD index = 0;; ++index) {
        wchar_t product[39] = {};
        if (::MsiEnumRelatedProductsW(upgradeCode.c_str(), 0, index, product) != ERROR_SUCCESS) break;
        ProductVersionSearch(product, result);
    }
}

void ComponentSearch(const std::wstring& componentCode, SearchResult& result) {
    wchar_t empty[1] = {};
    DWORD size = 0;
    INSTALLSTATE state = ::MsiLocateComponentW(componentCode.c_str(), empty, &size);
    if (state == INSTALLSTATE_MOREDATA) {
        std::vector<wchar_t> path(size + 1);
        size += 1;
        state = ::MsiLocateComponentW(componentCode.c_str(), path.data(), &size);
    }
    result.found = state == INSTALLSTATE_LOCAL || state == INSTALLSTATE_SOURCE;
}

const wchar_t* const BinaryFileExtractor::queryPrefix = L"SELECT `Data` FROM `Binary` WHERE `Name`= '";

BinaryFileExtractor::BinaryFileExtractor(MSIHANDLE session) : mDatabase(::MsiGetActiveDatabase(session)) {}

BinaryFileExtractor::~BinaryFileExtractor() {
    if (!mTempPath.empty()) ::DeleteFileW(mTempPath.c_str());
}

std::wstring BinaryFileExtractor::Extract(const SearchItem& item) {
    const std::wstring& name = item.search;
    const std::wstring query = queryPrefix + name + L"'";
    if (!mTempPath.empty()) ::DeleteFileW(mTempPath.c_str());
    const size_t slash = name.rfind(L'\\');
    const size_t dot = name.rfind(L'.');
    const bool hasExtension = dot != std::wstring::npos && (slash == std::wstring::npos || dot > slash);
    mTempPath = ToLongPath(MakeTableTempFile(hasExtension ? name.substr(dot) : std::wstring()));
    if (mTempPath.empty()) return {};
    ::DeleteFileW(mTempPath.c_str());
    return ExtractBinary(mDatabase.Get(), query, mTempPath) ? mTempPath : std::wstring();
}

void ProgramSearch(const SearchItem& item, SearchResult& result, BinaryExtractor& extractor) {
    const std::wstring path = extractor.Extract(item);
    const std::wstring arguments = ExpandFolderVariables(item.arguments, false);
    const bool hidden = item.content == L"WND_HIDE";
    // A program the shell hands to a running process gives no exit code:
    // the value stays non-zero, so that is not found.
    DWORD exitCode = ERROR_INVALID_FUNCTION;
    result.found = !path.empty() && LaunchAndWait(path, arguments, L"", hidden, exitCode) && exitCode == 0;
}

namespace {

struct ArchitectureWord {
    int value;
    const wchar_t* word;
};
const ArchitectureWord kArchitectures[] = {{11, L"neutral"}, {9, L"x64"}, {0, L"x86"}, {5, L"arm"}, {12, L"arm64"}};

std::wstring ArchitectureText(int value) {
    for (const ArchitectureWord& entry : kArchitectures)
        if (entry.value == value) return entry.word;
    return {};
}

std::wstring Trimmed(const std::wstring& text) {
    const wchar_t* const blanks = L" \t\r\n\v\f";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::wstring::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace

void PackageSearch(const std::wstring& searchText, SearchResult& result) {
    if (!IsWindows10OrLater()) return;
    std::vector<std::wstring> pieces;
    for (size_t start = 0; start <= searchText.size();) {
        size_t mark = searchText.find(L'?', start);
        if (mark == std::wstring::npos) mark = searchText.size();
        const std::wstring piece = Trimmed(searchText.substr(start, mark - start));
        if (!piece.empty()) pieces.push_back(piece);
        start = mark + 1;
    }
    pieces.resize(3);
    const std::wstring version = MsixFinder().Find(pieces[0], pieces[2], pieces[1]);
    if (!version.empty()) result.versions.push_back(version);
}

std::wstring MsixFinder::Find(const std::wstring& name, const std::wstring& publisher,
                              const std::wstring& architecture) {
    std::wstring found;
    try {
    // The store is reached from an apartment of its own, whatever the
    // installer's thread has joined; the caller waits for the answer.
    std::thread worker([&]() {
        const HRESULT init = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        std::vector<PackageIdentity> packages;
        try {
            GetPackageStoreSeam()(packages);
        } catch (...) {
            packages.clear();  // a store that can't be listed holds nothing
        }
        for (const PackageIdentity& package : packages) {
            if (name != package.name) continue;
            if (!publisher.empty() && publisher != package.publisher) continue;
            if (!architecture.empty() && architecture != ArchitectureText(package.architecture)) continue;
            found = NormalizeVersion(package.version);
            break;
        }
        if (SUCCEEDED(init)) ::CoUninitialize();
    });
    worker.join();
    } catch (...) {
        found.clear();  // no thread could start: nothing is found
    }
    return found;
}

}  // namespace tv
