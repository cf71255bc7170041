// Records to the installer's UI: progress arithmetic, answers, prompts and
// error texts, as the host's handler sees them.
#include "Harness.h"
#include "frame/Messages.h"
#include "frame/PrereqProgress.h"

using namespace tvtest;

namespace {

class Progress : public SessionTest {
protected:
    // The ticks of every "add ticks" progress record so far.
    std::vector<int> Ticks() const {
        std::vector<int> ticks;
        for (const auto& m : mMessages.OfType(INSTALLMESSAGE_PROGRESS))
            if (m.Field(1) == L"2") ticks.push_back(std::stoi(m.Field(2)));
        return ticks;
    }
    static int Sum(const std::vector<int>& values) {
        int sum = 0;
        for (int v : values) sum += v;
        return sum;
    }
};

}  // namespace

TEST_F(Progress, StepsAndTicks) {
    Open();
    tv::PrereqProgress progress(mSession);
    progress.SetStepCount(3, false);
    auto records = mMessages.OfType(INSTALLMESSAGE_PROGRESS);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].fields, (std::vector<std::wstring>{L"", L"1", L"1", L"0"}));
    EXPECT_EQ(records[1].fields, (std::vector<std::wstring>{L"", L"0", L"4096", L"0"}));
    EXPECT_EQ(progress.TicksPerStep(), 1365u);
    progress.SetStepCount(1, true);
    EXPECT_EQ(mMessages.OfType(INSTALLMESSAGE_PROGRESS).size(), 2u);
    EXPECT_EQ(progress.TicksPerStep(), 1024u);

    struct Case {
        int size;
        std::vector<int> chunks;
        std::vector<int> ticksBeforeEnd;
        int atEnd;  // ticks EndStep adds, 0 for none
    };
    const Case cases[] = {
        {1000, {1000}, {1024}, 0},
        {100000, {50}, {}, 1024},          // too small for a tick: kept for later
        {100000, {50, 50, 100}, {1, 1}, 1022},  // the second tick is paid with the 2 bytes kept over
        {0, {10, 10}, {}, 1024},           // an empty step arrives whole at its end
    };
    for (const Case& c : cases) {
        mMessages.Clear();
        progress.BeginStep(0, c.size, 0);
        for (int chunk : c.chunks) progress.AddBytes(chunk);
        EXPECT_EQ(Ticks(), c.ticksBeforeEnd) << c.size;
        progress.EndStep(0, 0);
        const auto all = Ticks();
        EXPECT_EQ(all.size(), c.ticksBeforeEnd.size() + (c.atEnd ? 1 : 0)) << c.size;
        if (c.atEnd) {
            EXPECT_EQ(all.back(), c.atEnd) << c.size;
        }
    }
}

TEST_F(Progress, NoFractionOfATickIsLost) {
    Open();
    tv::PrereqProgress progress(mSession);
    progress.SetStepCount(3, false);
    for (int chunk : {1, 7, 333, 4096}) {
        mMessages.Clear();
        const int size = 1000003;
        progress.BeginStep(0, size, 0);
        for (int done = 0; done < size; done += chunk) progress.AddBytes(std::min(chunk, size - done));
        const int beforeEnd = Sum(Ticks());
        EXPECT_GE(beforeEnd, 1364) << chunk;
        progress.EndStep(0, 0);
        EXPECT_EQ(Sum(Ticks()), 1365) << chunk;
    }
}

TEST_F(Progress, CancelIsRememberedFromProgressAnswersOnly) {
    Open();
    tv::PrereqProgress progress(mSession);
    mMessages.Answer(INSTALLMESSAGE_PROGRESS, {1, 1, IDCANCEL, 1});
    progress.SetStepCount(2, false);
    EXPECT_FALSE(progress.IsCancelled());
    progress.SendTicks(5);
    EXPECT_TRUE(progress.IsCancelled());
    mMessages.Answer(INSTALLMESSAGE_ACTIONDATA, {IDOK});
    progress.SendActionData({L"Installing [1]", L"X"});
    EXPECT_TRUE(progress.IsCancelled());
    progress.SendTicks(5);
    EXPECT_FALSE(progress.IsCancelled());
    // A record the filter declines is answered 0.
    progress.filter = [](std::vector<tv::MessageField>&) { return false; };
    mMessages.Answer(INSTALLMESSAGE_PROGRESS, {IDCANCEL});
    progress.SendTicks(5);
    EXPECT_EQ(progress.LastAnswer(), 0);
}

TEST_F(Progress, ActionDataIsFormattedWithTheSession) {
    Open();
    SetProperty(L"WHERE", L"here");
    tv::PrereqProgress progress(mSession);
    progress.filter = [](std::vector<tv::MessageField>& fields) {
        fields.push_back(L"added by the filter");
        return true;
    };
    progress.SendActionData({L"Installing [1] to [WHERE]", L"Runtime"});
    const auto data = mMessages.OfType(INSTALLMESSAGE_ACTIONDATA);
    ASSERT_EQ(data.size(), 1u);
    EXPECT_EQ(data[0].Field(1), L"Installing Runtime to here");
    EXPECT_EQ(data[0].Field(2), L"added by the filter");
}

TEST_F(Progress, ErrorsCarryTheSystemTextOrTheBareCode) {
    ::LoadLibraryW(L"wininet.dll");
    Open();
    tv::PrereqProgress progress(mSession);
    const std::wstring url = L"http://example.invalid/setup.exe";
    progress.sourceUrl = &url;
    struct Case {
        DWORD code;
        bool textual;
    };
    const Case cases[] = {{ERROR_FILE_NOT_FOUND, true}, {12007, true}, {0xE0000018, true}, {0x2000DEAD, false},
                          {12038, true}};
    for (const Case& c : cases) {
        mMessages.Clear();
        EXPECT_EQ(progress.ReportError(L"x", c.code, nullptr), 0u);
        const auto errors = mMessages.OfType(0x01000010);
        ASSERT_EQ(errors.size(), 1u) << c.code;
        if (c.textual) {
            EXPECT_EQ(errors[0].Field(0), L"[1]");
            EXPECT_NE(errors[0].Field(1).find(L"\n" + url), std::wstring::npos) << Narrow(errors[0].Field(1));
        } else {
            // Field 0 is left for the installer, which fills in its own template.
            ASSERT_EQ(errors[0].fields.size(), 3u);
            EXPECT_EQ(errors[0].Field(1), std::to_wstring(static_cast<int>(c.code)));
            EXPECT_EQ(errors[0].Field(2), url);
        }
    }
    // Without a URL the bare code stands alone.
    mMessages.Clear();
    const std::wstring noUrl;
    progress.sourceUrl = &noUrl;
    progress.ReportError(L"x", 0x2000DEAD, nullptr);
    ASSERT_EQ(mMessages.OfType(0x01000010).size(), 1u);
    EXPECT_EQ(mMessages.OfType(0x01000010)[0].fields.size(), 2u);
    // Certificate and redirect codes with a request go to the system's own
    // dialog instead (under Wine a handle that is no request answers 6).
    for (DWORD code : {12037u, 12038u, 12044u, 12045u}) {
        mMessages.Clear();
        EXPECT_NE(progress.ReportError(L"x", code, reinterpret_cast<void*>(0x1234)), 0u) << code;
        EXPECT_TRUE(mMessages.OfType(0x01000010).empty()) << code;
    }
    // The library's own transfer codes read as the WinINet errors they stand for.
    mMessages.Clear();
    progress.ReportError(L"x", 0xE0000018, nullptr);
    const std::wstring mapped = mMessages.OfType(0x01000010)[0].Field(1);
    mMessages.Clear();
    progress.ReportError(L"x", 12002, nullptr);
    EXPECT_EQ(mapped, mMessages.OfType(0x01000010)[0].Field(1));
}

TEST_F(Progress, PromptsAndTheirAnswers) {
    // Wine answers 0 to a numbered message of 2000 or more that has no Error
    // row, whatever the handler says; packages carry these rows.
    mPackage.Table(L"Error");
    mPackage.Row(L"Error", {4155, L"[2] could not be installed."});
    mPackage.Row(L"Error", {4156, L"[2] could not be installed. Continue?"});
    Open();
    struct Case {
        const wchar_t* options;
        const wchar_t* missing;
        int answer;
        int result;
        UINT type;
    };
    const Case cases[] = {
        {L"m", L"1", IDYES, 2, 0x01010000},    // mandatory, still to be installed: error
        {L"", L"1", IDYES, 0, 0x02010004},     // optional: question, yes goes on
        {L"", L"1", IDNO, 2, 0x02010004},
        {L"m", L"0", IDYES, 0, 0x02010004},    // nothing to install: never mandatory
    };
    for (const Case& c : cases) {
        mMessages.Clear();
        mMessages.Answer(0x02000000, {c.answer});
        const tv::Prerequisite row = {{L"PrereqKey", L"K"}, {L"Options", c.options}, {L"MissingCondition", c.missing}};
        EXPECT_EQ(tv::ReportPrereqFailure(mSession, 4155, 4156, L"Runtime", row), c.result);
        ASSERT_EQ(mMessages.OfType(c.type).size(), 1u);
        const auto prompt = mMessages.OfType(c.type)[0];
        EXPECT_EQ(prompt.Field(1), c.type == 0x01010000 ? L"4155" : L"4156");
        EXPECT_EQ(prompt.Field(2), L"Runtime");
    }
    mMessages.Answer(INSTALLMESSAGE_ACTIONDATA, {IDCANCEL, IDABORT, IDOK});
    EXPECT_EQ(tv::SendSearchData(mSession, {L"PROP", L"text"}), 1602u);
    EXPECT_EQ(tv::SendSearchData(mSession, {L" "}), 1602u);
    EXPECT_EQ(tv::SendSearchData(mSession, {L" "}), 0u);
    EXPECT_EQ(tv::SendSearchData(0, {L" "}), 0u);
    EXPECT_EQ(tv::SendText(0, L"x", INSTALLMESSAGE_ERROR), 0);
}

TEST_F(Progress, UiTextsReadWithoutAReader) {
    mPackage.Table(L"UIText");
    mPackage.Row(L"UIText", {L"InstallPrereq", L"Installing prerequisites"});
    mPackage.Row(L"UIText", {L"InstallingPrereq", L"Installing [1]"});
    Open();
    tv::CharBuffer buffer;
    EXPECT_TRUE(tv::GetUiTextBuffer(mSession, L"InstallPrereq", buffer));
    EXPECT_EQ(buffer.Text(), L"Installing prerequisites");
    EXPECT_FALSE(tv::GetUiTextBuffer(mSession, L"RemovePrereq", buffer));
    EXPECT_EQ(buffer.Text(), L"");
    tv::PrereqProgress progress(mSession);
    EXPECT_EQ(progress.InstallingText(), L"Installing [1]");
    EXPECT_EQ(progress.DownloadingText(), L"");
}
