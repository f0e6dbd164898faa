/// Calls for the list of a file's entries.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <variant>

#include "viewer/native/calls/Calls.h"

namespace vesk::viewer {

namespace {

/// The lines of a report; empty where it can't be decoded.
class LinesOf final : public host::DecodingOutput {
 public:
  using DecodingOutput::DecodingOutput;

  std::string text;

 private:
  void writeChecked(const host::Report& /*report*/, const host::ReportInfo& info) override {
    text = decodeLines(info).text();
  }
};

}  // namespace

/// Gives the kinds of entries from `first` on: a count, and for each its ID (65535 for none), type
/// (255 for none), row of the known reports (from 1, 0 for none), code of a problem (the same),
/// unit of the place, flags (see Index::Kind), number of entries, and whether a sender is known,
/// with its bus, device and endpoint.
VESK_CALL(kinds) std::int32_t kinds(std::uint32_t handle, std::uint32_t first) {
  return answered([=](Calls& all) {
    const Index& index = of(all.captures, handle).index();
    Reply& reply = all.reply;
    reply.u32(index.kinds().size() - std::min<std::size_t>(first, index.kinds().size()));
    for (std::size_t i = first; i < index.kinds().size(); ++i) {
      const Index::Kind& kind = index.kinds()[i];
      reply.number(kind.id);
      for (const std::uint8_t byte : {kind.type, kind.info, kind.problem, kind.unit, kind.flags})
        reply.u8(byte);
      reply.u32(index.countOf(i));
      reply.u8(kind.sender != 0);
      const auto sender = kind.sender != 0 ? index.senders()[kind.sender - 1] : host::UsbSender{};
      reply.number(sender.bus);
      reply.number(sender.device);
      reply.u8(sender.endpointNumber());
    }
  });
}

/// Gives some entries: a count, and for each its offset, its time in microseconds, or NaN, its
/// place, its length, its kind and the number of its message, from 1 or 0.
VESK_CALL(entries)
std::int32_t entries(std::uint32_t handle, std::uint32_t first, std::uint32_t count) {
  return answered([=](Calls& all) {
    Index& index = of(all.captures, handle).index();
    const auto found = index.range(first, count);
    Reply& reply = all.reply;
    reply.u32(found.size());
    for (const Index::Entry& entry : found) {
      const bool hasTime = index.kinds()[entry.kind].has(Index::Kind::kHasTime);
      reply.large(entry.offset);
      reply.large(hasTime ? static_cast<double>(entry.microseconds)
                          : std::numeric_limits<double>::quiet_NaN());
      reply.large(entry.place);
      reply.u32(entry.length);
      reply.u32(entry.kind);
      reply.u32(entry.message);
    }
  });
}

/// Gives a message, of a number from 1.
VESK_CALL(message) std::int32_t message(std::uint32_t handle, std::uint32_t number) {
  return answered([=](Calls& all) {
    all.reply.text(of(all.captures, handle).index().messages().at(number - std::size_t{1}));
  });
}

/// Takes a count of kinds, and a byte for each, which is 0 if it isn't wanted. Gives the entries of
/// those that are, between `first` and `end`: a count, and the address of their numbers.
VESK_CALL(select)
std::int32_t select(std::uint32_t handle, std::uint32_t first, std::uint32_t end) {
  return answered([=](Calls& all) {
    const auto wanted = all.arguments.bytes(all.arguments.u32());
    all.numbers = of(all.captures, handle).index().select(wanted, first, end);
    all.reply.u32(all.numbers.size());
    all.reply.address(all.numbers.data());
  });
}

/// Takes a text. Gives those between `first` and `end` whose lines, or whose problem, have it in
/// them, as select() does.
VESK_CALL(search)
std::int32_t search(std::uint32_t handle, std::uint32_t first, std::uint32_t end) {
  return answered([=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    const std::string text(all.arguments.text());
    host::Collector nowhere;
    LinesOf lines({all.module.plugin, all.module.known, nowhere});
    host::Output& output = lines;
    all.numbers.clear();
    Index& index = capture.index();
    const auto last = std::min<std::size_t>(end, index.size());
    for (std::uint32_t number = first; number < last; ++number) {
      const auto found = capture.at(number);
      std::string said;
      if (const auto* const report = std::get_if<host::Report>(&found)) {
        const auto problem = output.write(*report, capture.infoOf(*report));
        said = problem ? problem->message : std::exchange(lines.text, {});
      } else {
        said = std::get<host::Problem>(found).message;
      }
      bool has = said.find(text) != std::string::npos;
      // One may have lines though its object can't be made.
      const std::uint32_t message = index.at(number).message;
      if (!has && message != 0) has = index.messages()[message - 1].find(text) != std::string::npos;
      if (has) all.numbers.push_back(number);
    }
    all.reply.u32(all.numbers.size());
    all.reply.address(all.numbers.data());
  });
}

}  // namespace vesk::viewer
