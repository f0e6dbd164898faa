#include <dlfcn.h>
#include <stdio.h>

#include "plugin/vesk_plugin.h"

int main(void) {
  void* library = dlopen(PLUGIN, RTLD_NOW);
  if (library == NULL) return puts(dlerror()) < 0 ? 2 : 1;
  vesk_plugin_entry_fn* entry;
  *(void**)&entry = dlsym(library, VESK_PLUGIN_ENTRY_NAME);
  return printf("%s\n", entry()->plugin_version) < 0;
}
