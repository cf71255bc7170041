// Files of TV_ChainedPackageFile: written once from their binary cells,
// noted for cleanup, and the disk-space prompt when the volume is full.
#include "PeerFixture.h"
#include "extract/PrereqExtractor.h"
#include "frame/DebugLog.h"

using namespace tvtest;

namespace {

class ChainedFiles : public PeerTest {
protected:
    void SetUp() override {
        PeerTest::SetUp();
        mPackage.TableSql(L"CREATE TABLE `TV_ChainedPackageFile` (`FileId` CHAR(72) NOT NULL, `ChainedPackage` "
                          L"CHAR(72), `TargetPath` CHAR(255), `Content` OBJECT PRIMARY KEY `FileId`)");
    }
    void AddFile(const std::wstring& id, const std::wstring& owner, const std::wstring& target, const Value& content) {
        mPackage.Row(L"TV_ChainedPackageFile", {id, owner, target, content});
    }
    static Stream Bytes(const std::string& text) { return Stream{{text.begin(), text.end()}}; }
    std::wstring In(const std::wstring& name) const { return Out() + L"\\" + name; }
};

// Points a drive letter at a folder of the Unix side for the object's life.
struct MappedDrive {
    MappedDrive(const wchar_t* drive, const std::wstring& target) : name(drive) {
        ok = ::DefineDosDeviceW(0, name.c_str(), target.c_str()) != FALSE;
    }
    ~MappedDrive() {
        if (ok) ::DefineDosDeviceW(DDD_REMOVE_DEFINITION, name.c_str(), nullptr);
    }
    std::wstring name;
    bool ok = false;
};

}  // namespace

TEST_F(ChainedFiles, WrittenOnceAndNoted) {
    AddRow(L"One", 1, L"one.bin");
    AddRow(L"Kept", 2, L"kept.bin");
    AddRow(L"Empty", 3, L"empty.bin");
    AddFile(L"f1", L"One", L"one.bin", Bytes("first"));
    AddFile(L"f2", L"One", L"sub\\deeper\\two.bin", Bytes("second"));  // folders that don't exist yet
    AddFile(L"f3", L"Kept", L"kept.bin", Bytes("new content"));
    AddFile(L"f4", L"Empty", L"empty.bin", Null{});
    Open();
    ::CreateDirectoryW(Out().c_str(), nullptr);
    std::ofstream(In(L"kept.bin").c_str(), std::ios::binary) << "old";
    mMessages.Clear();
    tv::PrereqProgress progress(mSession);
    tv::PrereqExtractor extractor(mSession, Out(), progress);
    const std::vector<tv::Prerequisite> rows = {{{L"PrereqKey", L"One"}, {L"DisplayName", L"One"}},
                                                {{L"PrereqKey", L"Kept"}, {L"DisplayName", L"Kept"}},
                                                {{L"PrereqKey", L"Empty"}, {L"DisplayName", L"Empty"}},
                                                {{L"PrereqKey", L"None"}, {L"DisplayName", L"None"}}};
    EXPECT_EQ(extractor.ExtractChainedPackages(rows), 0u);
    EXPECT_EQ(ReadBytes(In(L"one.bin")), "first");
    EXPECT_EQ(ReadBytes(In(L"sub\\deeper\\two.bin")), "second");
    EXPECT_EQ(ReadBytes(In(L"kept.bin")), "old");  // an existing file counts as written
    EXPECT_TRUE(tv::FileExists(In(L"empty.bin")));
    EXPECT_EQ(ReadBytes(In(L"empty.bin")), "");
    EXPECT_EQ(Property(L"TV_PREREQFILES"), In(L"one.bin") + L"\x0001" + In(L"sub\\deeper\\two.bin") + L"\x0001" +
                                               In(L"kept.bin") + L"\x0001" + In(L"empty.bin"));
    // A row without files shows nothing.
    EXPECT_EQ(Fields(INSTALLMESSAGE_ACTIONDATA, 1), (Strings{L"Extracting One", L"Extracting Kept", L"Extracting Empty"}));
}

TEST_F(ChainedFiles, AFailedMandatoryRowStopsTheChainedFilesButNotTheExecutable) {
    AddRow(L"Bad", 1, L"group101.bin");
    AddRow(L"Later", 2, L"later.bin");
    AddFile(L"b1", L"Bad", L"..\\outside.bin", Bytes("never"));
    AddFile(L"b2", L"Bad", L"inside.bin", Bytes("not tried"));
    AddFile(L"l1", L"Later", L"later.bin", Bytes("later"));
    Script({"auto"});
    Open();
    SetProperty(L"TV_SETUPEXEPATH", Setup());
    DebugLogSwitch logSwitch;
    for (const wchar_t* options : {L"y", L"ym"}) {
        SCOPED_TRACE(tvtest::Narrow(options));
        RemoveTree(Out());
        SetProperty(L"TV_PREREQFILES", L"");
        tv::Prerequisite bad = {{L"PrereqKey", L"Bad"}, {L"DisplayName", L"Bad"}, {L"Sequence", L"1"},
                                {L"MissingCondition", L"1"}, {L"Options", options}};
        tv::Prerequisite later = {{L"PrereqKey", L"Later"}, {L"DisplayName", L"Later"}, {L"Sequence", L"2"},
                                  {L"MissingCondition", L"1"}, {L"Options", L"y"}};
        mMessages.Clear();
        tv::DebugLog::Instance().Init(mSession, L"Chain");
        tv::PrereqProgress progress(mSession);
        tv::PrereqExtractor extractor(mSession, Out(), progress);
        extractor.stopOnFailure = true;
        extractor.ExtractChainedPackages({bad, later});
        extractor.ExtractFromSetup({bad, later});
        EXPECT_TRUE(HasLogLine(L"Chain: Failed to extract: " + Out() + L"\\..\\outside.bin"));
        EXPECT_FALSE(tv::FileExists(mFolder + L"\\outside.bin"));
        EXPECT_FALSE(tv::FileExists(In(L"inside.bin")));
        const bool mandatory = options == std::wstring(L"ym");
        EXPECT_EQ(tv::FileExists(In(L"later.bin")), !mandatory);
        // The executable ran all the same.
        EXPECT_TRUE(tv::FileExists(In(L"group101.bin")));
        EXPECT_TRUE(tv::FileExists(In(L"group102.bin")));
    }
}

TEST_F(ChainedFiles, AFullVolumeIsAskedAboutUntilTheUserGivesUp) {
    AddFile(L"big", L"Full", L"big.bin", Bytes(std::string(3000, 'b')));
    Open();
    // /proc has no free space to give: every file is too big for it.
    MappedDrive drive(L"Q:", L"Z:\\proc");
    ASSERT_TRUE(drive.ok);
    const UINT prompt = 0x01000005;
    mMessages.Answer(prompt, {IDRETRY, IDRETRY, IDCANCEL});
    const std::wstring query = L"SELECT `Content` FROM `TV_ChainedPackageFile` WHERE `FileId`='big'";
    EXPECT_FALSE(tv::ExtractBinaryToFile(mSession, query, L"Q:\\tv-none\\big.bin"));
    const auto prompts = mMessages.OfType(prompt);
    ASSERT_EQ(prompts.size(), 3u);
    EXPECT_EQ(prompts[0].Field(1), L"1601");
    EXPECT_EQ(prompts[0].Field(2), L"Q:\\");
    EXPECT_EQ(prompts[0].Field(3), L"2");  // 3000 bytes, in whole KiB
    EXPECT_EQ(prompts[0].Field(4), L"0");
    // Room on the volume: no prompt, the file is written.
    mMessages.Clear();
    EXPECT_TRUE(tv::ExtractBinaryToFile(mSession, query, In(L"room\\big.bin")));
    EXPECT_TRUE(mMessages.OfType(prompt).empty());
    EXPECT_EQ(ReadBytes(In(L"room\\big.bin")).size(), 3000u);
}
