#include "host/layout/Probe.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>
#include <optional>
#include <string_view>
#include <utility>

#include "host/Kinds.h"

namespace vesk::host {

namespace {

using Bytes = std::vector<std::uint8_t>;
using PieceList = std::vector<std::uint32_t>;

constexpr std::size_t kBits = 8;
constexpr std::uint8_t kAllBits = 0xFF;
constexpr int kRandomTries = 64;            // contents, where a decoder refuses most
constexpr std::size_t kMostTextLines = 64;  // that a decoder of text may want
constexpr std::size_t kMany = 512;          // bytes that are compared at once
constexpr std::size_t kWord = sizeof(std::uint64_t);
constexpr std::ptrdiff_t kMostNewlines = 1000;  // of a text, each line of which is tried
constexpr std::size_t kTextSteps = 512;         // a longer text is tried some letters at a time

/// Numbers without a pattern, and the same ones in every run.
class Random {
 public:
  std::uint8_t byte() {
    _state += 0x9E3779B97F4A7C15u;
    std::uint64_t mixed = _state;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
    return static_cast<std::uint8_t>(mixed >> 56);
  }

 private:
  std::uint64_t _state = 0;
};

// ------------------------------------------------------------------------- what a report decodes to

/// One value of an object, as bytes that are compared.
struct Shown {
  std::string key;
  std::int32_t kind;
  bool isArray;
  std::size_t count;
  std::string bytes;
};

/// All that a content decodes to.
struct Base {
  Bytes content;
  vesk_result_form form = VESK_NIL;
  std::vector<Shown> values;
  std::size_t firstLine = 0;  // number of its piece
  std::string text;
  std::vector<std::size_t> ends;  // of the lines in the text, behind their newlines
};

/// Calls take() for each value. A handler for Decoded::visit().
template <class Take>
class Values {
 public:
  explicit Values(Take take) : _take(std::move(take)) {}

  void nil() {}
  void dictionaryBegin() {}
  void dictionaryEnd() {}
  void key(std::string_view name) { _key = name; }
  void number(const vesk_number& number) {
    give(number.kind, false, 1, &number.value.u, sizeof number.value.u);
  }
  void string(std::string_view text) { give(Pieces::kString, false, 1, text.data(), text.size()); }
  void array(std::int32_t kind, const void* values, std::size_t count) {
    std::size_t bytes = 0;
    withValues(kind, values, count, [&](auto numbers) { bytes = numbers.size_bytes(); });
    give(kind, true, count, values, bytes);
  }

 private:
  void give(std::int32_t kind, bool isArray, std::size_t count, const void* data,
            std::size_t size) {
    const std::string_view bytes(static_cast<const char*>(data), size);
    _take(std::exchange(_key, {}), kind, isArray, count, bytes);
  }

  Take _take;
  std::string_view _key;
};

/// Which pieces differ between a base and another content, or why they can't be compared.
enum class Outcome : std::uint8_t { Compared, Reshaped, Refused };

class Decoder {
 public:
  Decoder(Plugin& plugin, const ReportInfo& info) : _plugin(plugin), _info(info) {}

  /// Decodes a content in both modes; nothing if the decoder refuses it.
  std::optional<Base> decode(const Bytes& content) const;

  /// Appends the pieces of `base` that differ when its content is changed to `content`.
  Outcome compare(const Base& base, const Bytes& content, PieceList& moved) const;

 private:
  /// Decoders of text read to a NUL, which stands behind the content's own bytes.
  Decoded run(const Bytes& content, Plugin::Mode mode) const {
    return _plugin.decode(std::span(content).first(content.size() - 1), _info, mode);
  }

  static Outcome compareValues(const Base& base, const Decoded& object, PieceList& moved);
  static Outcome compareLines(const Base& base, std::string_view text, PieceList& moved);

  Plugin& _plugin;
  const ReportInfo& _info;
};

std::optional<Base> Decoder::decode(const Bytes& content) const try {
  Base base;
  base.content = content;
  const Decoded object = run(content, Plugin::Mode::Object);
  base.form = object.form();
  Values values([&](auto key, auto kind, bool isArray, std::size_t count, auto bytes) {
    base.values.push_back({std::string(key), kind, isArray, count, std::string(bytes)});
    base.firstLine += count;
  });
  object.visit(values);

  const Decoded lines = run(content, Plugin::Mode::Text);
  if (lines.form() != VESK_LINES) return std::nullopt;
  base.text = lines.text();
  std::size_t end = 0;
  Values ends([&](auto, auto, bool, std::size_t, std::string_view line) {
    base.ends.push_back(end += line.size() + 1);
  });
  lines.visit(ends);
  return base;
} catch (const DecoderFault&) {
  return std::nullopt;
}

Outcome Decoder::compare(const Base& base, const Bytes& content, PieceList& moved) const try {
  const std::size_t before = moved.size();
  const Decoded object = run(content, Plugin::Mode::Object);
  if (object.form() != base.form) return Outcome::Refused;
  Outcome outcome = compareValues(base, object, moved);
  if (outcome == Outcome::Compared) {
    const Decoded lines = run(content, Plugin::Mode::Text);
    if (lines.form() != VESK_LINES)
      outcome = Outcome::Refused;
    else
      outcome = compareLines(base, lines.text(), moved);
  }
  if (outcome != Outcome::Compared) moved.resize(before);
  return outcome;
} catch (const DecoderFault&) {
  return Outcome::Refused;
}

std::uint64_t wordAt(const char* bytes) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

/// How many bytes at the beginning are the same, and how many at the end: many at once, words, bytes.
std::size_t sameHead(std::string_view a, std::string_view b) {
  const std::size_t shorter = std::min(a.size(), b.size());
  const char* const x = a.data();
  const char* const y = b.data();
  std::size_t same = 0;
  while (same + kMany <= shorter && std::memcmp(x + same, y + same, kMany) == 0) same += kMany;
  while (same + kWord <= shorter && wordAt(x + same) == wordAt(y + same)) same += kWord;
  while (same < shorter && x[same] == y[same]) ++same;
  return same;
}

std::size_t sameTail(std::string_view a, std::string_view b) {
  const std::size_t shorter = std::min(a.size(), b.size());
  const char* const begin = a.data() + a.size() - shorter;
  const char* const other = b.data() + b.size() - shorter;
  std::size_t left = shorter;  // bytes in front of what is the same
  while (left >= kMany && std::memcmp(begin + left - kMany, other + left - kMany, kMany) == 0)
    left -= kMany;
  while (left >= kWord && wordAt(begin + left - kWord) == wordAt(other + left - kWord))
    left -= kWord;
  while (left > 0 && begin[left - 1] == other[left - 1]) --left;
  return shorter - left;
}

/// Elements of an array that differ.
void compareElements(std::string_view before, std::string_view after, std::size_t count,
                     std::size_t first, PieceList& moved) {
  const std::size_t size = before.size() / count;
  for (std::size_t at = sameHead(before, after); at < before.size();
       at += sameHead(before.substr(at), after.substr(at))) {
    const std::size_t element = at / size;
    moved.push_back(static_cast<std::uint32_t>(first + element));
    at = (element + 1) * size;
  }
}

Outcome Decoder::compareValues(const Base& base, const Decoded& object, PieceList& moved) {
  std::size_t at = 0;
  std::size_t piece = 0;
  bool alike = true;
  Values values([&](auto key, auto kind, bool isArray, std::size_t count, std::string_view bytes) {
    alike = alike && at < base.values.size();
    if (!alike) return;
    const Shown& shown = base.values[at++];
    alike = shown.key == key && shown.isArray == isArray && shown.count == count;
    if (!alike) return;
    if (isArray && shown.kind == kind) {
      if (shown.bytes != bytes) compareElements(shown.bytes, bytes, count, piece, moved);
    } else if (shown.kind != kind || shown.bytes != bytes) {
      for (std::size_t i = 0; i < count; ++i)
        moved.push_back(static_cast<std::uint32_t>(piece + i));
    }
    piece += count;
  });
  object.visit(values);
  return alike && at == base.values.size() ? Outcome::Compared : Outcome::Reshaped;
}

/// Most changes stay in one line, which is found from both ends of the text without a look at the
/// other lines. Of several lines, each is looked at.
Outcome Decoder::compareLines(const Base& base, std::string_view text, PieceList& moved) {
  const std::string_view before = base.text;
  const std::size_t head = sameHead(before, text);
  if (head == before.size() && head == text.size()) return Outcome::Compared;
  const std::size_t tail = sameTail(before.substr(head), text.substr(head));
  const auto lineAt = [&](std::size_t position) {
    return static_cast<std::size_t>(std::ranges::upper_bound(base.ends, position) -
                                    base.ends.begin());
  };
  const std::size_t first = lineAt(head);
  if (first >= base.ends.size()) return Outcome::Reshaped;  // the last line has no end any more
  const std::size_t last = lineAt(std::max(head + 1, before.size() - tail) - 1);
  const bool sameSize = before.size() == text.size();
  std::size_t begin = first == 0 ? 0 : base.ends[first - 1];
  std::size_t other = begin;
  for (std::size_t line = first; line <= last; ++line) {
    const std::size_t end = base.ends[line];
    const std::size_t otherEnd =
        sameSize && text[end - 1] == '\n' ? end : std::min(text.find('\n', other), text.size()) + 1;
    if (otherEnd > text.size()) return Outcome::Reshaped;
    if (before.substr(begin, end - begin) != text.substr(other, otherEnd - other))
      moved.push_back(static_cast<std::uint32_t>(base.firstLine + line));
    begin = end;
    other = otherEnd;
  }
  // What follows is the same if no line came or went.
  return before.size() - begin == text.size() - other ? Outcome::Compared : Outcome::Reshaped;
}

/// Whether both have the same pieces.
bool alike(const Base& a, const Base& b) {
  return a.form == b.form && a.ends.size() == b.ends.size() &&
         std::ranges::equal(a.values, b.values, [](const Shown& x, const Shown& y) {
           return x.key == y.key && x.isArray == y.isArray && x.count == y.count;
         });
}

// ------------------------------------------------------------------------------------- the contents

/// Contents that a decoder accepts, all with the pieces of the first one.
class Contents {
 public:
  Contents(const Decoder& decoder, std::size_t size) : _decoder(decoder), _size(size) {}

  /// Adds a content, or what of it the decoder accepts; nothing while there is none to begin with.
  bool add(const Bytes& wanted) {
    if (auto base = accepted(wanted)) {
      _bases.push_back(*std::move(base));
      return true;
    }
    if (_bases.empty()) return false;
    Bytes nearest = _bases.front().content;
    approach(nearest, wanted, 1, _size);
    if (nearest == _bases.front().content) return true;
    if (auto base = accepted(nearest)) _bases.push_back(*std::move(base));
    return true;
  }

  std::vector<Base>& all() { return _bases; }

 private:
  std::optional<Base> accepted(const Bytes& content) const {
    auto base = _decoder.decode(content);
    if (base && !_bases.empty() && !alike(*base, _bases.front())) base.reset();
    return base;
  }

  /// Takes over what is wanted from `begin` on, the longest parts first.
  void approach(Bytes& content, const Bytes& wanted, std::size_t begin, std::size_t end) const {
    if (begin >= end) return;
    Bytes tried = content;
    std::copy(wanted.begin() + static_cast<std::ptrdiff_t>(begin),
              wanted.begin() + static_cast<std::ptrdiff_t>(end),
              tried.begin() + static_cast<std::ptrdiff_t>(begin));
    if (tried == content) return;
    if (accepted(tried)) {
      content = tried;
    } else if (end - begin > 1) {
      const std::size_t middle = begin + (end - begin) / 2;
      approach(content, wanted, begin, middle);
      approach(content, wanted, middle, end);
    }
  }

  const Decoder& _decoder;
  std::size_t _size;
  std::vector<Base> _bases;
};

/// `size` bytes behind the ID, and the NUL behind all.
Bytes filled(const ReportInfo& info, std::size_t size, const std::function<std::uint8_t()>& next) {
  Bytes content(size + 1);
  std::generate(content.begin(), content.end() - 1, next);
  content.front() = static_cast<std::uint8_t>(info.id);
  content.back() = 0;
  return content;
}

// ------------------------------------------------------------------------------------- the findings

void unite(PieceList& list, std::span<const std::uint32_t> added) {
  for (const std::uint32_t piece : added) {
    const auto place = std::ranges::lower_bound(list, piece);
    if (place == list.end() || *place != piece) list.insert(place, piece);
  }
}

ProbedReport notFoundOut(std::string why) {
  ProbedReport probed;
  probed.whyNot = std::move(why);
  return probed;
}

ProbedReport begun(const Base& base, std::size_t size) {
  ProbedReport probed;
  std::size_t piece = 0;
  for (const Shown& value : base.values) {
    probed.pieces.values.push_back({value.key, value.kind, value.isArray, piece, value.count});
    piece += value.count;
  }
  probed.pieces.firstLine = piece;
  probed.pieces.lineCount = base.ends.size();
  probed.bits.resize(kBits * size);
  return probed;
}

void addLines(ProbedReport& probed, const Base& base) {
  std::vector<std::string>& lines = probed.lines.emplace_back();
  std::size_t begin = 0;
  for (const std::size_t end : base.ends) {
    lines.push_back(base.text.substr(begin, end - begin - 1));
    begin = end;
  }
}

void note(BitEffect& bit, Outcome outcome, std::span<const std::uint32_t> moved) {
  unite(bit.moved, moved);
  if (outcome == Outcome::Reshaped) bit.reshapes = true;
  if (outcome == Outcome::Refused) bit.refuses = true;
}

// -------------------------------------------------------------------------- reports of fixed layout

/// Every bit by itself in every content would be a hundred thousand decodes. So each byte is tried
/// by itself in one content, all its bits at once, which tells what it may move. From then on bytes
/// that move different things are tried together, a bit of each: what moves tells which one it was.
/// What nobody is known to move is looked for by trying the halves.
class FixedProbe {
 public:
  FixedProbe(const Decoder& decoder, ProbedReport& probed, std::size_t size)
      : _decoder(decoder),
        _probed(probed),
        _size(size),
        _pieces(probed.pieces.firstLine + probed.pieces.lineCount),
        _known(size),
        _wholes(size),
        _owner(_pieces) {}

  void run(std::vector<Base>& bases) {
    tryBytes(bases.front(), [](std::size_t) { return true; });
    if (bases.size() > 1) tryBytes(bases[1], [this](std::size_t byte) { return !hasValue(byte); });
    shareKnown();
    for (Base& base : bases)
      for (std::size_t bit = 0; bit < kBits; ++bit) tryBits(base, bit);
    coverWholes();
  }

 private:
  static constexpr std::size_t kNobody = 0;  // byte 0 is never tried
  static constexpr std::size_t kSeveral = SIZE_MAX;

  bool hasValue(std::size_t byte) const {
    return !_known[byte].empty() && _known[byte].front() < _probed.pieces.firstLine;
  }

  template <class Wanted>
  void tryBytes(Base& base, Wanted wanted) {
    Bytes content = base.content;
    for (std::size_t byte = 1; byte < _size; ++byte) {
      if (!wanted(byte)) continue;
      content[byte] ^= kAllBits;
      _moved.clear();
      if (_decoder.compare(base, content, _moved) == Outcome::Compared) {
        unite(_known[byte], _moved);
        unite(_wholes[byte], _moved);
      }
      content[byte] ^= kAllBits;
    }
  }

  /// Bytes of one value may move what each of them is known to move: the low bytes of a number
  /// rarely move a line that rounds it.
  void shareKnown() {
    std::vector<PieceList> bytesOf(_probed.pieces.firstLine);
    for (std::size_t byte = 1; byte < _size; ++byte)
      for (const std::uint32_t piece : _known[byte])
        if (piece < bytesOf.size()) bytesOf[piece].push_back(static_cast<std::uint32_t>(byte));
    for (const PieceList& bytes : bytesOf) {
      if (bytes.size() > kBits) continue;  // it sums up others: what these move is not theirs
      PieceList all;
      for (const std::uint32_t byte : bytes) unite(all, _known[byte]);
      for (const std::uint32_t byte : bytes) unite(_known[byte], all);
    }
  }

  /// Bytes in groups within which no two move the same; those that moved nothing yet are one.
  std::vector<std::vector<std::size_t>> groups() const {
    std::vector<std::vector<std::size_t>> groups(1);
    std::vector<std::vector<bool>> taken(1);
    for (std::size_t byte = 1; byte < _size; ++byte) {
      const PieceList& known = _known[byte];
      std::size_t group = 0;
      if (!known.empty()) {
        const auto isFree = [&](const std::vector<bool>& pieces) {
          return std::ranges::none_of(known, [&](std::uint32_t piece) { return pieces[piece]; });
        };
        group = 1;
        while (group < groups.size() && !isFree(taken[group])) ++group;
        if (group == groups.size()) {
          groups.emplace_back();
          taken.emplace_back(_pieces);
        }
        for (const std::uint32_t piece : known) taken[group][piece] = true;
      }
      groups[group].push_back(byte);
    }
    return groups;
  }

  void tryBits(Base& base, std::size_t bit) {
    if (_learned) _groups = groups();
    _learned = false;
    Bytes content = base.content;
    for (const auto& group : _groups) tryTogether(base, content, group, bit);
  }

  void tryTogether(const Base& base, Bytes& content, std::span<const std::size_t> bytes,
                   std::size_t bit) {
    if (bytes.empty()) return;
    const auto flip = [&] {
      for (const std::size_t byte : bytes)
        content[byte] = static_cast<std::uint8_t>(content[byte] ^ 1u << bit);
    };
    flip();
    _moved.clear();
    const Outcome outcome = _decoder.compare(base, content, _moved);
    flip();
    if (bytes.size() == 1) {
      learn(bytes.front(), bit, outcome);
    } else if (outcome != Outcome::Compared || !attribute(bytes, bit)) {
      const std::size_t half = bytes.size() / 2;
      tryTogether(base, content, bytes.first(half), bit);
      tryTogether(base, content, bytes.subspan(half), bit);
    }
  }

  void learn(std::size_t byte, std::size_t bit, Outcome outcome) {
    note(_probed.bits[kBits * byte + bit], outcome, _moved);
    const std::size_t before = _known[byte].size();
    unite(_known[byte], _moved);
    if (_known[byte].size() != before) _learned = true;
  }

  /// Gives what moved to the bytes that are known to move it; false if there is no such byte, or
  /// there are several.
  bool attribute(std::span<const std::size_t> bytes, std::size_t bit) {
    const auto own = [&](auto owner) {
      for (const std::size_t byte : bytes)
        for (const std::uint32_t piece : _known[byte]) _owner[piece] = owner(piece, byte);
    };
    own([this](std::uint32_t piece, std::size_t byte) {
      return _owner[piece] == kNobody ? byte : kSeveral;
    });
    const bool sure = std::ranges::all_of(_moved, [this](std::uint32_t piece) {
      return _owner[piece] != kNobody && _owner[piece] != kSeveral;
    });
    if (sure)
      for (const std::uint32_t piece : _moved)
        unite(_probed.bits[kBits * _owner[piece] + bit].moved, std::span(&piece, 1));
    own([](std::uint32_t, std::size_t) { return kNobody; });
    return sure;
  }

  /// What only a whole byte moved is moved by all of its bits.
  void coverWholes() {
    for (std::size_t byte = 1; byte < _size; ++byte) {
      PieceList ofBits;
      const auto bits = std::span(_probed.bits).subspan(kBits * byte, kBits);
      for (const BitEffect& bit : bits) unite(ofBits, bit.moved);
      for (const std::uint32_t piece : _wholes[byte])
        if (!std::ranges::binary_search(ofBits, piece))
          for (BitEffect& bit : bits) unite(bit.moved, std::span(&piece, 1));
    }
  }

  const Decoder& _decoder;
  ProbedReport& _probed;
  std::size_t _size;
  std::size_t _pieces;
  std::vector<PieceList> _known;   // of each byte: what it may move
  std::vector<PieceList> _wholes;  // and what all its bits at once moved
  std::vector<std::size_t> _owner;
  std::vector<std::vector<std::size_t>> _groups;
  bool _learned = true;  // since the groups were made
  PieceList _moved;
};

/// Whether anything behind the layout is shown, in any content: whatever stands there, it moves
/// nothing.
bool readsBehind(const Decoder& decoder, const std::vector<Base>& bases, std::size_t layout,
                 Random& random) {
  for (const Base& base : bases) {
    Bytes inverted = base.content;
    Bytes other = base.content;
    for (std::size_t byte = layout; byte + 1 < inverted.size(); ++byte) {
      inverted[byte] ^= kAllBits;
      other[byte] = random.byte();
    }
    for (const Bytes& content : {inverted, other}) {
      PieceList moved;
      if (decoder.compare(base, content, moved) != Outcome::Compared || !moved.empty()) return true;
    }
  }
  return false;
}

ProbedReport probeFixed(const Decoder& decoder, const ReportInfo& info,
                        std::span<const std::uint8_t> came) {
  const std::size_t size = std::max(info.smallest, came.size());
  Random random;
  Contents contents(decoder, size);
  const auto anyBytes = [&] { return filled(info, size, [&] { return random.byte(); }); };
  if (!came.empty()) {
    Bytes content(came.begin(), came.end());
    content.resize(size + 1);
    contents.add(content);
  }
  for (int tries = 0; tries < kRandomTries && !contents.add(anyBytes()); ++tries) continue;
  contents.add(filled(info, size, [] { return std::uint8_t{0}; }));
  contents.add(filled(info, size, [] { return kAllBits; }));
  contents.add(anyBytes());
  contents.add(anyBytes());

  std::vector<Base>& bases = contents.all();
  if (bases.empty()) return notFoundOut("the decoder refuses all that was tried");
  // Where there is a random one, it shows most: each byte is tried by itself in that.
  if (!came.empty() && bases.size() > 1) std::swap(bases[0], bases[1]);
  ProbedReport probed = begun(bases.front(), size);
  for (const Base& base : bases) addLines(probed, base);
  const bool all = size > info.smallest && readsBehind(decoder, bases, info.smallest, random);
  FixedProbe(decoder, probed, all ? size : info.smallest).run(bases);
  return probed;
}

// -------------------------------------------------------------------------------- reports of text

/// Letters in the place of a text's characters; its newlines, its NUL and what follows that stay.
class TextProbe {
 public:
  TextProbe(const Decoder& decoder, const Bytes& content) : _decoder(decoder), _content(content) {
    const auto nul = std::find(content.begin() + 1, content.end(), 0);
    _end = static_cast<std::size_t>(nul - content.begin());
  }

  std::optional<ProbedReport> run() {
    std::vector<Base> bases;
    for (const char letter : {'a', 'P'}) {
      auto base = _decoder.decode(lettered(letter));
      if (!base || (!bases.empty() && !alike(*base, bases.front()))) return std::nullopt;
      bases.push_back(*std::move(base));
    }
    ProbedReport probed = begun(bases.front(), _content.size() - 1);
    for (const Base& base : bases) {
      addLines(probed, base);
      tryLetters(base, probed);
    }
    probed.text.assign(_content.begin(), _content.end() - 1);
    return probed;
  }

 private:
  bool isEnd(std::size_t byte) const { return byte == _end || isNewline(byte); }
  bool isNewline(std::size_t byte) const { return byte < _end && _content[byte] == '\n'; }

  Bytes lettered(char letter) const {
    Bytes content = _content;
    for (std::size_t byte = 1; byte < _end; ++byte)
      if (!isNewline(byte)) content[byte] = static_cast<std::uint8_t>(letter);
    return content;
  }

  void tryLetters(const Base& base, ProbedReport& probed) const {
    const std::size_t step = 1 + _content.size() / kTextSteps;
    Bytes content = base.content;
    PieceList moved;
    for (std::size_t begin = 1; begin + 1 < content.size();) {
      std::size_t end = begin + 1;
      if (!isEnd(begin))
        while (end < begin + step && end + 1 < content.size() && !isEnd(end)) ++end;
      if (!isEnd(begin)) {
        for (std::size_t i = begin; i < end; ++i) content[i] = content[i] == 'x' ? 'y' : 'x';
        moved.clear();
        const Outcome outcome = _decoder.compare(base, content, moved);
        for (std::size_t bit = kBits * begin; bit < kBits * end; ++bit)
          note(probed.bits[bit], outcome, moved);
        std::copy_n(base.content.begin() + static_cast<std::ptrdiff_t>(begin),
                    end - begin,
                    content.begin() + static_cast<std::ptrdiff_t>(begin));
      }
      begin = end;
    }
  }

  const Decoder& _decoder;
  const Bytes& _content;
  std::size_t _end;  // of the text: its NUL
};

ProbedReport probeText(const Decoder& decoder, const ReportInfo& info,
                       std::span<const std::uint8_t> came) {
  if (!came.empty()) {
    Bytes content(came.begin(), came.end());
    content.push_back(0);
    if (std::ranges::count(content, '\n') > kMostNewlines)
      return notFoundOut("the text has too many lines to try each");
    if (auto probed = TextProbe(decoder, content).run()) return *std::move(probed);
    return notFoundOut("the decoder refuses all that was tried");
  }
  for (std::size_t lines = 1; lines <= kMostTextLines; ++lines) {
    Bytes content{static_cast<std::uint8_t>(info.id)};
    for (std::size_t line = 0; line < lines; ++line) {
      if (line != 0) content.push_back('\n');
      content.push_back('a');
    }
    content.resize(content.size() + 2);  // the text's NUL, and the one behind all
    if (auto probed = TextProbe(decoder, content).run()) return *std::move(probed);
  }
  return notFoundOut("the decoder refuses all that was tried");
}

}  // namespace

ProbedReport probe(Plugin& plugin, const ReportInfo& info, std::span<const std::uint8_t> came) {
  const Decoder decoder(plugin, info);
  return info.nulTerminated ? probeText(decoder, info, came) : probeFixed(decoder, info, came);
}

}  // namespace vesk::host
