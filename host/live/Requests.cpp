#include "host/live/Requests.h"

#include <algorithm>

namespace vesk::host {

namespace {

std::string messageOf(std::errc failure) { return std::make_error_code(failure).message(); }

/// A request that failed, as the kernel tells it, and what that means.
std::string failureText(std::errc failure, bool gone) {
  if (gone) return "the device was unplugged while it was asked for";
  switch (failure) {
    case std::errc::broken_pipe:
      return "the device refused the request (stall): it has no such report, or not now";
    case std::errc::value_too_large:
      return "the device sent more than was asked for";
    case std::errc::io_error:
      return "the transfer failed: the device did not take part in it as it should";
    default:
      return "the request failed: " + messageOf(failure);
  }
}

bool isTimeout(std::errc failure) {
  return failure == std::errc::timed_out || failure == std::errc::stream_timeout;
}

}  // namespace

RequestPlan planRequests(const KnownReports& known, const DeclaredReports& declared,
                         const Selection& selection) {
  RequestPlan plan;
  if (declared.damage())
    plan.remarks.push_back("the report descriptor is damaged: " + *declared.damage());
  if (!selection.has(ReportType::Feature)) return plan;
  if (!declared.usesIds())
    plan.remarks.emplace_back(
        "the report descriptor declares no report IDs; asking for the reports that the tables "
        "know");
  std::string undeclared;
  for (const ReportInfo& info : known.all()) {
    if (info.type != ReportType::Feature || !selection.has(info.id)) continue;
    const bool isDeclared = declared.declares(ReportType::Feature, info.id);
    if (declared.usesIds() && !isDeclared) {
      if (selection.ids.empty()) continue;
      undeclared.append(undeclared.empty() ? "" : ", ").append(describe(info.id, info.type));
    }
    plan.reports.push_back(&info);
  }
  if (!undeclared.empty())
    plan.remarks.push_back("the report descriptor does not declare " + undeclared +
                           "; asking all the same, for the length of the tables");
  return plan;
}

std::size_t choosable(const KnownReports& known, const Selection& selection) {
  if (!selection.has(ReportType::Feature)) return 0;
  return static_cast<std::size_t>(std::ranges::count_if(known.all(), [&](const ReportInfo& info) {
    return info.type == ReportType::Feature && selection.has(info.id);
  }));
}

std::size_t lengthAsked(const ReportInfo& info, std::size_t most) {
  return info.nulTerminated ? most : std::min(info.smallest, most);
}

std::optional<Problem> judgeAnswer(const ReportInfo& info, std::errc failure,
                                   std::span<const std::uint8_t> bytes, bool gone) {
  const auto problem = [&](ProblemCode code, const std::string& complaint) {
    Problem made = problemAt({}, code, describe(info.id, info.type) + ": " + complaint);
    made.reportId = info.id;
    made.reportType = info.type;
    return made;
  };
  if (isTimeout(failure) && !gone)
    return problem(ProblemCode::UnansweredRequest, "the device did not answer in time");
  if (failure != std::errc{})
    return problem(ProblemCode::FailedRequest, failureText(failure, gone));
  if (bytes.empty())
    return problem(ProblemCode::EmptyReport, "the answer is empty: the device has nothing to tell");
  if (bytes.front() != info.id)
    return problem(
        ProblemCode::MismatchedReply,
        "the answer is " + describe(bytes.front(), std::nullopt) + ": the device mixed them up");
  return std::nullopt;
}

std::size_t countKnown(const KnownReports& known, const DeclaredReports& declared) {
  return static_cast<std::size_t>(std::ranges::count_if(
      known.all(), [&](const ReportInfo& info) { return declared.declares(info.type, info.id); }));
}

std::string openingFault(std::errc failure) {
  std::string text = "cannot open: " + messageOf(failure);
  if (failure == std::errc::permission_denied || failure == std::errc::operation_not_permitted)
    text +=
        "; root may, and so may you with a udev rule: 60-vesk.rules is one to fill in, "
        "vesk-decode(1) says how";
  return text;
}

}  // namespace vesk::host
