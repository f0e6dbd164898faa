#include "viewer/native/calls/News.h"

#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <variant>

#include "host/outputs/Changes.h"

namespace vesk::viewer {

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

bool isTurn(const host::Change& change) {
  const auto* const number = std::get_if<host::NumberChange>(&change.what);
  return number != nullptr &&
         (number->course == host::Course::Fell || number->course == host::Course::Wrapped);
}

}  // namespace

void News::writeChecked(const host::Report& report, const host::ReportInfo& info) {
  const auto decoded = [&](host::Plugin::Mode mode) {
    return mode == host::Plugin::Mode::Text ? decodeLines(info) : decode(info, mode);
  };
  for (host::Comparison& comparison : _tracker.follow(report, info, decoded)) {
    if (_turns) std::erase_if(comparison.changes, std::not_fn(isTurn));
    if (_turns && comparison.changes.empty() && comparison.restart == host::Restart::None) continue;
    ++count;
    reply.u32(entry);
    reply.text(describe(comparison.restart));
    reply.u32(comparison.changes.size());
    for (const host::Change& change : comparison.changes) put(change);
  }
}

void News::put(const host::Change& change) {
  const auto* const number = std::get_if<host::NumberChange>(&change.what);
  const bool differs = number != nullptr && number->difference.has_value();
  const auto* const whole =
      differs ? std::get_if<host::WholeDifference>(&*number->difference) : nullptr;
  reply.text(change.key);
  reply.u32(change.line);
  reply.u8(number == nullptr ? 0 : static_cast<std::size_t>(number->course));
  reply.text(whole == nullptr ? ""
                              : (whole->negative ? "-" : "+") + std::to_string(whole->magnitude));
  reply.large((number == nullptr ? std::nullopt : number->rate).value_or(kNone));
  reply.u8(number != nullptr && number->isBits);
}

}  // namespace vesk::viewer
