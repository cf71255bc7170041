#include "extract/IniDocument.h"
#include "platform/Files.h"
#include "platform/KernelHandle.h"
#include "platform/NoCase.h"
#include <cstring>

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

std::wstring IniSection::Value(const std::wstring& key) const {
    for (const IniEntry& entry : mEntries)
        if (EqualsNoCase(entry.key, key)) return entry.value;
    return {};
}

const IniSection* IniDocument::Find(const std::wstring& name) const {
    auto found = mIndex.find(name);
    return found == mIndex.end() ? nullptr : found->second;
}

bool IniDocument::Read(const std::wstring& file) {
    KernelHandle handle(::CreateFileW(ToLongPath(file).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!handle) return false;
    LARGE_INTEGER size{};
    // A launcher's .ini is small; anything near the limit is not ours.
    if (!::GetFileSizeEx(handle.Get(), &size) || size.QuadPart < 2 || size.QuadPart > (64 << 20)) return false;
    std::string bytes(static_cast<size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    if (!::ReadFile(handle.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr) ||
        read != bytes.size())
        return false;
    if (static_cast<unsigned char>(bytes[0]) != 0xFF || static_cast<unsigned char>(bytes[1]) != 0xFE) return false;
    std::wstring text((bytes.size() - 2) / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data() + 2, text.size() * sizeof(wchar_t));

    IniSection* section = nullptr;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find_first_of(L"\r\n", start);
        if (end == std::wstring::npos) end = text.size();
        const std::wstring line = text.substr(start, end - start);
        start = end + 1;
        if (line.empty()) continue;
        if (line.front() == L'[' && line.back() == L']') {
            section = &Section(line.substr(1, line.size() - 2));
            continue;
        }
        const size_t equals = line.find(L'=');
        // Lines before the first section, or without "=", aren't ours.
        if (section != nullptr && equals != std::wstring::npos)
            section->Set(line.substr(0, equals), line.substr(equals + 1));
    }
    return true;
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
