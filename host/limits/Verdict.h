/// What limits say of a file: the result of each test, and whether all of them were kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/Report.h"

namespace vesk::host {

/// A device of a USB capture: what it sends comes from one panel, whatever the endpoint.
struct UsbDevice {
  std::uint16_t bus;
  std::uint16_t device;

  bool operator==(const UsbDevice&) const = default;
};

/// One property of one kind of report of one device in one file, over all its reports.
struct LimitResult {
  enum class Outcome : std::uint8_t { Passed, Failed, Skipped };

  Outcome outcome = Outcome::Passed;
  std::string report;   // "0xE3"; empty for the test of the file as a whole
  std::string decoder;  // empty for that one, too
  std::string test;     // the key, "WEAK_OS"; "value" for a report that is one string
  std::string value;    // of the first failure, or else of the last report; empty if there was none
  std::string low;      // what the limits allow, where they are one range; a text where only that
  std::string high;     //   is allowed
  std::string unit;
  std::string limits;     // as the file has them, JSON
  std::string complaint;  // what was wrong first, or why it was skipped; empty if it passed
  std::vector<std::size_t> channels;  // of the first failure
  std::optional<Place> place;         // of the first failure; none if no report came
  std::uint64_t reports = 0;          // that came, decoded or not
  std::uint64_t failures = 0;         // of them
};

/// The tests of one panel.
struct PanelResults {
  std::optional<UsbDevice> device;  // none where the input doesn't tell senders apart
  std::string serial;               // empty if it wasn't asked for, or didn't come
  std::vector<LimitResult> tests;
};

struct Verdict {
  std::string file;
  std::string title;                 // of the limits
  std::vector<PanelResults> panels;  // never empty; the last test is that of the file as a whole

  std::size_t count() const;
  std::size_t count(LimitResult::Outcome outcome) const;
  bool passed() const { return count(LimitResult::Outcome::Failed) == 0; }

  /// The file's name; where it has several panels, with the device: "two.pcap, device 1:5".
  std::string nameOf(const PanelResults& panel) const;

  /// "PASS, 41 tests" or "FAIL, 3 of 41 tests", for people.
  std::string summary() const;
};

/// "0xE3 WEAK_OS", or the test alone where it is of no report.
std::string nameOf(const LimitResult& result);

/// The complaint, and how many reports it is true of: "is 3, not 0; 2 of 7 reports". Empty for a
/// test that passed.
std::string fullComplaint(const LimitResult& result);

}  // namespace vesk::host
