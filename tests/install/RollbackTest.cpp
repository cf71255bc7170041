// The rollback record's text: entries of four fields; a damaged entry is
// dropped, never half-read.
#include "Harness.h"
#include "install/RollbackRecord.h"

using namespace tvtest;

TEST(RollbackRecord, DamagedValuesNeverReadMissingFields) {
    const std::wstring kF1 = L"\x0001", kE2 = L"\x0002";  // the field and entry separators
    const std::wstring a = L"A" + kF1 + L"C:\\a.exe" + kF1 + L"/undo" + kF1 + L"fl";
    const std::wstring b = L"B" + kF1 + kF1 + L"cmd" + kF1 + L"y";
    const std::pair<std::wstring, std::vector<std::wstring>> cases[] = {
        {L"", {}}, {a, {L"A"}}, {a + kE2 + b, {L"A", L"B"}}, {L"no separators at all", {}},
        {a + kE2, {L"A"}},                          // trailing separator
        {kE2 + kE2 + b, {L"B"}},                    // empty entries
        {L"A" + kF1 + L"file" + kF1 + L"cmd", {}},  // a field missing
        {a + kF1 + L"extra" + kE2 + b, {L"B"}},     // a field too many
    };
    for (const auto& [text, expected] : cases) {
        std::vector<std::wstring> keys;
        for (const tv::RollbackEntry& entry : tv::ParseRollbackEntries(text)) keys.push_back(entry.key);
        EXPECT_EQ(keys, expected) << Narrow(text);
    }
    const auto entries = tv::ParseRollbackEntries(a + kE2 + b);
    EXPECT_EQ(entries[1].file, L"");
    EXPECT_EQ(entries[0].command, L"/undo");
    EXPECT_EQ(tv::JoinRollbackEntries(entries), a + kE2 + b);
}
