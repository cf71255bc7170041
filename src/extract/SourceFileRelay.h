#pragma once
#include <windows.h>
#include <msi.h>

namespace tv {

// Relays the setup executable's own unpacking progress to the installer.
UINT RelaySourceFiles(MSIHANDLE session);

}  // namespace tv
