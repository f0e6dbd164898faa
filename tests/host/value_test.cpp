// A report's object as values, from the plug-in as it is.

#include "host/Value.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace vesk::host {
namespace {

std::vector<Field> decoded(std::vector<std::uint8_t> bytes, ReportType type) {
  static const PluginLibrary library(VESK_PLUGIN);
  Plugin plugin(library, {});
  const KnownReports known(plugin.reports());
  const std::uint32_t id = bytes.front();
  return fieldsOf(plugin.decode(bytes, *known.find(id, type), Plugin::Mode::Object));
}

TEST(Value, OfAnImageFrameInItsOrder) {
  std::vector<std::uint8_t> bytes(792);
  bytes[0] = 0x76;
  bytes[4] = 0x2A;   // FRAME_NUMBER
  bytes[16] = 0xFE;  // D_SCAN_I[0] is -2
  bytes[17] = 0xFF;
  bytes[18] = 0xFF;
  bytes[19] = 0xFF;
  bytes[16 + 4 * 47] = 7;  // D_SCAN_I[47]
  const auto fields = decoded(bytes, ReportType::Input);
  const auto named = [&](std::string_view key) -> const Value* {
    for (const Field& field : fields)
      if (field.key == key) return &field.value;
    return nullptr;
  };
  ASSERT_NE(named("FRAME_NUMBER"), nullptr);
  const auto number = std::get<vesk_number>(*named("FRAME_NUMBER"));
  EXPECT_EQ(number.kind, VESK_UNSIGNED_INT);
  EXPECT_EQ(number.value.u, 42u);
  ASSERT_NE(named("D_SCAN_I"), nullptr);
  const auto& samples = std::get<ArrayValue>(*named("D_SCAN_I"));
  EXPECT_EQ(samples.kind, VESK_INT);
  ASSERT_EQ(samples.count, 48u);
  EXPECT_EQ(elementOf(samples, 0).value.i, -2);
  EXPECT_EQ(elementOf(samples, 1).value.i, 0);
  EXPECT_EQ(elementOf(samples, 47).value.i, 7);
  EXPECT_TRUE(same(Value(samples), *named("D_SCAN_I")));
  bytes[20] = 1;
  for (const Field& field : decoded(bytes, ReportType::Input))
    if (field.key == "D_SCAN_I") {
      EXPECT_FALSE(same(field.value, Value(samples)));
    }
}

TEST(Value, OfABareString) {
  const auto fields = decoded({0xD0, '1', '.', '2', 0}, ReportType::Feature);
  ASSERT_EQ(fields.size(), 1u);
  EXPECT_EQ(fields[0].key, "");
  EXPECT_EQ(std::get<std::string>(fields[0].value), "1.2");
}

TEST(Value, ANanIsItselfAndAKindIsPartOfANumber) {
  vesk_number nan{VESK_FLOAT, {}};
  nan.value.d = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(same(nan, nan));
  vesk_number one{VESK_INT, {}};
  one.value.i = 1;
  vesk_number other = one;
  EXPECT_TRUE(same(one, other));
  other.kind = VESK_LONG_LONG;
  EXPECT_FALSE(same(one, other));
  EXPECT_FALSE(same(Value(one), Value(std::string("1"))));
  EXPECT_TRUE(same(Value(), Value()));
}

TEST(Value, KindsAreNamedAsInC) {
  EXPECT_EQ(nameOfKind(VESK_UNSIGNED_LONG_LONG), "unsigned long long");
  EXPECT_EQ(nameOfKind(VESK_BOOL), "bool");
  EXPECT_EQ(nameOfKind(-1), "unknown kind");
  EXPECT_EQ(nameOfKind(9), "unknown kind");
}

}  // namespace
}  // namespace vesk::host
