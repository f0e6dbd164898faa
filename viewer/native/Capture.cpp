#include "viewer/native/Capture.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "viewer/native/Imports.h"

namespace vesk::viewer {

namespace {

/// So many rows are reduced at once: they fit into a processor's cache.
constexpr std::size_t kHeldRows = 256;

/// The outputs write nowhere.
class Nowhere final : public host::Sink {
 public:
  void append(std::string_view /*text*/) override {}
};

host::Sink& nowhere() {
  static Nowhere sink;
  return sink;
}

std::unique_ptr<host::Columns> columnsOf(const Wanted& wanted, Module& module,
                                         std::string_view file) {
  host::ColumnChoice choice;
  for (const host::ReportInfo& info : module.known.all()) choice[info.decoder];
  for (const auto& [decoder, keys] : wanted) {
    if (keys)
      choice[decoder] = *keys;
    else
      choice.erase(decoder);
  }
  auto columns = std::make_unique<host::Columns>(
      host::OutputContext{module.plugin, module.known, nowhere()}, std::move(choice));
  columns->beginFile(file);
  return columns;
}

}  // namespace

Capture::Capture(Module& module, std::int32_t source, std::string name, const host::InputForm* form)
    : Capture(module, source, std::move(name)) {
  _stream.emplace(source, form, module.known);
}

Capture::Capture(Module& module, std::int32_t source, std::string name)
    : _module(module),
      _source(source),
      _name(std::move(name)),
      _pieces(source, readSource),
      _keptPieces(source, readKept),
      _statistics(module.known) {
  _statistics.beginFile(_name);
}

std::uint64_t Capture::position() const { return _stream ? _stream->bytes().position() : _kept; }

void Capture::read(std::uint64_t bytes, std::size_t entries) {
  if (!_stream) return;
  const std::uint64_t begin = position();
  const std::size_t first = _index.size();
  try {
    while (!_ended && position() - begin < bytes && _index.size() - first < entries) readNext();
  } catch (const host::InputFault& fault) {
    _ended = true;
    addFound(problemAt({}, host::ProblemCode::UnreadableInput, fault.what()));
  }
}

void Capture::readNext() {
  const host::Item item = _stream->next();
  if (const auto* const report = std::get_if<host::Report>(&item))
    addFound(*report, _stream->info());
  else if (const auto* const problem = std::get_if<host::Problem>(&item))
    addFound(*problem);
  else
    _ended = true;
}

void Capture::add(host::Report report) {
  const host::ReportInfo* const info = _module.known.find(report.id(), report.type);
  if (info != nullptr) report.type = info->type;
  addFound(report, info);
}

void Capture::reduce(const std::vector<std::string>& decoders) {
  for (const std::string& decoder : decoders) {
    const auto isRead = [&](const host::ReportInfo& info) { return info.decoder == decoder; };
    const auto& known = _module.known.all();
    const auto info = std::ranges::find_if(known, isRead);
    const bool counts = info != known.end() && info->counter;
    _reduced.try_emplace(decoder, Reduced{Series(counts ? info->counter->key : ""), {}});
  }
}

/// Decoding each report once tells now what can't be decoded.
void Capture::addFound(const host::Report& report, const host::ReportInfo* info) {
  const auto number = static_cast<std::uint32_t>(_index.size());
  Index::Kind kind;
  Index::Entry entry;
  kind.id = static_cast<std::uint16_t>(report.id());
  kind.sender = _index.numberOf(report.sender);
  if (report.type) kind.type = static_cast<std::uint8_t>(*report.type);
  kind.info = _module.rowOf(info);
  kind.unit = static_cast<std::uint8_t>(report.place.unit);
  kind.flags = Index::Kind::kHasBytes;
  entry.place = report.place.number;
  entry.length = static_cast<std::uint32_t>(report.bytes.size());
  if (report.microseconds) {
    kind.flags |= Index::Kind::kHasTime;
    entry.microseconds = *report.microseconds;
  }
  const auto offset = _stream ? _stream->bytes().offsetOf(report.bytes) : std::nullopt;
  if (!offset) kind.flags |= Index::Kind::kIsKept;
  entry.offset = offset ? *offset : keep(report.bytes);

  if (report.direction == host::Direction::ToDevice) {
    kind.flags |= Index::Kind::kToDevice;
    _statistics.countToDevice();
  } else {
    const auto reduced = info != nullptr ? _reduced.find(info->decoder) : _reduced.end();
    const bool isReduced = reduced != _reduced.end();
    host::Output& output = isReduced ? reducing() : following();
    if (const auto problem = output.write(report, info)) {
      kind.problem = static_cast<std::uint8_t>(static_cast<unsigned>(problem->code) + 1);
      entry.message = _index.numberOf(problem->message);
      _statistics.count(problem->code);
    } else {
      _statistics.count(report, info);
      if (isReduced)
        reduced->second.senders.push_back(kind.sender);
      else if (_wanted.contains(info->decoder))
        _followed[info->decoder].push_back(number);
    }
    if (_held != nullptr && _held->rows() >= kHeldRows) reduceHeld();
  }
  _index.add(kind, entry);
}

host::Output& Capture::following() {
  if (_columns == nullptr) _columns = columnsOf(_wanted, _module, _name);
  return *_columns;
}

host::Output& Capture::reducing() {
  if (_held == nullptr) {
    Wanted all;
    for (const auto& [decoder, reduced] : _reduced) all[decoder];
    _held = columnsOf(all, _module, _name);
  }
  return *_held;
}

void Capture::reduceHeld() {
  if (_held == nullptr || _held->rows() == 0) return;
  for (const auto& [decoder, table] : _held->take().byDecoder) {
    Reduced& reduced = _reduced.find(decoder)->second;
    reduced.series.add(*table, reduced.senders);
    reduced.senders.clear();
  }
}

const Series* Capture::series(std::string_view decoder) {
  reduceHeld();
  const auto found = _reduced.find(decoder);
  return found == _reduced.end() ? nullptr : &found->second.series;
}

void Capture::addFound(const host::Problem& problem) {
  Index::Kind kind;
  Index::Entry entry;
  if (problem.reportId) kind.id = static_cast<std::uint16_t>(*problem.reportId);
  if (problem.reportType) kind.type = static_cast<std::uint8_t>(*problem.reportType);
  kind.sender = _index.numberOf(problem.sender);
  kind.problem = static_cast<std::uint8_t>(static_cast<unsigned>(problem.code) + 1);
  kind.unit = static_cast<std::uint8_t>(problem.place.unit);
  // Lost reports have no place in a file.
  entry.place = problem.lost.value_or(problem.place.number);
  entry.message = _index.numberOf(problem.message);
  if (problem.microseconds) {
    kind.flags |= Index::Kind::kHasTime;
    entry.microseconds = *problem.microseconds;
  }
  _index.add(kind, entry);
  _statistics.count(problem.code);
}

/// Where they are from then on.
std::uint64_t Capture::keep(std::span<const std::uint8_t> bytes) {
  if (keepBytes(_source, bytes.data(), bytes.size()) != 0)
    throw host::InputFault(
        "its reports take more memory than a page has for what is no capture; "
        "cut the file into parts");
  return std::exchange(_kept, _kept + bytes.size());
}

Tables Capture::takeFollowed() {
  Tables tables;
  if (_columns == nullptr) return tables;
  for (auto& [decoder, table] : _columns->take().byDecoder) {
    const auto entries = _followed.find(decoder);
    if (entries != _followed.end())
      tables[decoder] = {std::move(table), std::exchange(entries->second, {})};
  }
  return tables;
}

const host::ReportInfo* Capture::infoOf(const host::Report& report) const {
  return _module.known.find(report.id(), report.type);
}

std::variant<host::Report, host::Problem> Capture::at(std::size_t number) {
  const Index::Entry entry = _index.at(number);
  const Index::Kind& kind = _index.kinds()[entry.kind];
  const host::Place place{static_cast<host::Place::Unit>(kind.unit), entry.place};
  std::optional<host::UsbSender> sender;
  if (kind.sender != 0) sender = _index.senders()[kind.sender - 1];
  std::optional<host::ReportType> type;
  if (kind.type != Index::Kind::kNoType) type = static_cast<host::ReportType>(kind.type);
  std::optional<std::int64_t> time;
  if (kind.has(Index::Kind::kHasTime)) time = entry.microseconds;

  if (!kind.has(Index::Kind::kHasBytes)) {
    host::Problem problem = problemAt(
        place,
        static_cast<host::ProblemCode>(kind.problem - 1),
        entry.message != 0 ? _index.messages()[entry.message - 1]
                           : "there were too many problems before it to keep what it says");
    if (problem.code == host::ProblemCode::LostReports) {
      problem.place = {};
      if (place.number != 0) problem.lost = place.number;
    }
    problem.microseconds = time;
    if (kind.id != Index::Kind::kNoId) problem.reportId = kind.id;
    problem.reportType = type;
    problem.sender = sender;
    return problem;
  }
  host::Report report;
  auto& pieces = kind.has(Index::Kind::kIsKept) ? _keptPieces : _pieces;
  try {
    report.bytes = pieces.at(entry.offset, entry.length);
  } catch (const host::InputFault& fault) {
    throw host::InputFault(_name + ": " + fault.what());
  }
  report.type = type;
  report.place = place;
  report.microseconds = time;
  report.sender = sender;
  if (kind.has(Index::Kind::kToDevice)) report.direction = host::Direction::ToDevice;
  return report;
}

Selected Capture::columns(const Wanted& wanted, std::span<const std::uint32_t> entries) {
  Selected selected;
  const auto columns = columnsOf(wanted, _module, _name);
  std::map<std::string, std::vector<std::uint32_t>, std::less<>> numbers;
  host::Output& output = *columns;
  for (const std::uint32_t number : entries) {
    const Index::Kind& kind = _index.kinds()[_index.at(number).kind];
    if (kind.info == 0 || kind.problem != 0 || kind.has(Index::Kind::kToDevice)) continue;
    const host::ReportInfo& info = _module.known.all()[kind.info - 1u];
    if (!wanted.contains(info.decoder)) continue;
    const auto found = at(number);
    if (!output.write(std::get<host::Report>(found), &info))
      numbers[info.decoder].push_back(number);
  }
  host::Tables taken = columns->take();
  selected.texts = std::move(taken.texts);
  for (auto& [decoder, table] : taken.byDecoder)
    selected.tables[decoder] = {std::move(table), std::move(numbers[decoder])};
  return selected;
}

}  // namespace vesk::viewer
