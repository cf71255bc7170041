#pragma once

namespace tv {

// The phase a prerequisite runs in, from its option letters.
enum RunPhase : int {
    PhaseMain = 0,      // f
    PhasePost = 1,      // p
    PhasePre = 2,       // y
    PhaseExcluded = 3,  // w
    PhaseNone = 4,
};

}  // namespace tv
