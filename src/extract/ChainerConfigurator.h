#pragma once
#include <windows.h>
#include <msi.h>

namespace tv {

// Prepares the chaining launcher for an installation without a full UI.
class ChainerConfigurator {
public:
    explicit ChainerConfigurator(MSIHANDLE session) : mSession(session) {}
    UINT Run();

private:
    MSIHANDLE mSession;
};

}  // namespace tv
