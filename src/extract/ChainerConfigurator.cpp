#include "extract/ChainerConfigurator.h"

namespace tv {

// The launcher's configuration is not written yet.
UINT ChainerConfigurator::Run() { return 0; }

}  // namespace tv
