// Records to the installer's UI: progress arithmetic, answers, prompts and
// error texts, as the host's handler sees them.
#include "Harness.h"
#include "frame/Messages.h"
#include "frame/PrereqProgress.h"

using namespace tvtest;
using Progress = SessionTest;
using Texts = std::vector<std::wstring>;

TEST_F(Progress, StepsTicksAndAnswers) {
    Open();
    tv::PrereqProgress progress(mSession);
    auto ticks = [&] {  // the ticks of every "add ticks" progress record so far
        std::vector<int> all;
        for (const auto& m : mMessages.OfType(INSTALLMESSAGE_PROGRESS))
            if (m.Field(1) == L"2") all.push_back(std::stoi(m.Field(2)));
        return all;
    };
    progress.SetStepCount(3, false);
    const auto records = mMessages.OfType(INSTALLMESSAGE_PROGRESS);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].fields, (Texts{L"", L"1", L"1", L"0"}));
    EXPECT_EQ(records[1].fields, (Texts{L"", L"0", L"4096", L"0"}));
    EXPECT_EQ(progress.TicksPerStep(), 1365u);
    progress.SetStepCount(1, true);
    EXPECT_EQ(mMessages.OfType(INSTALLMESSAGE_PROGRESS).size(), 2u);
    EXPECT_EQ(progress.TicksPerStep(), 1024u);

    // ticks: all of the step, the first `early` of them before EndStep
    struct Case { int size; std::vector<int> chunks, ticks; size_t early; };
    const Case cases[] = {
        {1000, {1000}, {1024}, 1},
        {100000, {50, 50, 100}, {1, 1, 1022}, 2},  // 50 bytes are too few for a tick and kept for later
        {3000, {5, 5, 5}, {1, 2, 2, 1019}, 3},     // no fraction of a tick is lost between calls
        {0, {10, 10}, {1024}, 0},                  // an empty step arrives whole at its end
    };
    for (const Case& c : cases) {
        mMessages.Clear();
        progress.BeginStep(0, c.size, 0);
        for (int chunk : c.chunks) progress.AddBytes(chunk);
        EXPECT_EQ(ticks(), std::vector<int>(c.ticks.begin(), c.ticks.begin() + c.early)) << c.size;
        progress.EndStep(0, 0);
        EXPECT_EQ(ticks(), c.ticks) << c.size;
    }

    // Only a progress answer cancels, until the next one; the filter may
    // change a record or decline it (answer 0).
    mMessages.Answer(INSTALLMESSAGE_PROGRESS, {IDCANCEL});
    progress.SendTicks(5);
    progress.filter = [](std::vector<tv::MessageField>& fields) { fields.push_back(L"added"); return true; };
    progress.SendActionData({L"Installing [1]", L"Runtime"});
    EXPECT_EQ(mMessages.OfType(INSTALLMESSAGE_ACTIONDATA).back().fields.at(2), L"added");
    EXPECT_TRUE(progress.IsCancelled());
    progress.SendTicks(5);
    EXPECT_FALSE(progress.IsCancelled());
    progress.filter = [](std::vector<tv::MessageField>&) { return false; };
    mMessages.Answer(INSTALLMESSAGE_PROGRESS, {IDCANCEL});
    progress.SendTicks(5);
    EXPECT_EQ(progress.LastAnswer(), 0);
}

TEST_F(Progress, ErrorsPromptsAndSearchData) {
    // Wine answers 0 to a numbered message of 2000 or more that has no Error
    // row, whatever the handler says; packages carry these rows.
    mPackage.Table(L"Error");
    mPackage.Row(L"Error", {4156, L"[2] could not be installed. Continue?"});
    ::LoadLibraryW(L"wininet.dll");
    Open();
    tv::PrereqProgress progress(mSession);
    const std::wstring url = L"http://example.invalid/setup.exe", noUrl;
    auto report = [&](DWORD code, void* request, const std::wstring& source) {
        mMessages.Clear();
        progress.sourceUrl = &source;
        // Under Wine a handle that is no request answers the dialog with 6.
        EXPECT_EQ(progress.ReportError(L"x", code, request) != 0, request != nullptr) << code;
        return mMessages.OfType(0x01000010);
    };
    for (DWORD code : {2ul, 12007ul, 0xE0000018ul, 12038ul}) {  // 12038 without a request: a record too
        const auto sent = report(code, nullptr, url);
        EXPECT_TRUE(sent.size() == 1 && sent[0].Field(0) == L"[1]" && sent[0].Field(1).ends_with(L"\n" + url)) << code;
    }
    // The library's own transfer codes read as the WinINet errors they stand for.
    EXPECT_EQ(report(0xE0000018, nullptr, url).at(0).Field(1), report(12002, nullptr, url).at(0).Field(1));
    // No system text: the bare code and the URL if any. Field 0 is left for the
    // installer, which fills in its own template.
    const auto bare = report(0x2000DEAD, nullptr, url), alone = report(0x2000DEAD, nullptr, noUrl);
    ASSERT_TRUE(bare.size() == 1 && alone.size() == 1);
    EXPECT_EQ(bare[0].fields, (Texts{bare[0].Field(0), L"536927917", url}));
    EXPECT_EQ(alone[0].fields, (Texts{alone[0].Field(0), L"536927917"}));
    // Certificate and redirect codes with a request go to the system's own dialog.
    for (DWORD code : {12037u, 12038u, 12044u, 12045u})
        EXPECT_TRUE(report(code, reinterpret_cast<void*>(0x1234), url).empty()) << code;

    mMessages.Answer(0x02000000, {IDNO});
    const tv::Prerequisite optional = {{L"PrereqKey", L"K"}, {L"MissingCondition", L"1"}};
    EXPECT_EQ(tv::ReportPrereqFailure(mSession, 4155, 4156, L"Runtime", optional), 2);
    const auto prompts = mMessages.OfType(0x02010004);
    ASSERT_EQ(prompts.size(), 1u);
    EXPECT_EQ(prompts[0].fields, (Texts{prompts[0].Field(0), L"4156", L"Runtime"}));
    mMessages.Answer(INSTALLMESSAGE_ACTIONDATA, {IDCANCEL, IDABORT, IDOK});
    EXPECT_EQ(tv::SendSearchData(mSession, {L"PROP", L"text"}), 1602u);
    EXPECT_EQ(tv::SendSearchData(mSession, {L" "}), 1602u);
    EXPECT_EQ(tv::SendSearchData(mSession, {L" "}), 0u);
    EXPECT_EQ(tv::SendText(0, L"x", INSTALLMESSAGE_ERROR), 0);
}
