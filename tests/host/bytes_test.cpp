// Streams, their windows and their lines; and the sink at the other end.

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <thread>
#include <vector>

#include "host/inputs/Bytes.h"
#include "host/run/DescriptorSink.h"
#include "tests/host/strings.h"

namespace vesk::host {
namespace {

TEST(Bytes, WindowTakesAndPositions) {
  for (const std::size_t step : kSteps) {
    StringBytes bytes("abcdef", step);
    EXPECT_EQ(bytes.window(), "");
    EXPECT_EQ(bytes.peek(3).substr(0, 3), "abc");
    bytes.take(2);
    EXPECT_EQ(bytes.position(), 2u);
    EXPECT_EQ(bytes.peek(100), "cdef");
    bytes.take(4);
    EXPECT_EQ(bytes.peek(1), "");
    EXPECT_FALSE(bytes.readMore());
    EXPECT_EQ(bytes.position(), 6u);
  }
}

TEST(Bytes, LongStreamsPassWhole) {
  std::string content;
  for (int i = 0; i < 300000; ++i) content += std::to_string(i);
  for (const std::size_t step : {std::size_t{1000}, std::size_t{65536}, std::size_t{1} << 20}) {
    StringBytes bytes(content, step);
    std::string passed;
    while (!bytes.peek(777).empty()) {
      const std::string_view part = bytes.window().substr(0, 777);
      passed += part;
      bytes.take(part.size());
    }
    EXPECT_EQ(passed, content);
  }
}

TEST(Bytes, WindowGrowsAsFarAsItIsAsked) {
  const std::string content(3'000'000, 'x');
  StringBytes bytes(content, 60000);
  EXPECT_GE(bytes.peek(2'000'000).size(), 2'000'000u);
}

std::vector<std::string> linesOf(Bytes& bytes) {
  std::vector<std::string> result;
  LineReader lines(bytes);
  while (const auto line = lines.next()) {
    EXPECT_EQ(line->number, result.size() + 1);
    EXPECT_FALSE(line->tooLong);
    result.emplace_back(line->text);
  }
  return result;
}

TEST(LineReader, EndsOfLines) {
  for (const std::size_t step : kSteps) {
    StringBytes bytes("one\n\ntwo\r\n\r\nthree\rstill\nlast", step);
    const std::vector<std::string> expected = {"one", "", "two", "", "three\rstill", "last"};
    EXPECT_EQ(linesOf(bytes), expected);
  }
}

TEST(LineReader, NoLines) {
  StringBytes empty("");
  EXPECT_EQ(linesOf(empty), std::vector<std::string>{});
}

TEST(LineReader, LongestAndTooLong) {
  for (const std::size_t step : {std::size_t{4096}, std::size_t{1} << 22}) {
    const std::string longest(LineReader::kLongest, 'a');
    StringBytes bytes(longest + "\n" + longest + "b\nnext\n" + longest + longest + longest, step);
    LineReader lines(bytes);
    EXPECT_EQ(lines.next()->text, longest);
    const auto tooLong = lines.next();
    EXPECT_TRUE(tooLong->tooLong);
    EXPECT_EQ(tooLong->text, longest);
    EXPECT_EQ(lines.next()->text, "next");
    const auto last = lines.next();
    EXPECT_TRUE(last->tooLong);
    EXPECT_EQ(last->number, 4u);
    EXPECT_FALSE(lines.next());
  }
}

TEST(DescriptorSink, WritesAllOfItInOrder) {
  std::array<int, 2> ends;
  ASSERT_EQ(pipe(ends.data()), 0);
  std::string read;
  std::thread reader([&] {
    std::array<char, 5000> part;
    for (ssize_t count; (count = ::read(ends[0], part.data(), part.size())) > 0;)
      read.append(part.data(), static_cast<std::size_t>(count));
  });
  std::string expected;
  DescriptorSink sink(ends[1]);
  for (const int length : {0, 1, 100, 61439, 61440, 61441, 300000, 5}) {
    const auto size = static_cast<std::size_t>(length);
    const std::string text(size, static_cast<char>('a' + size % 26));
    sink.append(text);
    expected += text;
  }
  sink.append('!');
  sink.flush();
  close(ends[1]);
  reader.join();
  close(ends[0]);
  EXPECT_EQ(read, expected + "!");
}

TEST(DescriptorSink, FaultsAreTold) {
  DescriptorSink sink(-1);
  sink.append("lost");
  EXPECT_THROW(sink.flush(), OutputFault);
  EXPECT_NO_THROW(sink.flush()) << "what was lost is not tried again";
}

}  // namespace
}  // namespace vesk::host
