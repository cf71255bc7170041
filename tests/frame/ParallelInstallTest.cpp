// Packing of the probe's answers: under Wine every probe answer is 0, so the
// cases a real host can give are fed in directly.
#include "Harness.h"
#include "frame/ParallelInstall.h"

TEST(ProbePacking, ZeroOnlyWhenEveryLowByteIsOne) {
    struct Case {
        std::array<int, 4> answers;
        std::uint32_t packed;
    };
    const Case cases[] = {
        {{1, 1, 1, 1}, 0x00000000u},
        {{0, 0, 0, 0}, 0x01010101u},
        {{0, 1, 1, 1}, 0x00000001u},  // first answer in the lowest byte
        {{1, 1, 1, 0}, 0x01000000u},  // fourth in the highest
        {{0x101, 0x201, -255, 1}, 0x00000000u},  // only the low byte counts
        {{2, 6, 7, -1}, 0xFE060703u},
        {{1, 1, 0x1234, 1}, 0x00350000u},
    };
    for (const Case& c : cases) EXPECT_EQ(tv::PackProbeAnswers(c.answers), c.packed);
}
