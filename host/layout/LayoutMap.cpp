#include "host/layout/LayoutMap.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "host/Value.h"
#include "host/layout/Probe.h"

namespace vesk::host {

namespace {

constexpr std::size_t kBits = 8;
constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kNumeric = "0123456789.+-";
constexpr std::string_view kValue = "…";

// -------------------------------------------------------------------------------------- the labels

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

/// What is the same in one line of all contents.
class LineTexts {
 public:
  explicit LineTexts(const ProbedReport& probed) : _probed(probed) {
    const std::size_t count = probed.pieces.lineCount;
    std::vector<bool> moves(count);
    for (const BitEffect& bit : probed.bits)
      for (const std::uint32_t piece : bit.moved)
        if (piece >= probed.pieces.firstLine) moves[piece - probed.pieces.firstLine] = true;
    for (std::size_t line = 0; line < count; ++line) {
      _constant.push_back(!moves[line] && isAlike(line));
      _labels.push_back(labelOf(line));
      ++_sameLabels[_labels.back()];
    }
    addHeadings();
  }

  const std::string& label(std::size_t line) const { return _labels[line]; }

  /// The nearest line above that stays, for a line whose label alone doesn't tell which one it is:
  /// it has none, or another line has the same. The latter has a heading in its own paragraph only.
  const std::string& heading(std::size_t line) const { return _headings[line]; }

 private:
  bool isAlike(std::size_t line) const {
    return std::ranges::all_of(_probed.lines, [&](const std::vector<std::string>& lines) {
      return lines[line] == _probed.lines.front()[line];
    });
  }

  void addHeadings() {
    std::string nearest;
    std::string inParagraph;
    for (std::size_t line = 0; line < _labels.size(); ++line) {
      if (_labels[line].empty())
        _headings.push_back(_constant[line] ? "" : nearest);
      else
        _headings.push_back(_sameLabels[_labels[line]] > 1 ? inParagraph : "");
      if (!_constant[line]) continue;
      inParagraph = trimmed(_probed.lines.front()[line]);
      if (!inParagraph.empty()) nearest = inParagraph;
    }
  }

  std::string labelOf(std::size_t line) const {
    if (_constant[line]) return std::string(trimmed(_probed.lines.front()[line]));
    std::string_view head = _probed.lines.front()[line];
    std::string_view tail = head;
    for (const std::vector<std::string>& lines : _probed.lines) {
      const std::string& text = lines[line];
      head = head.substr(
          0, static_cast<std::size_t>(std::ranges::mismatch(head, text).in1 - head.begin()));
      const auto mismatch = std::mismatch(tail.rbegin(), tail.rend(), text.rbegin(), text.rend());
      tail = tail.substr(tail.size() - static_cast<std::size_t>(mismatch.first - tail.rbegin()));
    }
    // A line that all contents show alike, but some change of them moves.
    if (isAlike(line)) return std::string(trimmed(head));
    // What all values have in common by chance is none of the label: ".000".
    while (!head.empty() && kNumeric.find(head.back()) != std::string_view::npos)
      head.remove_suffix(1);
    tail.remove_prefix(std::min(tail.find_first_not_of(kNumeric), tail.size()));
    // Blanks that align a value say nothing, and one stands for them.
    const bool apart = !head.empty() && kBlanks.find(head.back()) != std::string_view::npos;
    const std::string_view before = trimmed(head);
    const std::size_t end = tail.find_last_not_of(kBlanks);
    tail = end == std::string_view::npos ? std::string_view() : tail.substr(0, end + 1);
    if (before.empty() && trimmed(tail).empty()) return {};
    std::string label(before);
    if (apart && !before.empty()) label += ' ';
    return label.append(kValue).append(tail);
  }

  const ProbedReport& _probed;
  std::vector<bool> _constant;
  std::vector<std::string> _labels;
  std::map<std::string, std::size_t> _sameLabels;
  std::vector<std::string> _headings;
};

// -------------------------------------------------------------------------------------- the fields

/// What a bit moves, its values apart from its lines.
struct Moves {
  std::span<const std::uint32_t> values;
  std::span<const std::uint32_t> lines;
};

Moves movesOf(const BitEffect& bit, const Pieces& pieces) {
  const auto firstLine = std::ranges::lower_bound(bit.moved, pieces.firstLine);
  return {{bit.moved.begin(), firstLine}, {firstLine, bit.moved.end()}};
}

class FieldMaker {
 public:
  explicit FieldMaker(const ProbedReport& probed) : _probed(probed), _texts(probed) {
    const auto& text = probed.text;
    if (!text.empty())
      _textEnd =
          static_cast<std::size_t>(std::find(text.begin() + 1, text.end(), 0) - text.begin());
  }

  std::vector<LayoutField> make() {
    _fields.push_back({0, kBits, FieldRole::ReportId});
    for (std::size_t bit = kBits; bit < _probed.bits.size();) {
      std::size_t end = bit + 1;
      while (end < _probed.bits.size() && belongTogether(bit, end)) ++end;
      add(bit, end);
      bit = end;
    }
    return std::move(_fields);
  }

 private:
  FieldRole roleOf(std::size_t bit) const {
    const std::size_t byte = bit / kBits;
    if (byte < _textEnd && _probed.text[byte] == '\n') return FieldRole::Newline;
    if (byte == _textEnd) return FieldRole::EndOfText;
    const BitEffect& effect = _probed.bits[bit];
    const bool nowhere = effect.moved.empty() && !effect.reshapes && !effect.refuses;
    return nowhere ? FieldRole::Nowhere : FieldRole::Shown;
  }

  /// Neighbours with the same values, or else the same lines, are one field. A number's low bits
  /// may not move a line that rounds it, and are that number all the same.
  bool belongTogether(std::size_t first, std::size_t second) const {
    const FieldRole role = roleOf(first);
    if (role != roleOf(second)) return false;
    if (role == FieldRole::Nowhere) return true;
    if (role != FieldRole::Shown) return first / kBits == second / kBits;
    const BitEffect& a = _probed.bits[first];
    const BitEffect& b = _probed.bits[second];
    const Moves ofA = movesOf(a, _probed.pieces);
    const Moves ofB = movesOf(b, _probed.pieces);
    if (!ofA.values.empty() || !ofB.values.empty())
      return std::ranges::equal(ofA.values, ofB.values);
    if (a.moved.empty() || b.moved.empty())
      return a.moved.empty() && b.moved.empty() && a.reshapes == b.reshapes;
    return std::ranges::equal(ofA.lines, ofB.lines);
  }

  void add(std::size_t begin, std::size_t end) {
    LayoutField field{begin, end - begin, roleOf(begin)};
    if (field.role == FieldRole::Nowhere) return addNowhere(begin, end);
    for (std::size_t bit = begin; bit < end; ++bit) {
      field.reshapes = field.reshapes || _probed.bits[bit].reshapes;
      field.refuses = field.refuses || _probed.bits[bit].refuses;
    }
    if (field.role == FieldRole::Shown) {
      addValues(field);
      addLines(field);
    }
    _fields.push_back(std::move(field));
  }

  /// The rest of a byte that says something, whole bytes, and the beginning of one.
  void addNowhere(std::size_t begin, std::size_t end) {
    const std::size_t wholeBegin = std::min(end, (begin + kBits - 1) / kBits * kBits);
    const std::size_t wholeEnd = std::max(wholeBegin, end / kBits * kBits);
    const std::array<std::size_t, 4> ends = {begin, wholeBegin, wholeEnd, end};
    for (std::size_t i = 0; i + 1 < ends.size(); ++i)
      if (ends[i] != ends[i + 1])
        _fields.push_back({ends[i], ends[i + 1] - ends[i], FieldRole::Nowhere});
  }

  void addValues(LayoutField& field) const {
    for (const std::uint32_t piece : movesOf(_probed.bits[field.firstBit], _probed.pieces).values) {
      const auto& values = _probed.pieces.values;
      const auto behind = std::ranges::upper_bound(
          values, std::size_t{piece}, {}, [](const Pieces::Value& value) { return value.first; });
      const Pieces::Value& value = *(behind - 1);
      LayoutValue made{static_cast<std::size_t>(behind - 1 - values.begin()),
                       value.key,
                       value.kind == Pieces::kString ? LayoutValue::kString : value.kind};
      if (value.isArray) made.element = piece - value.first;
      field.values.push_back(std::move(made));
    }
  }

  /// A line shows all bits of a field but those above the highest one that moves it: a mask's bits
  /// that belong to nothing. Of the bits below, small ones may be rounded away.
  void addLines(LayoutField& field) const {
    std::vector<LayoutLine> lines;
    for (std::size_t i = 0; i < field.bitCount; ++i)
      for (const std::uint32_t piece :
           movesOf(_probed.bits[field.firstBit + i], _probed.pieces).lines) {
        const std::size_t number = piece - _probed.pieces.firstLine;
        const auto found = std::ranges::find(lines, number, &LayoutLine::first);
        if (found != lines.end())
          found->bits = i + 1;
        else
          lines.push_back({number, 1, _texts.label(number), _texts.heading(number), i + 1});
      }
    std::ranges::sort(lines, {}, &LayoutLine::first);
    field.lines = std::move(lines);
  }

  const ProbedReport& _probed;
  LineTexts _texts;
  std::size_t _textEnd =
      0;  // where the NUL of a text stands; 0, the report ID, where there is none
  std::vector<LayoutField> _fields;
};

/// Whether `next` is the element behind the `count` elements from `first` on.
bool continuesArray(const LayoutField& first, std::size_t count, const LayoutField& next) {
  if (next.values.size() != 1 || !next.values.front().element) return false;
  const LayoutValue& begin = first.values.front();
  const LayoutValue& value = next.values.front();
  return value.index == begin.index && *value.element == count && next.role == first.role &&
         next.bitCount == first.bitCount &&
         next.firstBit == first.firstBit + count * first.bitCount;
}

/// Lines of an array: those of one heading that follow each other are one.
void unite(std::vector<LayoutLine>& lines, const std::vector<LayoutLine>& added) {
  for (const LayoutLine& line : added) {
    if (!lines.empty()) {
      LayoutLine& last = lines.back();
      if (line.first >= last.first && line.first < last.first + last.count) continue;
      if (line.first == last.first + last.count && line.heading == last.heading &&
          line.label == last.label) {
        ++last.count;
        continue;
      }
    }
    lines.push_back(line);
  }
}

/// Tells elements which line of their array's lines they are in.
void numberBlocks(LayoutMap& map) {
  for (const LayoutField& array : map.withArrays())
    for (const LayoutLine& all : array.lines)
      for (LayoutField& field : map.fields)
        for (LayoutLine& line : field.lines)
          if (all.count > 1 && line.first >= all.first && line.first < all.first + all.count) {
            line.ofBlock = line.first - all.first + 1;
            line.blockLines = all.count;
          }
}

}  // namespace

std::string LayoutLine::prefix() const {
  if (heading.empty()) return {};
  return heading + (heading.back() == ':' ? " " : ", ");
}

std::vector<LayoutField> LayoutMap::withArrays() const {
  std::vector<LayoutField> made;
  for (std::size_t i = 0; i < fields.size();) {
    LayoutField field = fields[i];
    std::size_t count = 1;
    const bool begins =
        field.values.size() == 1 && field.values.front().element == std::optional<std::size_t>(0);
    if (begins)
      while (i + count < fields.size() && continuesArray(field, count, fields[i + count])) {
        unite(field.lines, fields[i + count].lines);
        field.reshapes = field.reshapes || fields[i + count].reshapes;
        field.refuses = field.refuses || fields[i + count].refuses;
        ++count;
      }
    if (count > 1) {
      field.bitCount *= count;
      field.values.front().element.reset();
      field.values.front().count = count;
      for (LayoutLine& line : field.lines) {
        line.bits = field.bitCount;
        line.ofBlock = line.blockLines = 0;
      }
    }
    made.push_back(std::move(field));
    i += count;
  }
  return made;
}

LayoutMap layoutOf(Plugin& plugin, const ReportInfo& info, std::span<const std::uint8_t> came) {
  const ProbedReport probed = probe(plugin, info, came);
  LayoutMap map;
  map.whyNot = probed.whyNot;
  if (!map.whyNot.empty()) return map;
  map.size = probed.bits.size() / kBits;
  map.lineCount = probed.pieces.lineCount;
  for (const Pieces::Value& value : probed.pieces.values)
    map.keys.push_back({value.key, value.isArray ? value.count : 0});
  map.fields = FieldMaker(probed).make();
  numberBlocks(map);
  return map;
}

std::string shapeOf(std::span<const std::uint8_t> bytes, const ReportInfo& info) {
  if (!info.nulTerminated) return std::to_string(bytes.size());
  std::string shape(bytes.size(), 'a');
  const auto text = bytes.subspan(1);
  const auto end = static_cast<std::size_t>(std::ranges::find(text, 0) - text.begin());
  for (std::size_t i = 0; i < end; ++i)
    if (text[i] == '\n') shape[i + 1] = '\n';
  if (end < text.size()) shape[end + 1] = '\0';
  return shape;
}

bool fits(const LayoutMap& map, std::size_t lineCount, std::span<const Field> values) {
  if (!map.whyNot.empty()) return true;
  return map.lineCount == lineCount &&
         std::ranges::equal(map.keys, values, [](const LayoutKey& key, const Field& field) {
           const auto* array = std::get_if<ArrayValue>(&field.value);
           return key.name == field.key && key.count == (array == nullptr ? 0 : array->count);
         });
}

std::string placeOf(const LayoutField& field) {
  const std::size_t first = field.firstByte();
  const std::size_t last = field.lastByte();
  std::string text = std::to_string(first);
  if (field.isWholeBytes()) return first == last ? text : text + ".." + std::to_string(last);
  const std::size_t begin = field.firstBit % kBits;
  const std::size_t end = (field.firstBit + field.bitCount - 1) % kBits;
  if (first != last)
    return text + " bit " + std::to_string(begin) + ".." + std::to_string(last) + " bit " +
           std::to_string(end);
  text += begin == end ? " bit " : " bits ";
  text += std::to_string(begin);
  return begin == end ? text : text + ".." + std::to_string(end);
}

std::string sizeOf(const LayoutField& field) {
  if (field.isWholeBytes()) return std::to_string(field.bitCount / kBits);
  return std::to_string(field.bitCount) + (field.bitCount == 1 ? " bit" : " bits");
}

std::string shortKind(const LayoutValue& value) {
  constexpr auto kNames = std::to_array<std::string_view>(
      {"bool", "u8", "u16", "u32", "i32", "i64", "u64", "f32", "f64"});
  if (value.kind == LayoutValue::kString) return "string";
  const auto index = static_cast<std::size_t>(value.kind);
  std::string name(index < kNames.size() ? kNames[index] : "?");
  return value.count == 0 ? name : name + "[" + std::to_string(value.count) + "]";
}

std::string_view longKind(const LayoutValue& value) {
  return value.kind == LayoutValue::kString ? "string" : nameOfKind(value.kind);
}

}  // namespace vesk::host
