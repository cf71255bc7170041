#pragma once
#include <windows.h>
#include <msi.h>
#include <string>
#include "frame/MsiHandle.h"
#include "search/SearchItem.h"

namespace tv {

// Kind 3: the VersionString of an installed product.
void ProductVersionSearch(const std::wstring& productCode, SearchResult& result);
// Kind 4: the versions of every installed product of an upgrade family.
void UpgradeCodeSearch(const std::wstring& upgradeCode, SearchResult& result);
// Kind 11: found when the component is installed locally or runs from source.
void ComponentSearch(const std::wstring& componentCode, SearchResult& result);

// Writes the entry of the package's Binary table that a search names to a
// temporary file.
class BinaryExtractor {
public:
    virtual ~BinaryExtractor() = default;
    // The path of the file, or empty text.
    virtual std::wstring Extract(const SearchItem& item) = 0;
};

// Keeps one file at a time: the next extraction and the destructor delete
// the last one.
class BinaryFileExtractor : public BinaryExtractor {
public:
    explicit BinaryFileExtractor(MSIHANDLE session);
    ~BinaryFileExtractor() override;
    BinaryFileExtractor(const BinaryFileExtractor&) = delete;
    BinaryFileExtractor& operator=(const BinaryFileExtractor&) = delete;

    std::wstring Extract(const SearchItem& item) override;

private:
    static const wchar_t* const queryPrefix;
    MsiHandle mDatabase;
    std::wstring mTempPath;
};

// Kind 10: runs the program and takes exit code 0 for found.
void ProgramSearch(const SearchItem& item, SearchResult& result, BinaryExtractor& extractor);

// Kind 13: "name?architecture?publisher", the missing pieces untested.
void PackageSearch(const std::wstring& searchText, SearchResult& result);

// Looks for an installed package on a thread of its own.
class MsixFinder {
public:
    // The normal form of the version of the first match, or empty text.
    std::wstring Find(const std::wstring& name, const std::wstring& publisher, const std::wstring& architecture);
};

}  // namespace tv
