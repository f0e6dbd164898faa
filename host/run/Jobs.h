/// The reports of a file decoded in several threads, and written in the order in which they were read.
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/KnownReports.h"
#include "host/Plugin.h"
#include "host/Problem.h"
#include "host/Report.h"
#include "host/outputs/Output.h"
#include "host/writing/Sink.h"

namespace vesk::host {

/// The thread that reads collects what it has read into batches. Each batch is rendered as a whole,
/// by whichever thread is free, and the one that reads is free while it must wait for the oldest
/// batch. It then commits that batch: writes its text, counts its reports, tells its problems. All
/// of that stays in one thread, and the number of batches stays the same however long the input is.
class Jobs {
 public:
  /// A report, or what an input says is wrong; with what became of it.
  struct Entry {
    Report report;
    const ReportInfo* info = nullptr;
    std::unique_ptr<Problem> problem;  // of the input, or with the report
    std::size_t textEnd = 0;           // where its text ends in the batch's
  };

  struct Batch {
    std::vector<std::uint8_t> bytes;  // of its reports; never moves
    std::vector<Entry> entries;
    std::string text;
    std::exception_ptr failure;
    bool rendered = false;
  };

  /// An output like the one of the program, on another instance and into another sink.
  using MakeOutput = std::function<std::unique_ptr<Output>(Plugin&, Sink&)>;
  using Commit = std::function<void(const Batch&)>;

  /// `count` threads in all, that of the caller included.
  Jobs(std::size_t count, const std::function<Plugin()>& makePlugin, const MakeOutput& makeOutput,
       Commit commit);
  ~Jobs();
  Jobs(const Jobs&) = delete;
  Jobs& operator=(const Jobs&) = delete;

  void add(const Report& report, const ReportInfo* info);
  void add(const Problem& problem);

  /// Commits everything that was added.
  void commitAll();

 private:
  /// What a thread renders with.
  struct Renderer {
    Renderer(Plugin instance, const MakeOutput& makeOutput)
        : plugin(std::move(instance)), output(makeOutput(plugin, sink)) {}
    void render(Batch& batch);

    Plugin plugin;
    Collector sink;
    std::unique_ptr<Output> output;
  };

  Batch& batch(std::size_t number) { return _batches[number % _batches.size()]; }
  Entry& addEntry();
  void submit();
  void commitOldest();
  void work(Renderer& renderer);
  void renderNext(std::unique_lock<std::mutex>& lock, Renderer& renderer);

  const Commit _commit;
  std::vector<std::unique_ptr<Renderer>> _renderers;  // the first one is that of the reading thread

  // Batches have numbers, and lie in a ring: those up to _committed are free again, and that of
  // number _submitted is being filled.
  std::vector<Batch> _batches;
  std::size_t _committed = 0;

  std::mutex _mutex;  // guards what follows, and `rendered` of the batches
  std::condition_variable _submission;
  std::condition_variable _rendering;
  std::size_t _submitted = 0;
  std::size_t _taken = 0;  // by a thread that renders it
  bool _ending = false;

  std::vector<std::thread> _threads;
};

}  // namespace vesk::host
