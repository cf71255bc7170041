// The table reader against real databases: cell rules, queries, streams.
#include <numeric>
#include "Harness.h"
#include "frame/DebugLog.h"
#include "frame/MsiTableReader.h"

using namespace tvtest;
using tv::Cell;
using tv::MsiTableReader;

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
        mPackage.Table(L"UIText");
    }
    void LogOn() {
        mLog = std::make_unique<DebugLogSwitch>();
        tv::DebugLog::Instance().Init(mSession, L"TV_Test");
    }
    std::unique_ptr<DebugLogSwitch> mLog;
};

}  // namespace

TEST(ReaderQuery, BuildsTheExactSqlText) {
    const wchar_t* const two[] = {L"Description", L"Template", nullptr};
    const wchar_t* const one[] = {L"Sequence", nullptr};
    const wchar_t* const none[] = {nullptr};
    struct Case {
        const wchar_t* const* columns;
        const wchar_t* const* sort;
        const wchar_t* where;
        std::wstring query;
    };
    const Case cases[] = {
        {two, nullptr, L" `Action` = 'AppSearch' ",
         L"SELECT `Description`,`Template` FROM `ActionText` WHERE  `Action` = 'AppSearch' "},
        {nullptr, nullptr, nullptr, L"SELECT * FROM `ActionText`"},
        {nullptr, none, L"", L"SELECT * FROM `ActionText`"},
        {one, one, nullptr, L"SELECT `Sequence` FROM `ActionText` ORDER BY `Sequence`"},
        {nullptr, two, L"`Key` = 'it''s'", L"SELECT * FROM `ActionText` WHERE `Key` = 'it''s' ORDER BY `Description`,`Template`"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(MsiTableReader::BuildQuery(L"ActionText", c.columns, c.sort, c.where), c.query);
}

TEST_F(Reader, EveryCellArrivesAsText) {
    Open();
    MsiTableReader reader(mSession);
    const wchar_t* const order[] = {L"Key", nullptr};
    ASSERT_TRUE(reader.Open(L"Cells", nullptr, order, nullptr));
    EXPECT_EQ(reader.GetColumns(), (std::vector<std::wstring>{L"Key", L"Text", L"Local", L"Number", L"Small", L"Long"}));
    const auto& rows = reader.GetRows();
    ASSERT_EQ(rows.size(), 3u);
    struct Expect {
        const wchar_t* column;
        std::wstring a, b, c;
    };
    const Expect expected[] = {
        {L"Text", L"alpha", L"", L"it's"},
        {L"Local", L"Alpha", L"", L""},
        {L"Number", L"12", L"", L"-2147483647"},  // a null integer is empty, not "0"
        {L"Small", L"3", L"-7", L""},
        {L"Long", L"x", L"", std::wstring(3000, L'L')},
    };
    for (const Expect& e : expected) {
        EXPECT_EQ(Cell(rows[0], e.column), e.a) << Narrow(e.column);
        EXPECT_EQ(Cell(rows[1], e.column), e.b) << Narrow(e.column);
        EXPECT_EQ(Cell(rows[2], e.column), e.c) << Narrow(e.column);
    }
    const size_t before = rows[0].size();
    EXPECT_EQ(Cell(rows[0], L"NoSuchColumn"), L"");
    EXPECT_EQ(Cell(rows[0], L"text"), L"");  // names keep their case
    EXPECT_EQ(rows[0].size(), before);
}

TEST_F(Reader, StreamsArriveWholeAndInFetchOrder) {
    Open();
    MsiTableReader reader(mSession);
    const wchar_t* const columns[] = {L"Name", L"Data", nullptr};
    ASSERT_TRUE(reader.Open(L"Binary", columns, nullptr, L"`Name` = 's0' OR `Name` = 's51201'"));
    ASSERT_EQ(reader.GetRows().size(), 2u);
    ASSERT_EQ(reader.Binaries().size(), 2u);
    for (size_t i = 0; i < 2; ++i) {
        const auto& row = reader.GetRows()[i];
        EXPECT_EQ(Cell(row, L"Data"), L"{Binary Data}");
        const size_t size = Cell(row, L"Name") == L"s0" ? 0 : 51201;
        EXPECT_EQ(reader.Binaries()[i], Bytes(size));
    }
}

TEST_F(Reader, EmptyTableFailedQueryAndReopen) {
    Open();
    LogOn();
    MsiTableReader reader(mSession);
    EXPECT_FALSE(reader.Open(L"UIText", nullptr, nullptr, nullptr));
    EXPECT_EQ(reader.GetColumns(), (std::vector<std::wstring>{L"Key", L"Text"}));

    mMessages.Clear();
    EXPECT_FALSE(reader.Open(L"NoSuchTable", nullptr, nullptr, L"`Key` = 'it''s'"));
    EXPECT_FALSE(reader.Ok());
    EXPECT_TRUE(reader.GetColumns().empty());
    const auto lines = mMessages.LogLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], L"TV_Test: RESET READER");
    EXPECT_EQ(lines[1].rfind(L"TV_Test: Error opening View: [SELECT * FROM `NoSuchTable` WHERE `Key` = 'it''s'] "
                             L"Error code:", 0),
              0u);

    const wchar_t* const badColumn[] = {L"Nope", nullptr};
    EXPECT_FALSE(reader.Open(L"Cells", badColumn, nullptr, nullptr));
    EXPECT_TRUE(reader.Open(L"Cells", nullptr, nullptr, L"`Key` = 'b'"));
    ASSERT_EQ(reader.GetRows().size(), 1u);
    EXPECT_EQ(Cell(reader.GetRows()[0], L"Small"), L"-7");
    EXPECT_TRUE(reader.Open(L"Cells", nullptr, nullptr, nullptr));
    EXPECT_EQ(reader.GetRows().size(), 3u);  // the second result replaces the first
}

TEST_F(Reader, WorksOnADatabaseHandleAndWithoutOne) {
    mPackage.Build();
    MSIHANDLE database = 0;
    ASSERT_EQ(::MsiOpenDatabaseW(mPackage.Path().c_str(), MSIDBOPEN_READONLY, &database), 0u);
    {
        MsiTableReader reader(database);
        EXPECT_TRUE(reader.Open(L"Cells", nullptr, nullptr, nullptr));
        EXPECT_EQ(reader.GetRows().size(), 3u);
    }
    // The reader borrowed the handle: it is still usable.
    MSIHANDLE view = 0;
    EXPECT_EQ(::MsiDatabaseOpenViewW(database, L"SELECT * FROM `Cells`", &view), 0u);
    ::MsiCloseHandle(view);
    ::MsiCloseHandle(database);

    MsiTableReader none(static_cast<MSIHANDLE>(0));
    EXPECT_FALSE(none.Ok());
    EXPECT_FALSE(none.Open(L"Cells", nullptr, nullptr, nullptr));
}

TEST_F(Reader, ExtractBinaryWritesEveryByte) {
    Open();
    MSIHANDLE database = ::MsiGetActiveDatabase(mSession);
    for (size_t size : {0u, 1u, 51200u, 51201u, 200000u}) {
        SCOPED_TRACE(size);
        TempFile out(L".bin");
        const std::wstring query = L"SELECT `Data` FROM `Binary` WHERE `Name` = 's" + std::to_wstring(size) + L"'";
        EXPECT_TRUE(tv::ExtractBinary(database, query, out.path));
        const std::string text = out.Read();
        EXPECT_EQ(std::vector<std::uint8_t>(text.begin(), text.end()), Bytes(size));
    }
    TempFile none;
    EXPECT_FALSE(tv::ExtractBinary(database, L"SELECT `Data` FROM `Binary` WHERE `Name` = 'nope'", none.path));
    EXPECT_FALSE(tv::ExtractBinary(database, L"SELECT `Data` FROM `Nowhere`", none.path));
    ::MsiCloseHandle(database);
}

TEST_F(Reader, ErrorTemplatesAndUiTexts) {
    mPackage.Table(L"Error");
    mPackage.Row(L"Error", {4153, L"[2] is still missing."});
    mPackage.Row(L"UIText", {L"InstallingPrereq", L"Installing [1]"});
    Open();
    LogOn();
    MsiTableReader reader(mSession);
    EXPECT_EQ(reader.GetErrorTemplate(4153), L"[2] is still missing.");
    EXPECT_EQ(reader.GetErrorTemplate(4154), L"");
    EXPECT_EQ(reader.GetUiText(L"InstallingPrereq"), L"Installing [1]");
    EXPECT_EQ(reader.GetUiText(L"Missing"), L"");
    bool logged = false;
    for (const auto& line : mMessages.LogLines())
        logged |= line == L"TV_Test: Error template [4153]: [2] is still missing.";
    EXPECT_TRUE(logged);
}
