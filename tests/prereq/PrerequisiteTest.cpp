// Reading TV_PreRequisite through a real session.
#include "Harness.h"
#include "prereq/Prerequisite.h"

using namespace tvtest;
using tv::Cell;
using tv::Prerequisite;

using PrereqTable = SessionTest;

static auto ReadAll(MSIHANDLE s) { return tv::ReadPrereqList(s, [](const Prerequisite&) { return true; }); }

TEST_F(PrereqTable, RowsComeInSequenceOrderWithEveryColumn) {
    mPackage.Prereq({{L"PrereqKey", L"late"}, {L"Sequence", 30}, {L"Location", 1}, {L"RollbackComLine", L"/undo"}});
    mPackage.Prereq({{L"PrereqKey", L"first"}, {L"Sequence", 5}, {L"ExactSize", L"5000000000"}});
    mPackage.Prereq({{L"PrereqKey", L"middle"}, {L"Sequence", 12}, {L"Options", L"fl"}});
    const auto rows = ReadAll(Open());  // the reader is gone; the copies remain
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(Cell(rows[0], L"PrereqKey") + L" " + Cell(rows[1], L"PrereqKey") + L" " + Cell(rows[2], L"PrereqKey"),
              L"first middle late");
    for (const auto& row : rows) EXPECT_EQ(row.size(), 26u);
    EXPECT_EQ(Cell(rows[2], L"RollbackComLine"), L"/undo");
    EXPECT_EQ(Cell(rows[0], L"Location"), L"");  // a null Location reads as empty text, so as Location 0
    EXPECT_EQ(Cell(rows[2], L"Location"), L"1");  // an integer column reads as text
    EXPECT_EQ(tv::CellInt64(rows[0], L"ExactSize"), 5000000000LL);
    for (const auto& [text, value] : {std::pair{L"", 0}, {L"abc", 0}, {L"12abc", 12}, {L"-3", -3}, {L"007", 7}})
        EXPECT_EQ(tv::CellInt({{L"L", text}}, L"L"), value) << "integers take leading digits: " << Narrow(text);
    // A filter keeps copies of the rows it passes, in the same order.
    const auto kept = tv::ReadPrereqList(mSession, [](const Prerequisite& r) { return Cell(r, L"Options").empty(); });
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_EQ(Cell(kept[0], L"PrereqKey") + L" " + Cell(kept[1], L"PrereqKey"), L"first late");
}

TEST_F(PrereqTable, NoRowsWithoutTheTableOrWithoutOneOfItsColumns) {
    EXPECT_TRUE(ReadAll(Open()).empty()) << "no table";
    TestPackage partial;
    partial.TableSql(L"CREATE TABLE `TV_PreRequisite` (`PrereqKey` CHAR(72) NOT NULL, `DisplayName` CHAR(255), "
                     L"`Sequence` LONG PRIMARY KEY `PrereqKey`)");
    partial.Row(L"TV_PreRequisite", {L"only", L"Only", 1});
    EXPECT_TRUE(ReadAll(partial.OpenSession()).empty()) << "a table without one of the columns";
}
