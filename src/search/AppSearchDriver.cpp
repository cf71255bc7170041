#include "search/AppSearchDriver.h"

namespace tv {

// No search kind is built yet: every search finds nothing.
UINT AppSearchDriver::RunAllSearches() { return 0; }
UINT AppSearchDriver::RunPrereqSearches() { return 0; }

}  // namespace tv
