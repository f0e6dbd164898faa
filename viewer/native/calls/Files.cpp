/// Calls that open, read and close files.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "viewer/native/calls/Calls.h"
#include "viewer/native/calls/Values.h"

namespace vesk::viewer {

namespace {

/// A time that was given; NaN is none.
std::optional<std::int64_t> timeIn(double microseconds) {
  if (!(std::abs(microseconds) < 1e18)) return std::nullopt;
  return static_cast<std::int64_t>(microseconds);
}

}  // namespace

/// Takes the file's name, the name of its form, or an empty one, what is to be followed
/// (wantedIn()), and a count of decoders to reduce, and their names. Gives a handle.
VESK_CALL(open) std::int32_t open(std::int32_t source) {
  return answered([=](Calls& all) {
    std::string name(all.arguments.text());
    const host::InputForm* const form = inputForm(all.arguments.text());
    auto capture = std::make_unique<Capture>(all.module, source, std::move(name), form);
    capture->follow(wantedIn(all.arguments));
    capture->reduce(textsIn(all.arguments));
    hold(all, all.captures, std::move(capture));
  });
}

/// The same without a form, for reports that come by append().
VESK_CALL(openLive) std::int32_t openLive(std::int32_t source) {
  return answered([=](Calls& all) {
    auto capture = std::make_unique<Capture>(all.module, source, std::string(all.arguments.text()));
    capture->follow(wantedIn(all.arguments));
    capture->reduce(textsIn(all.arguments));
    hold(all, all.captures, std::move(capture));
  });
}

/// Takes a report's bytes: a count, and the bytes. `type` is -1 where it isn't known, and
/// `microseconds` NaN.
VESK_CALL(append)
std::int32_t append(std::uint32_t handle, std::int32_t type, double microseconds) {
  const auto append = [=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    host::Report report;
    report.bytes = all.arguments.bytes(all.arguments.u32());
    if (host::checkSize({}, report.bytes.size()))
      throw std::invalid_argument("no report is that long");
    if (type >= 0 && static_cast<std::size_t>(type) < host::kReportTypes)
      report.type = static_cast<host::ReportType>(type);
    report.microseconds = timeIn(microseconds);
    report.place = {host::Place::Unit::Report, capture.index().reports() + 1};
    capture.add(report);
  };
  return answered(append, Ending::BrokenOff);
}

/// Takes what is to be told where reports are missing: `lost` of them, or 0 where that isn't known.
/// `microseconds` are as for append().
VESK_CALL(appendGap)
std::int32_t appendGap(std::uint32_t handle, std::uint32_t lost, double microseconds) {
  const auto append = [=](Calls& all) {
    host::Problem problem =
        host::problemAt({}, host::ProblemCode::LostReports, std::string(all.arguments.text()));
    problem.microseconds = timeIn(microseconds);
    if (lost != 0) problem.lost = lost;
    of(all.captures, handle).add(problem);
  };
  return answered(append, Ending::BrokenOff);
}

/// Closes a file, or ends a conversion or a rendering.
VESK_CALL(close) std::int32_t close(std::uint32_t handle) {
  return answered([=](Calls& all) {
    all.captures.erase(handle);
    all.conversions.erase(handle);
    all.renderings.erase(handle);
  });
}

/// Gives whether the file is read to its end, how much of it is, the number of entries, of those
/// that are reports, and of messages so far, the memory of the index, the form's name, or an empty
/// one as long as it isn't known, and what was followed (put()).
VESK_CALL(read)
std::int32_t read(std::uint32_t handle, double bytes, std::uint32_t entries) {
  const auto read = [=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    capture.read(static_cast<std::uint64_t>(bytes), entries);
    Reply& reply = all.reply;
    reply.u8(capture.ended());
    reply.large(capture.position());
    reply.u32(capture.index().size());
    reply.u32(capture.index().reports());
    reply.u32(capture.index().messages().size());
    reply.large(capture.index().memory());
    reply.text(capture.form() != nullptr ? capture.form()->name : "");
    all.tables = capture.takeFollowed();
    put(reply, all.tables, nullptr);
  };
  return answered(read, Ending::BrokenOff);
}

}  // namespace vesk::viewer
