#pragma once
#include <optional>
#include <string>
#include <vector>

namespace tv {

// An absolute path taken apart into its root ("C:" or "\\server\share") and
// the names below it, with "." dropped and ".." applied. Where a path from
// outside decides what may be deleted, what is deleted is rebuilt from these
// parts, so that the test and the deletion see the same path.
struct PathComponents {
    std::wstring root;
    std::vector<std::wstring> names;
    bool longForm = false;  // given with "\\?\" or "\\?\UNC\"

    // The root and the first `depth` names, in the form the path was given.
    std::wstring Text(size_t depth) const;
    std::wstring Text() const { return Text(names.size()); }
};

// Nothing for a path that the system could read otherwise than its text
// says, so that no caller relies on it: a relative or drive-relative path, a
// device path, one that climbs above its root, and one with a name that ends
// in "." or " " (which the system trims) or holds a wildcard.
std::optional<PathComponents> SplitPathComponents(const std::wstring& path);

// True when `inner` lies below `folder`: the same root and all of
// `folder`'s names, compared whole and without regard to case, followed by
// at least one more. A folder isn't below itself.
bool IsStrictlyBelow(const PathComponents& inner, const PathComponents& folder);

}  // namespace tv
