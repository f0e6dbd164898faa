/// vesk-viewer.html, which `-o html` puts reports into.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "host/outputs/Page.h"
#include "host/run/Options.h"

namespace vesk::host {

/// The page can't be found, read or used.
class PageFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class ViewerPage final : public Page {
 public:
  /// Reads the page that the options name, or else the first one found in the usual places. It has
  /// to be of this program's version, whole, and without reports. Throws PageFault.
  explicit ViewerPage(const Options& options);

  std::string_view before() const override { return std::string_view(_text).substr(0, _begin); }
  std::string_view behind() const override { return std::string_view(_text).substr(_end); }
  std::string_view version() const override;
  std::unique_ptr<Packing> pack() const override;
  std::string selection() const override;
  bool isCutOff() const override;

 private:
  const Options& _options;
  std::string _text;
  std::size_t _begin = 0;  // of the place where reports go
  std::size_t _end = 0;
};

}  // namespace vesk::host
