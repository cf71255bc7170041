#pragma once
#include <windows.h>
#include <msi.h>
#include <array>
#include <cstdint>

namespace tv {

// The four message types of the probe of the host's message handler.
inline constexpr std::array<INSTALLMESSAGE, 4> kProbeMessageTypes = {
    static_cast<INSTALLMESSAGE>(0x4200000), static_cast<INSTALLMESSAGE>(0x4300000),
    static_cast<INSTALLMESSAGE>(0x4400000), static_cast<INSTALLMESSAGE>(0x4500000)};

// Each answer XOR 1, low byte kept, the first answer lowest: 0 exactly when
// every answer's low byte is 1.
std::uint32_t PackProbeAnswers(const std::array<int, 4>& answers);

// Sends the four probe messages and packs their answers.
std::uint32_t QueryUiHandler(MSIHANDLE session);

// True when TV_PARALLEL_DOWNLOAD holds a true condition and the host's
// handler answered the probe. The probe is sent whatever the condition gave.
bool IsParallelInstall(MSIHANDLE session);

}  // namespace tv
