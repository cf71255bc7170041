#pragma once

namespace tv {

// Asks the system to restart; true if it accepted.
bool ReStartSystem();

// Stands in for the restart in every build without TV_SYSTEM_RESTART: logs
// the request and reports it refused.
bool RecordRestart();

// The one call that restarts the machine. It is the real restart only in a
// build configured with TV_SYSTEM_RESTART=ON; the builds of this tree's
// scripts record instead, so that no test, demo or benchmark can restart the
// machine or end the Wine session, whatever a test forgets to replace.
struct RestartSeam {
    bool (*restartSystem)();
};
RestartSeam& GetRestartSeam();

}  // namespace tv
