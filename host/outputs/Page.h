/// The viewer's page as a form sees it that puts reports into one.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "host/writing/Sink.h"

namespace vesk::host {

/// Packs text as gzip does.
class Packing : public Sink {
 public:
  /// All that was appended, packed; nothing may be appended from here on.
  virtual std::string take() = 0;
};

class Page {
 public:
  virtual ~Page() = default;

  /// Its text in front of the place where reports go, and behind it. A page with nothing between
  /// them holds no reports.
  virtual std::string_view before() const = 0;
  virtual std::string_view behind() const = 0;

  /// The program's, which is that of the page, too.
  virtual std::string_view version() const = 0;

  virtual std::unique_ptr<Packing> pack() const = 0;

  /// The options that choose among the reports, as they were written; empty where all were wanted.
  virtual std::string selection() const = 0;

  /// Whether the run was ended before its input was.
  virtual bool isCutOff() const = 0;
};

}  // namespace vesk::host
