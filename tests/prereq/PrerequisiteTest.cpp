// Reading TV_PreRequisite through a real session.
#include "Harness.h"
#include "prereq/Prerequisite.h"

using namespace tvtest;
using tv::Cell;
using tv::Prerequisite;

namespace {
class PrereqTable : public SessionTest {};

std::vector<Prerequisite> ReadAll(MSIHANDLE session) {
    return tv::ReadPrereqList(session, [](const Prerequisite&) { return true; });
}
}  // namespace

TEST_F(PrereqTable, RowsComeInSequenceOrderWithEveryColumn) {
    mPackage.Prereq({{L"PrereqKey", L"late"}, {L"Sequence", 30}, {L"Location", 1}, {L"RollbackComLine", L"/undo"}});
    mPackage.Prereq({{L"PrereqKey", L"first"}, {L"Sequence", 5}, {L"ExactSize", L"5000000000"}});
    mPackage.Prereq({{L"PrereqKey", L"middle"}, {L"Sequence", 12}, {L"Options", L"fl"}});
    Open();
    const auto rows = ReadAll(mSession);  // the reader is gone; the copies remain
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(Cell(rows[0], L"PrereqKey"), L"first");
    EXPECT_EQ(Cell(rows[1], L"PrereqKey"), L"middle");
    EXPECT_EQ(Cell(rows[2], L"PrereqKey"), L"late");
    for (const auto& row : rows) EXPECT_EQ(row.size(), 26u);
    EXPECT_EQ(Cell(rows[2], L"RollbackComLine"), L"/undo");
    EXPECT_EQ(Cell(rows[1], L"Options"), L"fl");
    EXPECT_EQ(Cell(rows[0], L"Location"), L"");  // a null Location reads as empty text...
    EXPECT_EQ(tv::CellInt(rows[0], L"Location"), 0);  // ...and as Location 0
    EXPECT_EQ(tv::CellInt(rows[2], L"Location"), 1);
    EXPECT_EQ(tv::CellInt64(rows[0], L"ExactSize"), 5000000000LL);
}

TEST_F(PrereqTable, FilterKeepsCopiesOfPassingRows) {
    for (int i = 1; i <= 6; ++i)
        mPackage.Prereq({{L"PrereqKey", L"p" + std::to_wstring(i)}, {L"Sequence", 7 - i}});
    Open();
    const auto even = tv::ReadPrereqList(mSession, [](const Prerequisite& row) { return tv::CellInt(row, L"Sequence") % 2 == 0; });
    ASSERT_EQ(even.size(), 3u);
    EXPECT_EQ(Cell(even[0], L"PrereqKey"), L"p5");
    EXPECT_EQ(Cell(even[2], L"PrereqKey"), L"p1");
}

TEST_F(PrereqTable, ATableWithoutOneColumnGivesNoRows) {
    mPackage.TableSql(
        L"CREATE TABLE `TV_PreRequisite` (`PrereqKey` CHAR(72) NOT NULL, `DisplayName` CHAR(255), "
        L"`Sequence` LONG PRIMARY KEY `PrereqKey`)");
    mPackage.Row(L"TV_PreRequisite", {L"only", L"Only", 1});
    Open();
    EXPECT_TRUE(ReadAll(mSession).empty());
}

TEST_F(PrereqTable, NoTableGivesNoRows) {
    Open();
    EXPECT_TRUE(ReadAll(mSession).empty());
}

TEST(PrereqCells, IntegersTakeLeadingDigits) {
    const std::pair<const wchar_t*, int> cases[] = {
        {L"", 0}, {L"abc", 0}, {L"12abc", 12}, {L"-3", -3}, {L"2", 2}, {L"007", 7},
    };
    for (const auto& [text, value] : cases) {
        tv::TableRow row{{L"Location", text}};
        EXPECT_EQ(tv::CellInt(row, L"Location"), value) << Narrow(text);
    }
}
