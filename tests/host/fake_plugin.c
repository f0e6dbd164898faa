/* Libraries that a host must refuse: of another ABI version, with too small a table, without the
 * entry, or the plug-in itself but for its visits, which fail. Which one is decided when this is
 * compiled. */
#include <dlfcn.h>

#include "plugin/vesk_plugin.h"

#ifdef FAKE_NO_ENTRY
VESK_EXPORT int vesk_other_entry(void);
int vesk_other_entry(void) { return 0; }
#elif defined(FAKE_WITHOUT_VISITS)
static vesk_status refuse(const vesk_result* result, const vesk_visitor* visitor) {
  (void)result;
  (void)visitor;
  return VESK_BAD_ARGUMENT;
}

const vesk_plugin_api* vesk_plugin_entry(void) {
  static vesk_plugin_api api;
  void* const plugin = dlopen(FAKE_WITHOUT_VISITS, RTLD_NOW | RTLD_LOCAL);
  vesk_plugin_entry_fn* entry = 0;
  *(void**)&entry = dlsym(plugin, VESK_PLUGIN_ENTRY_NAME);
  api = *entry();
  api.result_visit = refuse;
  return &api;
}
#else
const vesk_plugin_api* vesk_plugin_entry(void) {
  static const vesk_plugin_api api = {.abi_version = FAKE_ABI_VERSION, .size = FAKE_SIZE};
  return &api;
}
#endif
