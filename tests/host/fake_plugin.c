/* Libraries that a host must refuse: of another ABI version, with too small a table, or without the
 * entry. Which one is decided when this is compiled. */
#include "plugin/vesk_plugin.h"

#ifdef FAKE_NO_ENTRY
VESK_EXPORT int vesk_other_entry(void);
int vesk_other_entry(void) { return 0; }
#else
const vesk_plugin_api* vesk_plugin_entry(void) {
  static const vesk_plugin_api api = {.abi_version = FAKE_ABI_VERSION, .size = FAKE_SIZE};
  return &api;
}
#endif
