#pragma once
#include <string>
#include "tvpkg/Description.h"

namespace tvpkg {

// Writes the library, its tables, texts, custom actions and sequence rows
// from the description into the package (docs/TVPKG.md, "tvpkg apply").
// Whatever an earlier apply wrote is replaced, so a second apply gives the
// same package. Throws UnusableInput for a package or file it can't use.
void ApplyDescription(const std::wstring& packagePath, const Description& description);

// The four-part file version of a file's version resource, or "".
std::wstring FileVersionText(const std::wstring& path);

}  // namespace tvpkg
