#pragma once
#include <windows.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tv {

struct IniEntry {
    std::wstring key;
    std::wstring value;
};

// One "[name]" section; entries stay in the order they were first set.
class IniSection {
public:
    explicit IniSection(std::wstring name) : mName(std::move(name)) {}

    // Replaces the value of a key already there, matched without regard to
    // case, in its place; appends a new key. An empty value is kept here and
    // left out, or not, when the file is written.
    void Set(const std::wstring& key, const std::wstring& value);

    // The value of a key, matched without regard to case; empty if absent.
    std::wstring Value(const std::wstring& key) const;

    const std::wstring& Name() const noexcept { return mName; }
    const std::vector<IniEntry>& Entries() const noexcept { return mEntries; }

private:
    std::wstring mName;
    std::vector<IniEntry> mEntries;
};

// An .ini file built in memory and written in one go as UTF-16LE with a
// byte-order mark and CRLF line ends. Nothing is escaped: a value goes into
// the file as it stands, so the reader must split lines and "=" as we do.
class IniDocument {
public:
    // The section of that name, matched without regard to case; a new one
    // goes to the end.
    IniSection& Section(const std::wstring& name);
    // The section of that name, or null.
    const IniSection* Find(const std::wstring& name) const;

    // Reads a file in the form Write makes, appending its sections and
    // entries: UTF-16LE after the byte-order mark, lines split at CR/LF,
    // a key ending at the first "=". False, with nothing read, when the file
    // can't be read or doesn't start with the mark.
    bool Read(const std::wstring& file);

    // The file's text without the byte-order mark.
    std::wstring Text() const;
    // Writes `path` afresh. True also when there is nothing to write, in
    // which case no file is made; false when the file can't be created or
    // the last write fails.
    bool Write() const;

    std::wstring path;
    // An entry with an empty value isn't written.
    bool skipEmptyValues = false;
    // A section without entries isn't written; one whose entries are all
    // skipped still gets its header line.
    bool skipEmptySections = false;

private:
    struct NoCaseLess {
        bool operator()(const std::wstring& a, const std::wstring& b) const;
    };

    std::vector<std::unique_ptr<IniSection>> mSections;
    std::map<std::wstring, IniSection*, NoCaseLess> mIndex;
};

}  // namespace tv
