#include "extract/PrereqCleanup.h"

namespace tv {

// Nothing is fetched or registered yet, so there is nothing to remove.
UINT PrereqCleanup::Run() { return 0; }

}  // namespace tv
