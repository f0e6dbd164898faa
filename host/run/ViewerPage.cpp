#include "host/run/ViewerPage.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include "host/ProgramFolder.h"
#include "host/inputs/Bytes.h"
#include "host/run/FileBytes.h"
#include "host/run/Gzip.h"
#include "host/run/Signals.h"
#include "host/writing/Terminal.h"

namespace vesk::host {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPageName = "vesk-viewer.html";

// The place for reports: an element with the version of the page.
constexpr std::string_view kPlaceBegin =
    "<script type=\"text/plain\" id=\"carried\" data-version=\"";
constexpr std::string_view kPlaceMiddle = "\">";
constexpr std::string_view kPlaceEnd = "</script>\n";
constexpr std::string_view kPageEnd = "</html>\n";

constexpr std::size_t kLongestVersion = 32;  // that is shown

// The page is smaller by far.
constexpr std::size_t kMostBytes = std::size_t{16} * 1024 * 1024;

/// Where the page may be, seen from the program: beside it, as installed, as built, and as
/// configured.
std::vector<fs::path> usualFolders() {
  std::vector<fs::path> folders;
  if (const auto beside = programFolder()) {
    const fs::path prefix = beside->parent_path();
    folders = {*beside, prefix / "share" / "vesk"};
    // A folder of a build: that of the page is its neighbour, and nothing else is.
    std::error_code failed;
    if (fs::exists(prefix / "CMakeCache.txt", failed))
      folders.push_back(prefix.parent_path() / "viewer");
  }
  folders.emplace_back(VESK_DATA_FOLDER);
  return folders;
}

std::string findPage() {
  std::string looked;
  for (const fs::path& folder : usualFolders()) {
    const fs::path path = folder / kPageName;
    std::error_code failed;
    if (fs::exists(path, failed)) return path.string();
    looked += (looked.empty() ? "" : ", ") + folder.string();
  }
  throw PageFault("-o html: cannot find " + std::string(kPageName) + " in " + looked +
                  "; install the package vesk-viewer, build the page by scripts/viewer, or name it "
                  "with --viewer FILE");
}

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw PageFault("-o html: " + printable(path) + ": " + why);
}

std::string contentOf(const std::string& path) {
  try {
    const std::string name = path == "-" ? "./-" : path;  // standard input is for captures
    FileBytes bytes(name, [](const FileBytes&, bool) { return std::nullopt; });
    std::string text;
    while (text.size() <= kMostBytes) {
      const std::string_view piece = bytes.peek(1);
      if (piece.empty()) return text;
      text += piece;
      bytes.take(piece.size());
    }
  } catch (const InputFault& fault) {
    refuse(path, fault.what());
  }
  refuse(path, "it is larger than any page of the viewer");
}

}  // namespace

ViewerPage::ViewerPage(const Options& options) : _options(options) {
  const std::string path = options.viewer ? *options.viewer : findPage();
  _text = contentOf(path);
  const std::string_view text = _text;
  _begin = text.find(kPlaceBegin);
  if (_begin == std::string_view::npos ||
      text.find(kPlaceBegin, _begin + 1) != std::string_view::npos)
    refuse(path,
           "it is no page of the viewer: it has no place for reports; scripts/viewer builds one");
  const std::size_t version = _begin + kPlaceBegin.size();
  const std::size_t versionEnd = text.find(kPlaceMiddle, version);
  if (versionEnd == std::string_view::npos || !text.ends_with(kPageEnd))
    refuse(path, "the page is cut off; install or build it again");
  const std::string_view found = text.substr(version, versionEnd - version);
  if (found != VESK_HOST_VERSION)
    refuse(path,
           "it is the page of version " + printable(found.substr(0, kLongestVersion)) +
               ", and this program needs that of " + VESK_HOST_VERSION);
  _end = versionEnd + kPlaceMiddle.size();
  if (!text.substr(_end).starts_with(kPlaceEnd))
    refuse(path, "there are reports in it already; name the viewer's own page");
  _end += kPlaceEnd.size();
}

std::string_view ViewerPage::version() const { return VESK_HOST_VERSION; }

std::unique_ptr<Packing> ViewerPage::pack() const { return std::make_unique<Gzip>(); }

std::string ViewerPage::selection() const {
  std::string text = _options.selection;
  if (_options.count)
    text += (text.empty() ? "--count " : " --count ") + std::to_string(*_options.count);
  return text;
}

bool ViewerPage::isCutOff() const { return interrupted(); }

}  // namespace vesk::host
