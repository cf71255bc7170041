// The table reader against real databases: cell rules, queries, streams and
// error templates.
#include "Harness.h"
#include "frame/DebugLog.h"
#include "frame/MsiTableReader.h"

using namespace tvtest;
using tv::Cell;
using tv::MsiTableReader;
using Texts = std::vector<std::wstring>;

namespace {

std::vector<std::uint8_t> Bytes(size_t size) {
    std::vector<std::uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    return bytes;
}

class Reader : public SessionTest {
protected:
    void SetUp() override {
        mPackage.TableSql(
            L"CREATE TABLE `Cells` (`Key` CHAR(20) NOT NULL, `Text` CHAR(40), `Local` CHAR(40) LOCALIZABLE, "
            L"`Number` LONG, `Small` SHORT, `Long` LONGCHAR PRIMARY KEY `Key`)");
        mPackage.Row(L"Cells", {L"a", L"alpha", L"Alpha", 12, 3, L"x"});
        mPackage.Row(L"Cells", {L"b", Null{}, Null{}, Null{}, -7, Null{}});
        mPackage.Row(L"Cells", {L"c", L"it's", L"", -2147483647, Null{}, std::wstring(3000, L'L')});
        mPackage.Table(L"Binary");
        for (size_t size : {0u, 1u, 51200u, 51201u, 200000u})
            mPackage.Row(L"Binary", {L"s" + std::to_wstring(size), Stream{Bytes(size)}});
    }
};

}  // namespace

TEST_F(Reader, EveryCellArrivesAsTextAndEveryStreamWhole) {
    Open();
    MsiTableReader reader(mSession);
    const wchar_t* const order[] = {L"Key", nullptr};
    ASSERT_TRUE(reader.Open(L"Cells", nullptr, order, nullptr));
    EXPECT_EQ(reader.GetColumns(), (Texts{L"Key", L"Text", L"Local", L"Number", L"Small", L"Long"}));
    // A null integer is empty, not "0"; a negative one keeps its sign.
    const std::vector<tv::TableRow> rows = {
        {{L"Key", L"a"}, {L"Text", L"alpha"}, {L"Local", L"Alpha"}, {L"Number", L"12"}, {L"Small", L"3"},
         {L"Long", L"x"}},
        {{L"Key", L"b"}, {L"Text", L""}, {L"Local", L""}, {L"Number", L""}, {L"Small", L"-7"}, {L"Long", L""}},
        {{L"Key", L"c"}, {L"Text", L"it's"}, {L"Local", L""}, {L"Number", L"-2147483647"}, {L"Small", L""},
         {L"Long", std::wstring(3000, L'L')}},
    };
    EXPECT_EQ(reader.GetRows(), rows);
    EXPECT_EQ(Cell(reader.GetRows()[0], L"NoSuchColumn"), L"");
    EXPECT_EQ(Cell(reader.GetRows()[0], L"text"), L"");  // names keep their case

    const wchar_t* const columns[] = {L"Name", L"Data", nullptr};
    ASSERT_TRUE(reader.Open(L"Binary", columns, nullptr, L"`Name` = 's0' OR `Name` = 's51201'"));
    ASSERT_EQ(reader.Binaries().size(), 2u);  // an empty stream keeps its place
    for (size_t i = 0; i < 2; ++i) {
        const auto& row = reader.GetRows().at(i);
        EXPECT_EQ(Cell(row, L"Data"), L"{Binary Data}");
        EXPECT_EQ(reader.Binaries()[i], Bytes(Cell(row, L"Name") == L"s0" ? 0 : 51201));
    }
    MSIHANDLE database = ::MsiGetActiveDatabase(mSession);
    for (size_t size : {0u, 1u, 51200u, 51201u, 200000u}) {
        TempFile out(L".bin");
        const std::wstring query = L"SELECT `Data` FROM `Binary` WHERE `Name` = 's" + std::to_wstring(size) + L"'";
        EXPECT_TRUE(tv::ExtractBinary(database, query, out.path)) << size;
        const std::string text = out.Read();
        EXPECT_EQ(std::vector<std::uint8_t>(text.begin(), text.end()), Bytes(size)) << size;
    }
    EXPECT_FALSE(tv::ExtractBinary(database, L"SELECT `Data` FROM `Binary` WHERE `Name` = 'nope'", TempFile().path));
    ::MsiCloseHandle(database);
}

TEST_F(Reader, ErrorTemplatesFailedQueriesAndReopening) {
    mPackage.Table(L"Error");
    mPackage.Row(L"Error", {4153, L"[2] is still missing."});
    Open();
    DebugLogSwitch atom;
    tv::DebugLog::Instance().Init(mSession, L"TV_Test");
    MsiTableReader reader(mSession);
    EXPECT_EQ(reader.GetErrorTemplate(4153), L"[2] is still missing.");
    EXPECT_EQ(reader.GetErrorTemplate(4154), L"");
    EXPECT_EQ(reader.GetColumns(), (Texts{L"Error", L"Message"}));  // filled without a row
    Texts templates;  // none for the number without a row
    for (const auto& line : mMessages.LogLines())
        if (line.find(L"Error template") != std::wstring::npos) templates.push_back(line);
    EXPECT_EQ(templates, Texts{L"TV_Test: Error template [4153]: [2] is still missing."});

    // A failed query is logged as built, a quote of the where text unchanged.
    mMessages.Clear();
    const wchar_t* const two[] = {L"A", L"B", nullptr};
    EXPECT_FALSE(reader.Open(L"NoSuchTable", two, two, L"`Key` = 'it''s'"));
    EXPECT_TRUE(reader.GetColumns().empty());
    const auto lines = mMessages.LogLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], L"TV_Test: RESET READER");
    EXPECT_EQ(lines[1].rfind(L"TV_Test: Error opening View: [SELECT `A`,`B` FROM `NoSuchTable` WHERE `Key` = 'it''s' "
                             L"ORDER BY `A`,`B`] Error code:", 0), 0u) << Narrow(lines[1]);
    // The next good query works and replaces the previous result whole.
    EXPECT_TRUE(reader.Open(L"Cells", nullptr, nullptr, L"`Key` = 'b'"));
    EXPECT_EQ(reader.GetRows().size(), 1u);
    const wchar_t* const noColumns[] = {nullptr};  // an empty sort list and where text add nothing
    EXPECT_TRUE(reader.Open(L"Cells", nullptr, noColumns, L""));
    EXPECT_EQ(reader.GetRows().size(), 3u);
}
