#include "install/Rollback.h"

namespace tv {

// Nothing is recorded for undo yet, so there is nothing to undo.
UINT Rollback::Run(RunPhase) { return 0; }

}  // namespace tv
