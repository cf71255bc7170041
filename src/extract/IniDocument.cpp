#include "extract/IniDocument.h"
#include "platform/Files.h"
#include "platform/KernelHandle.h"
#include "platform/NoCase.h"

namespace tv {

namespace {

bool WriteBytes(HANDLE file, const void* bytes, size_t count) {
    DWORD written = 0;
    return ::WriteFile(file, bytes, static_cast<DWORD>(count), &written, nullptr) && written == count;
}

}  // namespace

bool IniDocument::NoCaseLess::operator()(const std::wstring& a, const std::wstring& b) const {
    return CompareNoCase(a, b) == CSTR_LESS_THAN;
}

void IniSection::Set(const std::wstring& key, const std::wstring& value) {
    for (IniEntry& entry : mEntries) {
        if (EqualsNoCase(entry.key, key)) {
            entry.value = value;
            return;
        }
    }
    mEntries.push_back({key, value});
}

IniSection& IniDocument::Section(const std::wstring& name) {
    auto found = mIndex.find(name);
    if (found != mIndex.end()) return *found->second;
    mSections.push_back(std::make_unique<IniSection>(name));
    IniSection& section = *mSections.back();
    mIndex.emplace(name, &section);
    return section;
}

std::wstring IniDocument::Text() const {
    std::wstring text;
    for (const auto& section : mSections) {
        if (skipEmptySections && section->Entries().empty()) continue;
        text += L"[" + section->Name() + L"]\r\n";
        for (const IniEntry& entry : section->Entries()) {
            if (skipEmptyValues && entry.value.empty()) continue;
            text += entry.key + L"=" + entry.value + L"\r\n";
        }
    }
    return text;
}

bool IniDocument::Write() const {
    const std::wstring text = Text();
    if (mSections.empty() || text.empty()) return true;
    KernelHandle file(::CreateFileW(ToLongPath(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return false;
    const unsigned char bom[] = {0xFF, 0xFE};
    WriteBytes(file.Get(), bom, sizeof(bom));
    // wchar_t is UTF-16LE on every Windows target.
    return WriteBytes(file.Get(), text.data(), text.size() * sizeof(wchar_t));
}

}  // namespace tv
