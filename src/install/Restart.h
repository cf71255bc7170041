#pragma once

namespace tv {

// Asks the system to restart; true if it accepted.
bool ReStartSystem();

// The one call that restarts the machine. Tests replace it so that no test
// can ever restart anything.
struct RestartSeam {
    bool (*restartSystem)();
};
RestartSeam& GetRestartSeam();

}  // namespace tv
