#pragma once
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>
#include "frame/MsiSession.h"

namespace tv {

// Turns what this session decided into NAME="value" arguments for a new
// process: each public candidate whose value differs from the one the
// package would give it.
class RelaunchPropertyCollector {
public:
    // The arguments, once per object: a name is judged only once.
    const std::vector<std::wstring>& Collect();
    // Judges one name; without a value the session's current one is taken.
    void AddProperty(const std::wstring& name, const std::optional<std::wstring>& value = std::nullopt);

    SessionInterface* session = nullptr;  // set by the owner
    std::vector<std::wstring> arguments;
    std::set<std::wstring> seen;
    std::map<std::wstring, std::wstring> defaults;

private:
    void ReadDefaults();
    void AddMovedDirectories();
};

// True for a name without a lower-case letter: digits, "_" and "." pass.
bool IsPublicProperty(const std::wstring& name);
// The UNC form of a path on a mapped drive; any other path as it stands.
std::wstring UniversalName(const std::wstring& path);
// One command-line text; stops at the first empty argument and quotes one
// that holds a blank and has no quote at either end.
std::wstring JoinQuoted(const std::vector<std::wstring>& arguments);

}  // namespace tv
