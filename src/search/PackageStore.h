#pragma once
#include <string>
#include <vector>
#include "search/Version.h"

namespace tv {

// The identity of one installed package of the current user.
struct PackageIdentity {
    std::wstring name;
    std::wstring publisher;
    int architecture = -1;  // ProcessorArchitecture
    Version version;
};

// Lists the packages of the current user into `out`, in the store's order.
// Runs on a thread that has joined the multithreaded apartment. Where the
// Windows Runtime has no package manager (older systems, Wine) it lists
// nothing, at once.
using PackageLister = void (*)(std::vector<PackageIdentity>& out);

// The lister the package search uses: the Windows Runtime's package manager
// unless a test put another in place.
PackageLister& GetPackageStoreSeam();
void ListPackagesOfUser(std::vector<PackageIdentity>& out);

}  // namespace tv
