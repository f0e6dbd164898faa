/// One live device of a run: looked for, opened, asked for its feature reports and read, in threads
/// of its own, which put all that happens into a queue.
#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "host/KnownReports.h"
#include "host/live/Device.h"
#include "host/live/Names.h"
#include "host/live/Queue.h"
#include "host/live/Requests.h"

namespace vesk::host {

/// What to do with live devices.
struct LiveSettings {
  Selection selection = {};
  bool follow = false;   // go on with input reports
  bool wait = false;     // for a device that isn't there, or not any more
  bool verbose = false;  // tell which device it is
  std::optional<std::chrono::milliseconds> every = {};     // between rounds of requests
  std::optional<std::chrono::milliseconds> duration = {};  // of the whole run
};

/// A device, as the command line names it.
struct LiveOperand {
  DeviceName name;
  std::unique_ptr<Device> opened = {};  // null: to be opened yet
};

/// Which device has which node, so that two that can't be told apart aren't taken for each other,
/// and none is read twice.
class NodeClaims {
 public:
  /// Claims a node for a device in the place of the one that it had; false if it is another one's.
  /// What is unplugged keeps its node.
  bool claim(const std::string& node, std::size_t source);

  bool isAnothers(const std::string& node, std::size_t source);

 private:
  bool isClaimed(const std::string& node, std::size_t source) const;

  std::mutex _mutex;
  std::map<std::size_t, std::string> _nodes;  // of each device
};

/// The thread that asks also looks for the device, and waits for its return. A second one, which
/// lives as long as the device is plugged in, reads: no request makes it wait.
class Source : public std::enable_shared_from_this<Source> {
 public:
  /// `number` is what its messages have. Reports, backend and queue are shared; the first two must
  /// live until stop() returns.
  Source(std::size_t number, LiveOperand&& operand, const LiveSettings& settings,
         const KnownReports& known, Backend& backend, std::shared_ptr<MessageQueue> queue,
         std::shared_ptr<NodeClaims> claims);

  void start();

  /// Ends the threads. A request that is under way may take seconds: it is left to itself.
  void stop();

 private:
  using Clock = std::chrono::steady_clock;

  void run();
  std::shared_ptr<Device> connect();
  Opening find();
  std::vector<std::string> candidates(const std::vector<ListedDevice>& listed);
  std::optional<std::string> ambiguity(const std::vector<ListedDevice>& listed) const;
  bool mayCome(std::errc failure);
  void announce(const Device& device);
  bool serve(const std::shared_ptr<Device>& device);
  void askAll(Device& device, const RequestPlan& plan);
  bool ask(Device& device, const ReportInfo& info);
  void read(Device& device);
  bool loseDevice(const Device& device);
  bool pause(std::chrono::milliseconds time);
  bool goesOn();
  void put(Problem problem);
  void remark(std::string text);

  const std::size_t _number;
  const DeviceName _name;
  const LiveSettings _settings;
  const KnownReports& _known;
  Backend& _backend;
  const std::shared_ptr<MessageQueue> _queue;
  const std::shared_ptr<NodeClaims> _claims;
  std::thread _thread;

  // Of the thread that asks.
  std::unique_ptr<Device> _opened;
  std::optional<HidDevice> _before;  // what was unplugged
  std::set<std::string> _others;     // nodes of its likes, from before that
  std::optional<Clock::time_point> _refusedSince;
  std::size_t _next = 0;  // index of the report to ask for in the plan
  bool _isAllAsked = false;
  std::vector<std::uint8_t> _answer;

  std::mutex _mutex;  // guards what follows
  std::condition_variable _change;
  std::shared_ptr<Device> _device;  // while there is one
  bool _stopping = false;
  bool _gone = false;    // the device was unplugged
  bool _asking = false;  // a request is under way
};

}  // namespace vesk::host
