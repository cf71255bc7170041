#include "frame/ParallelInstall.h"
#include <msiquery.h>
#include "frame/MsiHandle.h"
#include "frame/Session.h"

namespace tv {

std::uint32_t PackProbeAnswers(const std::array<int, 4>& answers) {
    std::uint32_t packed = 0;
    for (size_t i = 0; i < answers.size(); ++i) {
        std::uint32_t byte = (static_cast<std::uint32_t>(answers[i]) ^ 1u) & 0xFFu;
        packed |= byte << (8 * i);
    }
    return packed;
}

std::uint32_t QueryUiHandler(MSIHANDLE session) {
    MsiHandle record(::MsiCreateRecord(1));
    ::MsiRecordSetInteger(record.Get(), 1, 0);
    std::array<int, 4> answers{};
    for (size_t i = 0; i < kProbeMessageTypes.size(); ++i)
        answers[i] = ::MsiProcessMessage(session, kProbeMessageTypes[i], record.Get());
    return PackProbeAnswers(answers);
}

bool IsParallelInstall(MSIHANDLE session) {
    const std::wstring condition = GetProperty(session, L"TV_PARALLEL_DOWNLOAD");
    const MSICONDITION result = ::MsiEvaluateConditionW(session, condition.c_str());
    const std::uint32_t probe = QueryUiHandler(session);
    return result == MSICONDITION_TRUE && probe != 0;
}

}  // namespace tv
