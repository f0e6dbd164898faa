// What live devices are made of: report descriptors, names, which reports are asked for, the queue,
// and the threads of a run over devices that are not there.

#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include "host/live/Descriptor.h"
#include "host/live/DeviceList.h"
#include "host/live/Live.h"
#include "host/live/Names.h"
#include "host/live/Queue.h"
#include "host/live/Requests.h"

namespace vesk::host {
namespace {

using namespace std::chrono_literals;
using Octets = std::vector<std::uint8_t>;

// ------------------------------------------------------------------------------------ descriptors

TEST(ReportDescriptor, OfAFieldAByteWide) {
  // Usage page 0xFF00, usage 1, collection; ID 0xDE, 1 field of 8 bits, feature; end.
  const DeclaredReports declared = parseDescriptor(Octets{0x06,
                                                          0x00,
                                                          0xFF,
                                                          0x09,
                                                          0x01,
                                                          0xA1,
                                                          0x01,
                                                          0x85,
                                                          0xDE,
                                                          0x75,
                                                          0x08,
                                                          0x95,
                                                          0x01,
                                                          0xB1,
                                                          0x02,
                                                          0xC0});
  EXPECT_TRUE(declared.usesIds());
  EXPECT_FALSE(declared.damage());
  EXPECT_TRUE(declared.declares(ReportType::Feature, 0xDE));
  EXPECT_EQ(declared.bits(ReportType::Feature, 0xDE), 8u);
  EXPECT_FALSE(declared.declares(ReportType::Input, 0xDE));
  EXPECT_FALSE(declared.declares(ReportType::Feature, 0x85));
}

TEST(ReportDescriptor, FieldsOfOneReportAddUp) {
  // ID 1: input 3 x 1 bit, input 5 x 1 bit of padding, input 0x0102 x 16 bits, output 1 x 16 bits.
  const DeclaredReports declared =
      parseDescriptor(Octets{0x85, 0x01, 0x75, 0x01, 0x95, 0x03, 0x81, 0x02, 0x95, 0x05, 0x81, 0x03,
                             0x75, 0x10, 0x96, 0x02, 0x01, 0x81, 0x02, 0x95, 0x01, 0x91, 0x02});
  EXPECT_EQ(declared.bits(ReportType::Input, 1), 8u + 16u * 0x102u);
  EXPECT_EQ(declared.bits(ReportType::Output, 1), 16u);
  EXPECT_EQ(declared.bits(ReportType::Feature, 1), 0u);
}

TEST(ReportDescriptor, WithoutIds) {
  const DeclaredReports declared = parseDescriptor(Octets{0x75, 0x08, 0x95, 0x04, 0x81, 0x02});
  EXPECT_FALSE(declared.usesIds());
  EXPECT_TRUE(declared.declares(ReportType::Input, 0));
  EXPECT_EQ(declared.bits(ReportType::Input, 0), 32u);
  EXPECT_FALSE(parseDescriptor({}).usesIds());
}

TEST(ReportDescriptor, PushAndPopKeepTheId) {
  // ID 1, size 8, count 1; push; ID 2, count 2, input; pop; input.
  const DeclaredReports declared = parseDescriptor(
      Octets{0x85, 1, 0x75, 8, 0x95, 1, 0xA4, 0x85, 2, 0x95, 2, 0x81, 2, 0xB4, 0x81, 2});
  EXPECT_EQ(declared.bits(ReportType::Input, 1), 8u);
  EXPECT_EQ(declared.bits(ReportType::Input, 2), 16u);
}

TEST(ReportDescriptor, LongItemsArePassedOver) {
  // A long item of 3 bytes, which look like an ID of their own.
  const DeclaredReports declared = parseDescriptor(
      Octets{0xFE, 0x03, 0xF0, 0x85, 0x09, 0x00, 0x85, 0x07, 0x75, 8, 0x95, 1, 0xB1, 2});
  EXPECT_TRUE(declared.declares(ReportType::Feature, 7));
  EXPECT_FALSE(declared.declares(ReportType::Feature, 9));
}

TEST(ReportDescriptor, DamageIsToldAndWhatComesBeforeItIsDeclared) {
  const Octets good = {0x85, 0xDE, 0x75, 0x08, 0x95, 0x01, 0xB1, 0x02};
  const auto with = [&](Octets more) {
    Octets all = good;
    all.insert(all.end(), more.begin(), more.end());
    const DeclaredReports declared = parseDescriptor(all);
    EXPECT_TRUE(declared.declares(ReportType::Feature, 0xDE));
    return declared.damage().value_or("none");
  };
  EXPECT_EQ(with({0x06, 0x00}), "an item is cut off at byte 8");
  EXPECT_EQ(with({0xFE}), "an item is cut off at byte 8");
  EXPECT_EQ(with({0xFE, 0x02, 0xF0, 0x01}), "an item is cut off at byte 8");
  EXPECT_EQ(with({0x85, 0x00}), "a report ID is none at byte 8");
  EXPECT_EQ(with({0x86, 0x00, 0x01}), "a report ID is none at byte 8");
  EXPECT_EQ(with({0x84}), "a report ID is none at byte 8");
  EXPECT_EQ(with({0xB4}), "nothing is there to pop at byte 8");
  EXPECT_EQ(with(Octets(65, 0xA4)), "too much is pushed at byte 72");
  EXPECT_EQ(with(Octets(64, 0xA4)), "none");
}

TEST(ReportDescriptor, EnormousReportsStayBounded) {
  // Size and count of 32 bits each, twice.
  const DeclaredReports declared = parseDescriptor(Octets{
      0x85, 0x01, 0x77, 0xFF, 0xFF, 0xFF, 0xFF, 0x97, 0xFF, 0xFF, 0xFF, 0xFF, 0xB1, 2, 0xB1, 2});
  EXPECT_EQ(declared.bits(ReportType::Feature, 1), DeclaredReports::kMostBits);
}

TEST(ReportDescriptor, AnyBytesAreRead) {
  std::uint32_t state = 1;
  for (int round = 0; round < 2000; ++round) {
    Octets bytes(static_cast<std::size_t>(round % 97));
    for (std::uint8_t& byte : bytes) {
      state = state * 1664525 + 1013904223;
      byte = static_cast<std::uint8_t>(state >> 24);
    }
    const DeclaredReports declared = parseDescriptor(bytes);
    for (std::uint32_t id = 0; id < kReportIds; ++id)
      EXPECT_LE(declared.bits(ReportType::Input, id), DeclaredReports::kMostBits);
  }
}

// ------------------------------------------------------------------------------------------ names

HidDevice touch() {
  return {"/dev/hidraw3", 3, 0x1209, 0x0001, "Sample Touch controller", "usb-1/input0", "A0042"};
}

TEST(DeviceNames, MeanWhatTheySay) {
  EXPECT_TRUE(DeviceName("hid:1209:0001").matches(touch()));
  EXPECT_TRUE(DeviceName("hid:1209:1").matches(touch()));
  EXPECT_FALSE(DeviceName("hid:1209:0002").matches(touch()));
  EXPECT_TRUE(DeviceName("hid:touch").matches(touch()));
  EXPECT_TRUE(DeviceName("hid:TOUCH con").matches(touch()));
  EXPECT_FALSE(DeviceName("hid:mouse").matches(touch()));
  EXPECT_TRUE(DeviceName("hid:serial=A0042").matches(touch()));
  EXPECT_FALSE(DeviceName("hid:serial=A004").matches(touch()));
  EXPECT_FALSE(DeviceName("hid:serial=a0042").matches(touch()));
  EXPECT_TRUE(DeviceName("/dev/hidraw3").matches(touch()));
  EXPECT_FALSE(DeviceName("/dev/hidraw30").matches(touch()));
}

TEST(DeviceNames, WhatLooksLikeIdsAndIsNoneIsAPartOfAName) {
  EXPECT_FALSE(DeviceName("hid:12090:0001").matches(touch()));
  EXPECT_FALSE(DeviceName("hid:1209:zz").matches(touch()));
  HidDevice odd = touch();
  odd.name = "Port 1209:zz";
  EXPECT_TRUE(DeviceName("hid:1209:ZZ").matches(odd));
}

TEST(DeviceNames, EmptyOnesAreFaults) {
  EXPECT_FALSE(DeviceName("hid:").fault().empty());
  EXPECT_FALSE(DeviceName("hid:serial=").fault().empty());
  EXPECT_TRUE(DeviceName("hid:x").fault().empty());
  EXPECT_TRUE(DeviceName("/dev/hidraw0").fault().empty());
}

TEST(DeviceNames, OfPeople) {
  EXPECT_EQ(describe(touch()),
            "/dev/hidraw3 (1209:0001 \"Sample Touch controller\", serial A0042)");
  HidDevice bare{"/dev/hidraw0", 0x18, 0xABC, 0xD, "", "", ""};
  EXPECT_EQ(describe(bare), "/dev/hidraw0 (0abc:000d)");
  EXPECT_EQ(busText(bare), "i2c");
  bare.bus = 0x19;
  EXPECT_EQ(busText(bare), "0x19");
}

// --------------------------------------------------------------------------------------- requests

const KnownReports& known() {
  static const KnownReports reports({
      {0xD0, ReportType::Feature, "parseVersion", "ersion", 2, false, true, {}},
      {0xDE, ReportType::Feature, "parseState", "tate", 2, false, false, {}},
      {0xE1, ReportType::Feature, "parseBox", "ox", 991, false, false, {}},
      {0x76, ReportType::Input, "parseImage", {}, 8, true, false, {{"FRAME_NUMBER", 4}}},
  });
  return reports;
}

/// Declares features of these IDs, and input 0x76.
Octets descriptorOf(std::initializer_list<std::uint8_t> ids) {
  Octets bytes = {0x75, 8, 0x95, 1};
  for (const std::uint8_t id : ids) bytes.insert(bytes.end(), {0x85, id, 0xB1, 2});
  bytes.insert(bytes.end(), {0x85, 0x76, 0x95, 7, 0x81, 2});
  return bytes;
}

std::vector<std::uint32_t> planned(const Octets& descriptor, const Selection& selection,
                                   std::vector<std::string> remarks = {}) {
  const RequestPlan plan = planRequests(known(), parseDescriptor(descriptor), selection);
  EXPECT_EQ(plan.remarks, remarks);
  std::vector<std::uint32_t> ids;
  for (const ReportInfo* const info : plan.reports) ids.push_back(info->id);
  return ids;
}

TEST(Requests, AreForWhatIsDeclaredAndKnown) {
  EXPECT_EQ(planned(descriptorOf({0xE1, 0xD0, 0x11}), {}),
            (std::vector<std::uint32_t>{0xD0, 0xE1}));
  EXPECT_EQ(planned(descriptorOf({}), {}), std::vector<std::uint32_t>{});
}

TEST(Requests, AreForWhatIsChosenEvenIfItIsNotDeclared) {
  EXPECT_EQ(planned(descriptorOf({0xD0, 0xDE}), {{0xDE}, {}}), std::vector<std::uint32_t>{0xDE});
  EXPECT_EQ(planned(descriptorOf({0xD0}),
                    {{0xDE, 0xD0, 0xE1}, {}},
                    {"the report descriptor does not declare report 0xDE (feature), report 0xE1 "
                     "(feature); asking all the same, for the length of the tables"}),
            (std::vector<std::uint32_t>{0xD0, 0xDE, 0xE1}));
  EXPECT_EQ(planned(descriptorOf({0xD0}), {{}, ReportType::Input}), std::vector<std::uint32_t>{});
}

TEST(Requests, AreForAllOfTheTablesWhereNoIdsAreDeclared) {
  const std::string remark =
      "the report descriptor declares no report IDs; asking for the reports that the tables know";
  EXPECT_EQ(planned({0x75, 8, 0x95, 4, 0x81, 2}, {}, {remark}),
            (std::vector<std::uint32_t>{0xD0, 0xDE, 0xE1}));
  EXPECT_EQ(planned({}, {{0xDE}, {}}, {remark}), std::vector<std::uint32_t>{0xDE});
}

TEST(Requests, AskForTheLengthOfTheTables) {
  EXPECT_EQ(lengthAsked(known().all()[2], 65536), 991u);
  EXPECT_EQ(lengthAsked(known().all()[0], 65536), 65536u);  // a text
}

TEST(Requests, AnswersAreJudged) {
  const ReportInfo& box = known().all()[2];
  const auto code = [&](std::errc failure, Octets bytes, bool gone = false) {
    const auto problem = judgeAnswer(box, failure, bytes, gone);
    if (!problem) return std::string("good");
    EXPECT_EQ(problem->reportId, 0xE1u);
    EXPECT_EQ(problem->reportType, ReportType::Feature);
    EXPECT_TRUE(problem->message.starts_with("report 0xE1 (feature): ")) << problem->message;
    return std::string(nameOf(problem->code));
  };
  EXPECT_EQ(code({}, {0xE1, 0}), "good");
  EXPECT_EQ(code({}, {0xE1}), "good");  // its length is the decoder's business
  EXPECT_EQ(code({}, {}), "empty_report");
  EXPECT_EQ(code({}, {0xE2, 0}), "mismatched_reply");
  EXPECT_EQ(code(std::errc::broken_pipe, {}), "failed_request");
  EXPECT_EQ(code(std::errc::timed_out, {}), "unanswered_request");
  EXPECT_EQ(code(std::errc::io_error, {}), "failed_request");
  EXPECT_EQ(code(std::errc::no_such_device, {}, true), "failed_request");
  const auto message = [&](std::errc failure, bool gone) {
    return judgeAnswer(box, failure, {}, gone)->message;
  };
  EXPECT_NE(message(std::errc::io_error, true).find("unplugged"), std::string::npos);
  EXPECT_EQ(message(std::errc::io_error, false).find("unplugged"), std::string::npos);
  EXPECT_NE(message(std::errc::broken_pipe, false).find("stall"), std::string::npos);
}

TEST(Requests, AccessThatIsRefusedNamesTheRule) {
  EXPECT_NE(openingFault(std::errc::permission_denied).find("60-vesk.rules"), std::string::npos);
  EXPECT_EQ(openingFault(std::errc::device_or_resource_busy).find("60-vesk.rules"),
            std::string::npos);
}

// ------------------------------------------------------------------------------------------ queue

Arrived arrival(std::uint8_t id, std::size_t size = 1) {
  return {ReportType::Input, 0, Octets(size, id)};
}

/// "76" for a report, "lost 3" for a loss, "-" for nothing.
std::string taken(MessageQueue& queue) {
  const auto message = queue.take();
  if (!message) return "-";
  if (const auto* lost = std::get_if<Lost>(&message->what))
    return "lost " + std::to_string(lost->reports) + " of " + std::to_string(message->source);
  if (const auto* report = std::get_if<Arrived>(&message->what))
    return std::to_string(report->bytes.front());
  return "other";
}

bool isReadable(const MessageQueue& queue) {
  pollfd readable = {queue.descriptor(), POLLIN, 0};
  return poll(&readable, 1, 0) == 1;
}

TEST(Queue, GivesInOrderAndIsReadableMeanwhile) {
  MessageQueue queue(1);
  EXPECT_FALSE(isReadable(queue));
  queue.offer(0, arrival(1));
  queue.offer(0, arrival(2));
  EXPECT_TRUE(isReadable(queue));
  EXPECT_EQ(taken(queue), "1");
  EXPECT_TRUE(isReadable(queue));
  EXPECT_EQ(taken(queue), "2");
  EXPECT_EQ(taken(queue), "-");
  EXPECT_FALSE(isReadable(queue));
  queue.offer(0, arrival(3));
  EXPECT_TRUE(isReadable(queue));
}

TEST(Queue, WhatHasNoRoomIsCountedWhereItIsMissing) {
  const std::size_t limit = 3 * (sizeof(Message) + 100);
  MessageQueue queue(2, limit);
  for (std::uint8_t i = 1; i <= 3; ++i) queue.offer(0, arrival(i, 100));
  for (int i = 0; i < 5; ++i) queue.offer(0, arrival(9, 100));
  queue.offer(1, arrival(9, 100));
  queue.append({1, Finished{true}});  // has room always
  EXPECT_EQ(taken(queue), "1");
  EXPECT_EQ(taken(queue), "2");
  queue.offer(0, arrival(4, 1));
  EXPECT_EQ(taken(queue), "3");
  EXPECT_EQ(taken(queue), "lost 1 of 1");
  EXPECT_EQ(taken(queue), "other");
  EXPECT_EQ(taken(queue), "lost 5 of 0");
  EXPECT_EQ(taken(queue), "4");
  EXPECT_EQ(taken(queue), "-");
}

TEST(Queue, WhatWasLostIsToldThoughNothingComesBehindIt) {
  MessageQueue queue(1, 0);
  queue.offer(0, arrival(1));
  queue.offer(0, arrival(2));
  EXPECT_EQ(taken(queue), "lost 2 of 0");
  EXPECT_EQ(taken(queue), "-");
}

TEST(Queue, LosesNothingBetweenThreads) {
  constexpr std::size_t kThreads = 3;
  constexpr int kEach = 20000;
  MessageQueue queue(kThreads, 200 * sizeof(Message));
  std::vector<std::thread> threads;
  for (std::size_t source = 0; source < kThreads; ++source) {
    threads.emplace_back([&queue, source] {
      for (int i = 0; i < kEach; ++i) queue.offer(source, {ReportType::Input, i, Octets{1}});
      queue.append({source, Finished{true}});
    });
  }
  std::vector<std::uint64_t> seen(kThreads);
  std::vector<std::int64_t> latest(kThreads, -1);
  std::size_t finished = 0;
  while (finished < kThreads) {
    const auto message = queue.take();
    if (!message) {
      pollfd readable = {queue.descriptor(), POLLIN, 0};
      ASSERT_EQ(poll(&readable, 1, 20000), 1);
      continue;
    }
    if (const auto* lost = std::get_if<Lost>(&message->what)) {
      seen[message->source] += lost->reports;
    } else if (const auto* report = std::get_if<Arrived>(&message->what)) {
      // Each report comes behind exactly those that were seen or lost before it.
      EXPECT_EQ(report->microseconds, static_cast<std::int64_t>(seen[message->source]));
      ++seen[message->source];
    } else {
      ++finished;
    }
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(seen, std::vector<std::uint64_t>(kThreads, kEach));
}

// ------------------------------------------------------------------------------------------- runs

/// What a device that is not there does; shared with the test.
struct Script {
  HidDevice info = touch();
  Octets descriptor = descriptorOf({0xD0, 0xDE});
  std::function<Transfer(std::uint8_t, std::span<std::uint8_t>)> answer =
      [](std::uint8_t id, std::span<std::uint8_t> into) {
        into[0] = id;
        into[1] = 0;
        return Transfer{2, {}};
      };

  std::mutex mutex;
  std::condition_variable change;
  std::deque<Octets> inputs;
  bool plugged = true;
  int openings = 0;

  void send(Octets bytes) {
    const std::lock_guard lock(mutex);
    inputs.push_back(std::move(bytes));
    change.notify_all();
  }
  void plug(bool in) {
    const std::lock_guard lock(mutex);
    plugged = in;
    change.notify_all();
  }
  bool isPlugged() {
    const std::lock_guard lock(mutex);
    return plugged;
  }
};

class FakeDevice final : public Device {
 public:
  explicit FakeDevice(std::shared_ptr<Script> script) : _script(std::move(script)) {}
  const HidDevice& info() const override { return _script->info; }
  std::span<const std::uint8_t> descriptor() const override { return _script->descriptor; }
  Transfer getFeature(std::uint8_t id, std::span<std::uint8_t> into) override {
    return _script->answer(id, into);
  }
  Transfer read(std::span<std::uint8_t> into) override {
    std::unique_lock lock(_script->mutex);
    _script->change.wait(
        lock, [this] { return _cancelled || !_script->plugged || !_script->inputs.empty(); });
    if (_cancelled) return {0, std::errc::operation_canceled};
    if (_script->inputs.empty()) return {0, std::errc::io_error};
    const Octets bytes = std::move(_script->inputs.front());
    _script->inputs.pop_front();
    std::ranges::copy(bytes, into.begin());
    return {bytes.size(), {}};
  }
  void cancel() override {
    const std::lock_guard lock(_script->mutex);
    _cancelled = true;
    _script->change.notify_all();
  }
  bool present() override { return _script->isPlugged(); }

 private:
  std::shared_ptr<Script> _script;
  bool _cancelled = false;
};

class FakeBackend final : public Backend {
 public:
  std::mutex mutex;
  std::vector<std::shared_ptr<Script>> scripts;

  std::vector<ListedDevice> list() override {
    const std::lock_guard held(mutex);
    std::vector<ListedDevice> listed;
    for (const auto& script : scripts)
      if (script->isPlugged()) listed.push_back({script->info, script->descriptor});
    return listed;
  }
  Opening open(const std::string& node) override {
    const std::lock_guard held(mutex);
    for (const auto& script : scripts) {
      if (script->info.node != node || !script->isPlugged()) continue;
      const std::lock_guard lock(script->mutex);
      ++script->openings;
      return {std::make_unique<FakeDevice>(script), {}};
    }
    return {nullptr, std::errc::no_such_file_or_directory};
  }
};

/// A run over fake devices, and what came of it as texts: "1: de" for the first report, "error
/// CODE", "remark TEXT".
class Runs : public ::testing::Test {
 protected:
  Runs() { script = add(); }

  std::shared_ptr<Script> add() {
    auto added = std::make_shared<Script>();
    const std::lock_guard lock(backend.mutex);
    added->info.node = "/dev/hidraw" + std::to_string(3 + backend.scripts.size());
    backend.scripts.push_back(added);
    return added;
  }

  static std::string textOf(const LiveItem& item) {
    if (const auto* remark = std::get_if<Remark>(&item.what)) return "remark " + remark->text;
    if (const auto* problem = std::get_if<Problem>(&item.what))
      return "error " + std::string(nameOf(problem->code));
    const auto& report = std::get<Report>(item.what);
    std::array<char, 8> id{};
    std::snprintf(id.data(), id.size(), "%02x", report.bytes.front());
    return std::to_string(report.place.number) + ": " + id.data();
  }

  std::unique_ptr<Live> begin(std::vector<std::string> names, const LiveSettings& settings) {
    std::vector<LiveOperand> operands;
    for (std::string& name : names) operands.push_back({DeviceName(std::move(name))});
    const auto wait = [](int descriptor, std::optional<Live::Clock::time_point> until) {
      const auto left =
          until ? std::chrono::ceil<std::chrono::milliseconds>(*until - Live::Clock::now())
                : 240'000ms;
      pollfd readable = {descriptor, POLLIN, 0};
      const int ready = poll(&readable, 1, static_cast<int>(std::max(left, 0ms).count()));
      return ready == 1 || until.has_value();
    };
    return std::make_unique<Live>(std::move(operands), settings, known(), backend, wait);
  }

  std::vector<std::string> all(std::vector<std::string> names, const LiveSettings& settings) {
    const auto live = begin(std::move(names), settings);
    std::vector<std::string> texts;
    while (const auto item = live->next()) texts.push_back(textOf(*item));
    return texts;
  }

  FakeBackend backend;
  std::shared_ptr<Script> script;
};

using Texts = std::vector<std::string>;

TEST_F(Runs, AskOnceAndEnd) {
  EXPECT_EQ(all({"/dev/hidraw3"}, {}), (Texts{"1: d0", "2: de"}));
  EXPECT_EQ(all({"hid:serial=A0042"}, {}), (Texts{"1: d0", "2: de"}));
}

TEST_F(Runs, ReportsSayWhoseTheyAre) {
  const auto live = begin({"hid:touch"}, {});
  const auto item = live->next();
  ASSERT_TRUE(item);
  EXPECT_EQ(item->name, "/dev/hidraw3");
  const auto& report = std::get<Report>(item->what);
  ASSERT_NE(report.device, nullptr);
  EXPECT_EQ(report.device->serial, "A0042");
  EXPECT_EQ(report.type, ReportType::Feature);
  EXPECT_EQ(report.place.unit, Place::Unit::Report);
  EXPECT_TRUE(report.microseconds);
  EXPECT_EQ(std::string(report.preamble).substr(0, 12), "D: 0\nR: 18 7");
  EXPECT_NE(report.preamble.find("\nN: Sample Touch controller\nP: usb-1/input0\nI: 3 1209 0001\n"),
            std::string::npos);
  EXPECT_TRUE(std::get<Report>(live->next()->what).preamble.empty());
}

TEST_F(Runs, FollowUntilTheTimeIsOver) {
  LiveSettings settings;
  settings.follow = true;
  settings.duration = 5s;  // which all four have to come in
  script->send({0x76, 1});
  script->send({0x76, 2});
  Texts texts = all({"/dev/hidraw3"}, settings);
  EXPECT_EQ(texts.size(), 4u);
}

TEST_F(Runs, ASlowRequestDoesNotDelayInputReports) {
  std::mutex mutex;
  std::condition_variable change;
  bool released = false;
  script->answer = [&](std::uint8_t id, std::span<std::uint8_t> into) {
    std::unique_lock lock(mutex);
    change.wait(lock, [&] { return released; });
    into[0] = id;
    return Transfer{2, {}};
  };
  LiveSettings settings;
  settings.follow = true;
  const auto live = begin({"/dev/hidraw3"}, settings);
  script->send({0x76, 1});
  EXPECT_EQ(textOf(*live->next()), "1: 76");
  {
    const std::lock_guard lock(mutex);
    released = true;
    change.notify_all();
  }
  EXPECT_EQ(textOf(*live->next()), "2: d0");
  EXPECT_EQ(textOf(*live->next()), "3: de");
}

TEST_F(Runs, EndDoesNotWaitForASlowRequest) {
  struct Gate {
    std::mutex mutex;
    std::condition_variable change;
    bool entered = false;
    bool released = false;
  };
  const auto gate = std::make_shared<Gate>();
  script->answer = [gate](std::uint8_t, std::span<std::uint8_t>) {
    std::unique_lock lock(gate->mutex);
    gate->entered = true;
    gate->change.notify_all();
    gate->change.wait(lock, [&] { return gate->released; });
    return Transfer{0, std::errc::timed_out};
  };
  {
    const auto live = begin({"/dev/hidraw3"}, {});
    std::unique_lock lock(gate->mutex);
    gate->change.wait(lock, [&] { return gate->entered; });
  }  // the run is over, and the request is not
  const std::lock_guard lock(gate->mutex);
  gate->released = true;
  gate->change.notify_all();
}

TEST_F(Runs, AskAgainAndAgain) {
  LiveSettings settings;
  settings.every = 20ms;
  const auto live = begin({"/dev/hidraw3"}, settings);
  for (const char* const text : {"1: d0", "2: de", "3: d0", "4: de", "5: d0"})
    EXPECT_EQ(textOf(*live->next()), text);
}

TEST_F(Runs, FailuresAreToldAndTheNextIsAsked) {
  script->answer = [](std::uint8_t id, std::span<std::uint8_t> into) {
    if (id == 0xD0) return Transfer{0, std::errc::broken_pipe};
    into[0] = 0x11;
    return Transfer{2, {}};
  };
  EXPECT_EQ(all({"/dev/hidraw3"}, {}), (Texts{"error failed_request", "error mismatched_reply"}));
}

TEST_F(Runs, AnUnplugEndsThem) {
  LiveSettings settings;
  settings.follow = true;
  const auto live = begin({"/dev/hidraw3"}, settings);
  EXPECT_EQ(textOf(*live->next()), "1: d0");
  EXPECT_EQ(textOf(*live->next()), "2: de");
  script->send({0x76, 1});
  script->plug(false);  // what came before it is still read
  EXPECT_EQ(textOf(*live->next()), "3: 76");
  EXPECT_EQ(textOf(*live->next()), "error device_lost");
  EXPECT_FALSE(live->next());
}

TEST_F(Runs, AReturnIsWaitedFor) {
  LiveSettings settings;
  settings.follow = true;
  settings.wait = true;
  const auto live = begin({"hid:touch"}, settings);
  EXPECT_EQ(textOf(*live->next()), "1: d0");
  EXPECT_EQ(textOf(*live->next()), "2: de");
  script->plug(false);
  EXPECT_EQ(textOf(*live->next()), "remark unplugged; waiting for its return");
  script->plug(true);
  EXPECT_EQ(textOf(*live->next()), "remark it is back");
  EXPECT_EQ(textOf(*live->next()), "3: d0");
}

TEST_F(Runs, AnotherDeviceOfThatKindIsNotItsReturn) {
  const auto other = add();
  LiveSettings settings;
  settings.follow = true;
  settings.wait = true;
  settings.selection.type = ReportType::Input;
  const auto live = begin({"/dev/hidraw3"}, settings);
  script->send({0x76, 1});
  EXPECT_EQ(textOf(*live->next()), "1: 76");
  script->plug(false);
  EXPECT_EQ(textOf(*live->next()), "remark unplugged; waiting for its return");
  std::this_thread::sleep_for(200ms);
  EXPECT_EQ(other->openings, 0);
  const auto third = add();  // the same, at another port
  const auto back = live->next();
  EXPECT_EQ(textOf(*back), "remark it is back");
  EXPECT_EQ(back->name, "/dev/hidraw5");
}

TEST_F(Runs, DevicesOfAKindDoNotTakeEachOthersNode) {
  const auto other = add();
  LiveSettings settings;
  settings.follow = true;
  settings.wait = true;
  settings.selection.type = ReportType::Input;
  const auto live = begin({"/dev/hidraw3", "/dev/hidraw4"}, settings);
  script->send({0x76, 1});
  EXPECT_EQ(live->next()->name, "/dev/hidraw3");
  other->send({0x76, 1});
  EXPECT_EQ(live->next()->name, "/dev/hidraw4");
  script->plug(false);
  EXPECT_EQ(textOf(*live->next()), "remark unplugged; waiting for its return");
  other->plug(false);
  EXPECT_EQ(textOf(*live->next()), "remark unplugged; waiting for its return");
  other->plug(true);
  const auto back = live->next();
  EXPECT_EQ(back->name, "/dev/hidraw4");
  std::this_thread::sleep_for(150ms);
  EXPECT_EQ(other->openings, 2);
}

TEST_F(Runs, NoDeviceIsReadTwice) {
  const auto texts = all({"/dev/hidraw3", "hid:touch"}, {});
  EXPECT_EQ(std::ranges::count(texts, "error unreadable_input"), 1);
  EXPECT_EQ(texts.size(), 3u);
}

TEST_F(Runs, WhatIsNotThereIsWaitedFor) {
  LiveSettings settings;
  settings.wait = true;
  script->plug(false);
  const auto live = begin({"hid:touch"}, settings);
  EXPECT_EQ(textOf(*live->next()), "remark waiting for the device");
  script->plug(true);
  EXPECT_EQ(textOf(*live->next()), "1: d0");
}

TEST_F(Runs, WhatIsNotThereIsAnError) {
  EXPECT_EQ(all({"hid:mouse"}, {}), Texts{"error unreadable_input"});
  EXPECT_EQ(all({"/dev/hidraw9"}, {}), Texts{"error unreadable_input"});
  EXPECT_EQ(all({"hid:"}, {}), Texts{"error unreadable_input"});
  LiveSettings settings;
  settings.wait = true;
  settings.duration = 50ms;
  EXPECT_EQ(all({"hid:mouse"}, settings),
            (Texts{"remark waiting for the device", "error unreadable_input"}));
}

TEST_F(Runs, SeveralOfANameAreListed) {
  add();
  const auto live = begin({"hid:1209:0001"}, {});
  const auto item = live->next();
  ASSERT_EQ(textOf(*item), "error unreadable_input");
  const std::string& message = std::get<Problem>(item->what).message;
  EXPECT_NE(message.find("/dev/hidraw3"), std::string::npos);
  EXPECT_NE(message.find("/dev/hidraw4"), std::string::npos);
}

TEST_F(Runs, TwoDevicesAreReadAtOnce) {
  add();
  LiveSettings settings;
  settings.follow = true;
  const auto live = begin({"/dev/hidraw3", "/dev/hidraw4"}, settings);
  std::map<std::string, int> reports;
  for (int i = 0; i < 4; ++i) ++reports[std::string(live->next()->name)];
  EXPECT_EQ(reports, (std::map<std::string, int>{{"/dev/hidraw3", 2}, {"/dev/hidraw4", 2}}));
  backend.scripts[1]->send({0x76, 1});
  EXPECT_EQ(live->next()->name, "/dev/hidraw4");
  backend.scripts[0]->send({0x76, 1});
  EXPECT_EQ(live->next()->name, "/dev/hidraw3");
}

TEST_F(Runs, AForeignDeviceIsNotAsked) {
  script->descriptor = {0x85, 1, 0x75, 8, 0x95, 3, 0x81, 2};
  EXPECT_EQ(all({"/dev/hidraw3"}, {}), Texts{"error unsupported_input"});
}

TEST_F(Runs, ADeviceThatDiesOfAReportIsNotAskedForItAgain) {
  script->answer = [&](std::uint8_t id, std::span<std::uint8_t> into) {
    if (id == 0xDE) {
      into[0] = id;
      return Transfer{2, {}};
    }
    script->plug(false);
    return Transfer{0, std::errc::io_error};
  };
  LiveSettings settings;
  settings.wait = true;
  const auto live = begin({"/dev/hidraw3"}, settings);
  EXPECT_EQ(textOf(*live->next()), "error failed_request");
  EXPECT_EQ(textOf(*live->next()), "remark unplugged; waiting for its return");
  script->plug(true);
  EXPECT_EQ(textOf(*live->next()), "remark it is back");
  EXPECT_EQ(textOf(*live->next()), "1: de");
  EXPECT_FALSE(live->next());
}

TEST_F(Runs, TheListShowsWhatIsKnown) {
  const auto rows = surveyDevices(backend, known());
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].known, 3u);  // two feature reports and the image
  EXPECT_EQ(deviceTable(rows, 4),
            "NODE          BUS  VID:PID    KNOWN           SERIAL  NAME\n"
            "/dev/hidraw3  usb  1209:0001  3 of 4 reports  A0042   Sample Touch controller\n");
}

}  // namespace
}  // namespace vesk::host
