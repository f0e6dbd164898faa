/* A host of the first days: it was compiled against the header beside it, which is the C interface
 * as version 1.0.0 of the library had it, and is never changed. It calls every function of that
 * header and knows nothing newer. Whatever the library has become, this host works with it.
 *
 * Usage: abi-1-test LIBRARY. Prints what failed; the exit status is 1 if something did. */
#include "vesk_plugin.h"

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures;

#define CHECK(condition)                                              \
  do {                                                                \
    if (!(condition)) {                                               \
      fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                     \
    }                                                                 \
  } while (0)

/* What was visited. */
static char seen[4096];

static int see(const char* word, const char* text, size_t length) {
  const size_t used = strlen(seen);
  snprintf(seen + used, sizeof seen - used, "%s %.*s;", word, (int)length, text);
  return 0;
}

static int on_nil(void* context) { return see("nil", (const char*)context, 1); }
static int on_begin(void* context, size_t entries) {
  char count[32];
  (void)context;
  snprintf(count, sizeof count, "%lu", (unsigned long)entries);
  return see("begin", count, strlen(count));
}
static int on_key(void* context, const char* key, size_t length) {
  (void)context;
  return see("key", key, length);
}
static int on_number(void* context, const vesk_number* number) {
  char text[64];
  (void)context;
  switch (number->kind) {
    case VESK_FLOAT:
    case VESK_DOUBLE:
      snprintf(text, sizeof text, "%g", number->value.d);
      break;
    case VESK_INT:
    case VESK_LONG_LONG:
      snprintf(text, sizeof text, "%lld", (long long)number->value.i);
      break;
    default:
      snprintf(text, sizeof text, "%llu", (unsigned long long)number->value.u);
      break;
  }
  return see("number", text, strlen(text));
}
static int on_string(void* context, const char* text, size_t length) {
  (void)context;
  return see("string", text, length);
}
static int on_array(void* context, int32_t kind, const void* values, size_t count) {
  char text[64];
  (void)context;
  CHECK(kind == VESK_INT && count == 48);
  snprintf(text, sizeof text, "%d", (int)((const int32_t*)values)[47]);
  return see("array", text, strlen(text));
}
static int on_end(void* context) { return see("end", (const char*)context, 1); }
static int stop(void* context, const char* text, size_t length) {
  see("stop", text, length);
  return context != NULL;
}

/* A visitor in memory of no more than its size, as an old program has it. */
static vesk_visitor* make_visitor(void) {
  vesk_visitor* const visitor = (vesk_visitor*)calloc(1, sizeof(vesk_visitor));
  static char context[] = "c";
  if (visitor == NULL) abort();
  visitor->size = sizeof *visitor;
  visitor->context = context;
  visitor->nil = on_nil;
  visitor->dictionary_begin = on_begin;
  visitor->key = on_key;
  visitor->number = on_number;
  visitor->string = on_string;
  visitor->array = on_array;
  visitor->dictionary_end = on_end;
  return visitor;
}

static void put32(unsigned char* at, uint32_t value) {
  int i;
  for (i = 0; i < 4; ++i) at[i] = (unsigned char)(value >> (8 * i));
}

static void test_instance(const vesk_plugin_api* api) {
  const char* const decimal[] = {"-decimal"};
  const char* const wrong[] = {"-wrong"};
  unsigned char state[] = {0xDE, 1};
  unsigned char no_text[] = {0xD0, 0xFF, 0};
  vesk_plugin* plugin = NULL;
  int flag = -1;

  CHECK(api->create(&plugin) == VESK_OK && plugin != NULL);
  CHECK(strcmp(api->error_message(plugin), "") == 0);
  CHECK(api->parse_args(plugin, 1, decimal, &flag) == VESK_OK && flag == 1);
  CHECK(api->parse_args(plugin, 1, wrong, &flag) == VESK_OK && flag == 0);
  CHECK(api->use_strings(plugin) == 0);
  CHECK(api->parse_report(plugin, state, 0xDE, VESK_FEATURE, sizeof state, &flag) == VESK_OK);
  CHECK(flag == 1);
  CHECK(api->use_strings(plugin) == 1);
  CHECK(api->parse_report(plugin, NULL, 0xDE, VESK_OUTPUT, 0, &flag) == VESK_OK && flag == 0);
  CHECK(api->parse_report(plugin, no_text, 0xD0, VESK_FEATURE, sizeof no_text, &flag) ==
        VESK_DECODER_FAILED);
  CHECK(strcmp(api->error_message(plugin), "report 0xD0: the version text is not UTF-8") == 0);
  CHECK(api->set_use_strings(plugin, 0) == VESK_OK);
  CHECK(api->use_strings(plugin) == 0);
  api->destroy(plugin);
  api->destroy(NULL);
}

static void test_results(const vesk_plugin_api* api) {
  static unsigned char image[792] = {0x76, 0x05, 0x01, 0x80};
  unsigned char state[] = {0xDE, 1};
  unsigned char adc[25] = {0xDC};
  vesk_visitor* const visitor = make_visitor();
  vesk_plugin* plugin = NULL;
  vesk_result* result = NULL;
  const char* text = NULL;
  size_t length = 0;

  put32(image + 4, 77);           /* FRAME_NUMBER */
  put32(image + 780, 0xFFFFFFFE); /* the last sample of P_SCAN_Q */
  put32(image + 788, 0x41CC0000); /* TMON_DEG_C */
  CHECK(api->create(&plugin) == VESK_OK);

  CHECK(api->report_to_object(plugin, image, 0x76, VESK_INPUT, sizeof image, &result) == VESK_OK);
  CHECK(api->result_form(result) == VESK_DICTIONARY);
  CHECK(api->result_count(result) == 11);
  CHECK(api->result_visit(result, visitor) == VESK_OK);
  CHECK(strcmp(seen,
               "begin 11;key COOKIE;number 5;key FLAGS;number 32769;key FRAME_NUMBER;number 77;"
               "key FRAME_PARAMS;number 0;key TIMESTAMP_MS;number 0;key D_SCAN_I;array 0;"
               "key D_SCAN_Q;array 0;key P_SCAN_I;array 0;key P_SCAN_Q;array -2;"
               "key TMON_PARAMS;number 0;key TMON_DEG_C;number 25.5;end c;") == 0);
  CHECK(api->result_line(result, 0, &text, &length) == VESK_BAD_ARGUMENT);
  CHECK(api->result_text(result, &text, &length) == VESK_BAD_ARGUMENT);
  api->result_free(result);

  memset(seen, 0, sizeof seen);
  CHECK(api->report_to_object(plugin, adc, 0xDC, VESK_FEATURE, sizeof adc, &result) == VESK_OK);
  CHECK(api->result_visit(result, visitor) == VESK_OK);
  CHECK(strcmp(seen,
               "begin 5;key START_ADDRESS;number 0;key CHANNEL_ENABLE_MASK;number 0;"
               "key SAMPLE_COUNT;number 0;key STIM_TIMER_COMPARE;number 0;key TRIGGER_SOURCE;"
               "string RX_EN;end c;") == 0);
  memset(seen, 0, sizeof seen);
  visitor->key = stop;
  CHECK(api->result_visit(result, visitor) == VESK_STOPPED);
  CHECK(strcmp(seen, "begin 5;stop START_ADDRESS;") == 0);
  api->result_free(result);

  memset(seen, 0, sizeof seen);
  CHECK(api->report_to_object(plugin, NULL, 0x76, VESK_INPUT, 791, &result) == VESK_OK);
  CHECK(api->result_form(result) == VESK_NIL && api->result_count(result) == 0);
  CHECK(api->result_visit(result, visitor) == VESK_OK);
  CHECK(strcmp(seen, "nil c;") == 0);
  api->result_free(result);

  memset(seen, 0, sizeof seen);
  CHECK(api->report_to_object(plugin, state, 0xDE, VESK_FEATURE, sizeof state, &result) == VESK_OK);
  CHECK(api->result_form(result) == VESK_STRING && api->result_count(result) == 1);
  CHECK(api->result_visit(result, visitor) == VESK_OK);
  CHECK(strcmp(seen, "string SINGLE;") == 0);
  api->result_free(result);

  CHECK(api->set_use_strings(plugin, 1) == VESK_OK);
  CHECK(api->report_to_object(plugin, state, 0xDE, VESK_FEATURE, sizeof state, &result) == VESK_OK);
  api->destroy(plugin);
  CHECK(api->result_form(result) == VESK_LINES && api->result_count(result) == 1);
  CHECK(api->result_line(result, 0, &text, &length) == VESK_OK);
  CHECK(length == 22 && memcmp(text, "ADC Dump State: SINGLE", 22) == 0);
  CHECK(api->result_text(result, &text, &length) == VESK_OK);
  CHECK(length == 23 && memcmp(text, "ADC Dump State: SINGLE\n", 23) == 0);
  api->result_free(result);
  api->result_free(NULL);
  free(visitor);
}

static void test_tables(const vesk_plugin_api* api) {
  vesk_plugin* plugin = NULL;
  size_t index;
  int images = 0;

  CHECK(api->create(&plugin) == VESK_OK);
  for (index = 0; index < api->report_count(plugin); ++index) {
    vesk_report_info* const info = (vesk_report_info*)malloc(sizeof(vesk_report_info));
    if (info == NULL) abort();
    info->size = sizeof *info;
    CHECK(api->report_info(plugin, index, info) == VESK_OK);
    CHECK(info->size == sizeof *info);
    if (info->report_type == VESK_INPUT && info->report_id == 0x76) {
      CHECK(strcmp(info->decoder, "parseVeskImage") == 0 && info->display_name == NULL);
      CHECK(info->smallest_buffer == 792 && info->exact_length == 1 && info->nul_terminated == 0);
      ++images;
    }
    if (info->report_type == VESK_FEATURE && info->report_id == 0xD0) {
      CHECK(strcmp(info->decoder, "parseVersion") == 0);
      CHECK(strcmp(info->display_name, "ersion") == 0);
      CHECK(info->smallest_buffer == 2 && info->exact_length == 0 && info->nul_terminated == 1);
    }
    free(info);
  }
  CHECK(images == 1);
  {
    vesk_report_info info;
    info.size = sizeof info;
    CHECK(api->report_info(plugin, index, &info) == VESK_BAD_ARGUMENT);
    CHECK(strcmp(api->error_message(plugin), "") != 0);
  }
  api->destroy(plugin);
}

/* A row of blob_names decides what the black box configuration prints. */
static void test_blob_names(const vesk_plugin_api* api, const char** names) {
  static unsigned char config[232] = {0xE2};
  const char* const before = names[9];
  vesk_plugin* plugin = NULL;
  vesk_result* result = NULL;
  const char* text = NULL;
  size_t length = 0;
  char* whole;

  CHECK(strcmp(before, "BLOB_VSFN") == 0);
  names[9] = "MY_OWN_NAME";
  CHECK(api->create(&plugin) == VESK_OK);
  CHECK(api->set_use_strings(plugin, 1) == VESK_OK);
  CHECK(api->report_to_object(plugin, config, 0xE2, VESK_FEATURE, sizeof config, &result) ==
        VESK_OK);
  CHECK(api->result_text(result, &text, &length) == VESK_OK);
  whole = (char*)calloc(length + 1, 1);
  if (whole == NULL) abort();
  memcpy(whole, text, length);
  CHECK(strstr(whole, "MY_OWN_NAME") != NULL && strstr(whole, "BLOB_VSFN") == NULL);
  free(whole);
  names[9] = before;
  api->result_free(result);
  api->destroy(plugin);
}

int main(int argc, char** argv) {
  void* const library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
  vesk_plugin_entry_fn* entry = NULL;
  const char** names = NULL;
  const vesk_plugin_api* api = NULL;
  if (library == NULL) {
    fprintf(stderr, "usage: %s LIBRARY\n%s\n", argv[0], argc == 2 ? dlerror() : "");
    return 1;
  }
  *(void**)&entry = dlsym(library, VESK_PLUGIN_ENTRY_NAME);
  *(void**)&names = dlsym(library, "blob_names");
  CHECK(entry != NULL);
  CHECK(names != NULL);
  if (entry == NULL || names == NULL) return failures != 0;

  api = entry();
  CHECK(api->abi_version == VESK_ABI_VERSION);
  CHECK(api->size >= VESK_API_SIZE_1);
  if (failures != 0) return failures != 0;
  CHECK(api->plugin_version[0] != '\0');
  test_instance(api);
  test_results(api);
  test_tables(api);
  test_blob_names(api, names);
  dlclose(library);
  return failures != 0;
}
