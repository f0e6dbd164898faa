/// Calls for what single reports say, and what differs between them.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <variant>

#include "viewer/native/calls/Calls.h"
#include "viewer/native/calls/News.h"
#include "viewer/native/calls/Shown.h"
#include "viewer/native/calls/Values.h"

namespace vesk::viewer {

namespace {

constexpr std::uint32_t kNoElement = 0xFFFFFFFF;

void put(Reply& reply, const host::LayoutMap& map) {
  reply.text(map.whyNot);
  reply.u32(map.fields.size());
  for (const host::LayoutField& field : map.fields) {
    reply.u32(field.firstBit);
    reply.u32(field.bitCount);
    reply.u8(static_cast<std::size_t>(field.role));
    reply.u32(field.values.size());
    for (const host::LayoutValue& value : field.values) {
      reply.u32(value.index);
      reply.u32(value.element.value_or(kNoElement));
    }
    reply.u32(field.lines.size());
    for (const host::LayoutLine& line : field.lines) {
      reply.u32(line.first);
      reply.u32(line.count);
    }
  }
}

}  // namespace

/// Gives all of an entry: its bytes' number and address; the code of a problem, from 1, or 0, and
/// its message; and fields and lines (Shown::putTo()).
VESK_CALL(decode) std::int32_t decode(std::uint32_t handle, std::uint32_t entry) {
  return answered([=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    Reply& reply = all.reply;
    const auto found = capture.at(entry);
    std::optional<host::Problem> problem;
    host::Collector nowhere;
    Shown shown({all.module.plugin, all.module.known, nowhere});
    if (const auto* const report = std::get_if<host::Report>(&found)) {
      reply.u32(report->bytes.size());
      reply.address(report->bytes.data());
      host::Output& output = shown;
      problem = output.write(*report, capture.infoOf(*report));
    } else {
      reply.u32(0);
      reply.address(nullptr);
      problem = std::get<host::Problem>(found);
    }
    reply.u8(problem ? static_cast<std::size_t>(problem->code) + 1 : 0);
    reply.text(problem ? problem->message : "");
    shown.putTo(reply);
  });
}

/// Gives which bytes of an entry say what: why that isn't known, or an empty text; a count of
/// layout fields, and for each its first bit, its bits and its role; a count of values, and for
/// each the number of its field, as decode() has them, and of its element, or kNoElement; a count
/// of lines, and for each the first one's number and how many they are.
VESK_CALL(layout) std::int32_t layout(std::uint32_t handle, std::uint32_t entry) {
  return answered([=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    const auto found = capture.at(entry);
    const auto* const report = std::get_if<host::Report>(&found);
    const host::ReportInfo* const info = report == nullptr ? nullptr : capture.infoOf(*report);
    host::Collector nowhere;
    Shown shown({all.module.plugin, all.module.known, nowhere});
    host::Output& output = shown;
    if (info == nullptr || output.write(*report, info))
      put(all.reply, noLayout("it can't be decoded"));
    else
      put(all.reply, all.layouts.mapOf(all.module.plugin, *report, *info, shown));
  });
}

/// Takes some entries, in order. Gives those that differ from the one of their kind and sender
/// before them among these: a count, and what News has of each. With `turns`, only what it has then.
VESK_CALL(changes) std::int32_t changes(std::uint32_t handle, std::uint32_t turns) {
  return answered([=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    host::Collector nowhere;
    News news({all.module.plugin, all.module.known, nowhere}, turns != 0);
    host::Output& output = news;
    for (const std::uint32_t entry : entriesIn(all.arguments)) {
      const auto found = capture.at(entry);
      const auto* const report = std::get_if<host::Report>(&found);
      if (report == nullptr || report->direction != host::Direction::FromDevice) continue;
      news.entry = entry;
      output.write(*report, capture.infoOf(*report));
    }
    all.reply.u32(news.count);
    all.reply.append(news.reply.bytes().data(), news.reply.bytes().size());
  });
}

}  // namespace vesk::viewer
