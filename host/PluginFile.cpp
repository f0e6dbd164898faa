/// The part of Plugin.h that needs a system which loads libraries.
#include <dlfcn.h>

#include <filesystem>

#include "host/Plugin.h"
#include "host/ProgramFolder.h"

namespace vesk::host {

namespace {

namespace fs = std::filesystem;

constexpr const char* kLibraryName = "libvesk-report.so";

/// Where the library may be, seen from the program: as built, as installed, and as configured.
std::vector<fs::path> usualFolders() {
  std::vector<fs::path> folders;
  if (const auto beside = programFolder()) {
    const fs::path lib = beside->parent_path() / "lib";
    folders = {*beside, lib, lib / VESK_MULTIARCH};
  }
  folders.emplace_back(VESK_PLUGIN_FOLDER);
  return folders;
}

std::string findLibrary() {
  std::string looked;
  for (const fs::path& folder : usualFolders()) {
    const fs::path path = folder / kLibraryName;
    std::error_code failed;
    if (fs::exists(path, failed)) return path.string();
    looked += (looked.empty() ? "" : ", ") + folder.string();
  }
  throw PluginFault(std::string("cannot find ") + kLibraryName + " in " + looked +
                    "; name it with --plugin FILE");
}

/// dlopen() looks a name without a slash up in the system's folders, which --plugin doesn't mean.
std::string asPath(const std::string& name) {
  return name.find('/') == std::string::npos ? "./" + name : name;
}

vesk_plugin_entry_fn& load(const std::string& path) {
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) throw PluginFault(std::string("cannot load the plug-in: ") + dlerror());
  const auto entry =
      reinterpret_cast<vesk_plugin_entry_fn*>(dlsym(library, VESK_PLUGIN_ENTRY_NAME));
  if (entry == nullptr)
    throw PluginFault(path + " is no plug-in: it has no " + VESK_PLUGIN_ENTRY_NAME);
  return *entry;
}

PluginLibrary opened(const std::string& path) { return {path, load(path)}; }

}  // namespace

PluginLibrary::PluginLibrary(const std::optional<std::string>& path)
    : PluginLibrary(opened(path ? asPath(*path) : findLibrary())) {}

}  // namespace vesk::host
