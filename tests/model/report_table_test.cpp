#include "plugin/ReportTable.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace vesk {
namespace {

TEST(ReportTable, FindsAKeyOfAnyKind) {
  const ReportTable table{{0xD0, "parseVersion"}, {0xE1, "parseBlackBoxFullReport"}};
  for (const Number& key : {Number(0xD0),
                            Number(0xD0u),
                            Number(std::uint8_t{0xD0}),
                            Number(std::uint16_t{0xD0}),
                            Number(0xD0LL),
                            Number(208.0)}) {
    ASSERT_NE(table.find(key), nullptr);
    EXPECT_EQ(*table.find(key), "parseVersion");
  }
  EXPECT_EQ(*table.find(0xE1u), "parseBlackBoxFullReport");
}

TEST(ReportTable, FindsNothingForAnotherKey) {
  const ReportTable table{{0xD0, "parseVersion"}, {-1, "negative"}};
  EXPECT_EQ(table.find(0x76u), nullptr);
  EXPECT_EQ(table.find(0xFFFFFFFFu), nullptr);
  EXPECT_EQ(table.find(0xFFFFFFFFFFFFFFFFu), nullptr);
  EXPECT_EQ(table.find(0x1D0u), nullptr);
  EXPECT_EQ(table.find(208.5), nullptr);
  EXPECT_EQ(ReportTable().find(0), nullptr);
}

TEST(ReportTable, KeepsTheOrderOfItsRows) {
  ReportTable table{{3, "c"}, {1, "a"}};
  table.set(2u, "b");
  std::vector<std::pair<int, std::string>> rows;
  for (const auto& [id, name] : table) rows.emplace_back(static_cast<int>(id.bits()), name);
  EXPECT_EQ(rows, (std::vector<std::pair<int, std::string>>{{3, "c"}, {1, "a"}, {2, "b"}}));
  EXPECT_EQ(table.size(), 3u);
}

TEST(ReportTable, ReplacesTheNameOfAnEqualKey) {
  ReportTable table{{1, "one"}, {2, "two"}, {1u, "first"}};
  EXPECT_EQ(table.size(), 2u);
  EXPECT_EQ(*table.find(1), "first");
  table.set(2.0, "second");
  EXPECT_EQ(table.size(), 2u);
  EXPECT_EQ(*table.find(2), "second");
  EXPECT_EQ(table.begin()->second, "first");
  EXPECT_EQ(table.begin()->first.kind(), Kind::Int);  // the key stays the one it was made with
}

TEST(ReportTable, CopiesAreIndependent) {
  ReportTable table{{1, "one"}};
  ReportTable copy = table;
  copy.set(1, "changed");
  copy.set(2, "new");
  EXPECT_EQ(*table.find(1), "one");
  EXPECT_EQ(table.size(), 1u);
  table = copy;
  EXPECT_EQ(*table.find(2), "new");
  table = {};
  EXPECT_EQ(table.size(), 0u);
  EXPECT_TRUE(table.begin() == table.end());
}

TEST(ReportTable, MayHoldAnEmptyName) {
  const ReportTable table{{1, ""}};
  ASSERT_NE(table.find(1), nullptr);
  EXPECT_EQ(*table.find(1), "");
}

}  // namespace
}  // namespace vesk
