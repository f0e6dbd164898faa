/// Calls for numbers of many reports: columns, and what is reckoned while a file is read.
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "viewer/native/calls/Calls.h"
#include "viewer/native/calls/Values.h"

namespace vesk::viewer {

/// Takes a decoder. Gives whether it is reduced, and if so what its reports so far come to: their
/// number; a count of columns, and for each its name, its count, whether it is an array, and the
/// number of its first channel; a count of channels, and as many numbers of the first report, the
/// least, the most, means and noises; a count of jumps, and for each its row and the numbers before
/// and behind; how many jumps aren't among them; and the first time and the last one, or NaN.
VESK_CALL(summary) std::int32_t summary(std::uint32_t handle) {
  const auto summary = [=](Calls& all) {
    Reply& reply = all.reply;
    const Series* const series = of(all.captures, handle).series(all.arguments.text());
    reply.u8(series != nullptr);
    if (series == nullptr) return;
    reply.u32(series->rows());
    reply.u32(series->columns().size());
    for (const Series::Channels& column : series->columns()) {
      reply.text(column.name);
      reply.u32(column.count);
      reply.u8(column.isArray);
      reply.u32(column.first);
    }
    reply.u32(series->start().size());
    put(reply, series->start());
    put(reply, series->least());
    put(reply, series->most());
    put(reply, series->mean());
    put(reply, series->noise());
    reply.u32(series->jumps().size());
    for (const Series::Jump& jump : series->jumps()) {
      reply.u32(jump.row);
      reply.u32(jump.from);
      reply.u32(jump.to);
    }
    reply.u32(series->moreJumps());
    reply.number(series->firstTime());
    reply.number(series->lastTime());
  };
  return answered(summary, Ending::BrokenOff);
}

/// Takes a decoder that is reduced and a column. Gives an element of it over the capture: how many
/// rows make a part, the number of rows, a count of parts, and as many times (of the first row, or
/// NaN), least and most numbers.
VESK_CALL(course) std::int32_t course(std::uint32_t handle, std::uint32_t element) {
  const auto course = [=](Calls& all) {
    const std::string_view decoder = all.arguments.text();
    const Series* const series = of(all.captures, handle).series(decoder);
    if (series == nullptr) throw std::out_of_range(std::string(decoder) + " is not reduced");
    const std::size_t channel = series->channel(all.arguments.text(), element);
    all.reply.u32(series->rowsInPart());
    all.reply.u32(series->rows());
    all.reply.u32(series->times().size());
    put(all.reply, series->times());
    put(all.reply, series->least(channel));
    put(all.reply, series->most(channel));
  };
  return answered(course, Ending::BrokenOff);
}

/// Takes what is wanted (wantedIn()), and of which entries (entriesIn()). Gives tables (put()).
VESK_CALL(columns) std::int32_t columns(std::uint32_t handle) {
  return answered([=](Calls& all) {
    const Wanted wanted = wantedIn(all.arguments);
    const auto entries = entriesIn(all.arguments);
    all.selected = of(all.captures, handle).columns(wanted, entries);
    put(all.reply, all.selected.tables, all.selected.texts.get());
  });
}

}  // namespace vesk::viewer
