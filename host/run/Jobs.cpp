#include "host/run/Jobs.h"

#include <span>
#include <system_error>
#include <utility>

#include "host/run/Signals.h"

namespace vesk::host {

namespace {

// What a batch and its text take together should stay in a core's cache. Small reports can have
// texts that are a hundred times as long, so their number is bounded, too.
constexpr std::size_t kBatchBytes = std::size_t{64} * 1024;
constexpr std::size_t kBatchEntries = 1024;

// So many that no thread waits for another as long as their batches take about the same time.
constexpr std::size_t kBatchesPerThread = 3;

}  // namespace

Jobs::Jobs(std::size_t count, const std::function<Plugin()>& makePlugin,
           const MakeOutput& makeOutput, Commit commit)
    : _commit(std::move(commit)), _batches(kBatchesPerThread * count) {
  for (Batch& batch : _batches) batch.bytes.reserve(kBatchBytes + kLongestReport);
  for (std::size_t i = 0; i < count; ++i)
    _renderers.push_back(std::make_unique<Renderer>(makePlugin(), makeOutput));
  const HeldInterrupts held;  // for the threads: an interrupt wakes the one that waits for input
  try {
    for (std::size_t i = 1; i < count; ++i)
      _threads.emplace_back([this, i] { work(*_renderers[i]); });
  } catch (const std::system_error&) {
    return;  // no more are to be had; those that run, be it the caller's alone, do the work
  }
}

Jobs::~Jobs() {
  {
    const std::lock_guard lock(_mutex);
    _ending = true;
  }
  _submission.notify_all();
  for (std::thread& thread : _threads) thread.join();
}

void Jobs::add(const Report& report, const ReportInfo* info) {
  Entry& entry = addEntry();
  entry.report = report;
  entry.info = info;
  Batch& filled = batch(_submitted);
  const std::size_t begin = filled.bytes.size();
  filled.bytes.insert(filled.bytes.end(), report.bytes.begin(), report.bytes.end());
  entry.report.bytes = std::span(filled.bytes).subspan(begin);
  entry.report.preamble = {};  // a view of the input's
  if (filled.bytes.size() >= kBatchBytes) submit();
}

void Jobs::add(const Problem& problem) { addEntry().problem = std::make_unique<Problem>(problem); }

Jobs::Entry& Jobs::addEntry() {
  if (batch(_submitted).entries.size() == kBatchEntries) submit();
  return batch(_submitted).entries.emplace_back();
}

void Jobs::submit() {
  {
    const std::lock_guard lock(_mutex);
    ++_submitted;
  }
  _submission.notify_one();
  if (_submitted - _committed == _batches.size()) commitOldest();
}

void Jobs::commitAll() {
  if (!batch(_submitted).entries.empty()) submit();
  while (_committed != _submitted) commitOldest();
}

void Jobs::commitOldest() {
  Batch& oldest = batch(_committed);
  {
    std::unique_lock lock(_mutex);
    while (!oldest.rendered)
      if (_taken != _submitted)
        renderNext(lock, *_renderers.front());
      else
        _rendering.wait(lock);
  }
  if (oldest.failure) std::rethrow_exception(oldest.failure);
  _commit(oldest);
  oldest.bytes.clear();
  oldest.entries.clear();
  oldest.rendered = false;
  ++_committed;
}

void Jobs::work(Renderer& renderer) {
  std::unique_lock lock(_mutex);
  for (;;) {
    _submission.wait(lock, [this] { return _ending || _taken != _submitted; });
    if (_ending) return;
    renderNext(lock, renderer);
  }
}

/// Renders the oldest batch that nobody has taken. `lock` is held before and after.
void Jobs::renderNext(std::unique_lock<std::mutex>& lock, Renderer& renderer) {
  Batch& next = batch(_taken++);
  lock.unlock();
  try {
    renderer.render(next);
  } catch (...) {
    next.failure = std::current_exception();
  }
  lock.lock();
  next.rendered = true;
  _rendering.notify_one();
}

void Jobs::Renderer::render(Batch& batch) {
  std::string& text = sink.text;
  text.clear();
  for (Entry& entry : batch.entries) {
    if (entry.problem)
      output->write(*entry.problem);
    else if (auto problem = output->write(entry.report, entry.info))
      entry.problem = std::make_unique<Problem>(*std::move(problem));
    entry.textEnd = text.size();
  }
  text.swap(batch.text);
}

}  // namespace vesk::host
