// Linked into the DLL only. A build configured with TV_FILE_LOG=ON writes the
// diagnostic log's lines to a file under TARVO_LOGS as well.
#include "frame/LogFile.h"

#if TV_FILE_LOG
namespace {
const bool gFileLogRaised = (tv::gLogFile.active = 1, true);
}  // namespace
#endif
