/* The C interface from a C host's side: loads the library as a host does and uses every function.
 *
 * Usage: abi-c-test LIBRARY. Prints what failed; the exit status is the number of failures. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "plugin/vesk_plugin.h"

static int failures;

#define CHECK(condition)                                              \
  do {                                                                \
    if (!(condition)) {                                               \
      fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                     \
    }                                                                 \
  } while (0)

/* What a visit wrote down. */
typedef struct log {
  char text[65536];
  int calls_left; /* a function asks to stop when none is left */
} log;

static int note(log* out, const char* word, const char* text, size_t length) {
  const size_t used = strlen(out->text);
  snprintf(out->text + used, sizeof out->text - used, "%s%.*s;", word, (int)length, text);
  return --out->calls_left == 0;
}

static int on_nil(void* context) { return note(context, "nil", "", 0); }
static int on_begin(void* context, size_t entries) {
  char count[32];
  snprintf(count, sizeof count, "%zu", entries);
  return note(context, "begin ", count, strlen(count));
}
static int on_key(void* context, const char* key, size_t length) {
  return note(context, "key ", key, length);
}
static int on_number(void* context, const vesk_number* number) {
  char text[64];
  if (number->kind == VESK_FLOAT || number->kind == VESK_DOUBLE)
    snprintf(text, sizeof text, "%d:%g", (int)number->kind, number->value.d);
  else if (number->kind == VESK_INT || number->kind == VESK_LONG_LONG)
    snprintf(text, sizeof text, "%d:%lld", (int)number->kind, (long long)number->value.i);
  else
    snprintf(text, sizeof text, "%d:%llu", (int)number->kind, (unsigned long long)number->value.u);
  return note(context, "number ", text, strlen(text));
}
static int on_string(void* context, const char* text, size_t length) {
  return note(context, "string ", text, length);
}
static int on_array(void* context, int32_t kind, const void* values, size_t count) {
  char text[64];
  long long last = 0;
  if (kind == VESK_INT) last = ((const int32_t*)values)[count - 1];
  if (kind == VESK_UNSIGNED_INT) last = ((const uint32_t*)values)[count - 1];
  snprintf(text, sizeof text, "%d x%zu ..%lld", (int)kind, count, last);
  return note(context, "array ", text, strlen(text));
}
static int on_end(void* context) { return note(context, "end", "", 0); }

static vesk_visitor visitor_for(log* out, int calls) {
  vesk_visitor visitor = {
      sizeof(vesk_visitor), NULL, on_nil, on_begin, on_key, on_number, on_string, on_array, on_end};
  memset(out, 0, sizeof *out);
  out->calls_left = calls;
  visitor.context = out;
  return visitor;
}

static void put32(unsigned char* at, uint32_t value) {
  int i;
  for (i = 0; i < 4; ++i) at[i] = (unsigned char)(value >> (8 * i));
}

static void test_instance(const vesk_plugin_api* api) {
  vesk_plugin* plugin = NULL;
  vesk_result* result = NULL;
  const char* text = NULL;
  size_t length = 0;
  unsigned char state[] = {0xDE, 2};
  int flag = -1;

  CHECK(api->create(&plugin) == VESK_OK);
  CHECK(plugin != NULL);
  CHECK(strcmp(api->error_message(plugin), "") == 0);
  CHECK(api->use_strings(plugin) == 0);

  CHECK(api->report_to_object(plugin, state, 0xDE, VESK_FEATURE, 2, &result) == VESK_OK);
  CHECK(api->result_form(result) == VESK_STRING);
  CHECK(api->result_count(result) == 1);
  CHECK(api->result_line(result, 0, &text, &length) == VESK_BAD_ARGUMENT);
  CHECK(api->result_text(result, &text, &length) == VESK_BAD_ARGUMENT);
  api->result_free(result);

  CHECK(api->set_use_strings(plugin, 1) == VESK_OK);
  CHECK(api->use_strings(plugin) == 1);
  CHECK(api->report_to_object(plugin, state, 0xDE, VESK_FEATURE, 2, &result) == VESK_OK);
  CHECK(api->result_form(result) == VESK_LINES);
  CHECK(api->result_count(result) == 1);
  CHECK(api->result_line(result, 0, &text, &length) == VESK_OK);
  CHECK(length == 26 && memcmp(text, "ADC Dump State: CONTINUOUS", 26) == 0);
  CHECK(api->result_line(result, 1, &text, &length) == VESK_BAD_ARGUMENT);
  CHECK(api->result_text(result, &text, &length) == VESK_OK);
  CHECK(length == 27 && memcmp(text, "ADC Dump State: CONTINUOUS\n", 27) == 0);

  /* A result outlives its instance. */
  api->destroy(plugin);
  CHECK(api->result_text(result, &text, &length) == VESK_OK && length == 27);
  api->result_free(result);

  /* Options return to object mode; printing raises text mode. */
  CHECK(api->create(&plugin) == VESK_OK);
  CHECK(api->parse_report(plugin, state, 0xDE, VESK_FEATURE, 2, &flag) == VESK_OK);
  CHECK(flag == 1);
  CHECK(api->use_strings(plugin) == 1);
  CHECK(api->parse_report(plugin, NULL, 0xDE, VESK_OUTPUT, 0, &flag) == VESK_OK);
  CHECK(flag == 0);
  {
    const char* const decimal[] = {"-decimal"};
    const char* const wrong[] = {"-wrong"};
    CHECK(api->parse_args(plugin, 1, decimal, &flag) == VESK_OK && flag == 1);
    CHECK(api->use_strings(plugin) == 0);
    CHECK(api->parse_args(plugin, 1, wrong, &flag) == VESK_OK && flag == 0);
    CHECK(api->parse_args(plugin, 0, NULL, &flag) == VESK_OK && flag == 1);
  }

  /* nil is a result. */
  CHECK(api->report_to_object(plugin, NULL, 0x76, VESK_INPUT, 791, &result) == VESK_OK);
  CHECK(result != NULL && api->result_form(result) == VESK_NIL);
  CHECK(api->result_count(result) == 0);
  api->result_free(result);

  api->destroy(plugin);
  api->destroy(NULL);
  api->result_free(NULL);
}

static void test_failures(const vesk_plugin_api* api) {
  vesk_plugin* plugin = NULL;
  vesk_result* result = NULL;
  unsigned char few[] = {0xD2, 'a', '\n', 'b', 0};
  unsigned char wrong[] = {0xD0, 0xFF, 0};
  unsigned char right[] = {0xD0, 'o', 'k', 0};
  int printed = -1;

  CHECK(api->create(&plugin) == VESK_OK);
  CHECK(api->report_to_object(plugin, few, 0xD2, VESK_FEATURE, 5, &result) == VESK_DECODER_FAILED);
  CHECK(result == NULL);
  CHECK(strcmp(api->error_message(plugin),
               "report 0xD2: the version text has 2 lines, its object needs 6") == 0);
  CHECK(api->parse_report(plugin, wrong, 0xD0, VESK_FEATURE, 3, &printed) == VESK_DECODER_FAILED);
  CHECK(strcmp(api->error_message(plugin), "report 0xD0: the version text is not UTF-8") == 0);
  CHECK(api->report_to_object(plugin, right, 0xD0, VESK_FEATURE, 4, &result) == VESK_OK);
  api->result_free(result);
  api->destroy(plugin);
}

static void visit(const vesk_plugin_api* api, vesk_plugin* plugin, const unsigned char* report,
                  int32_t type, int64_t length, int calls, vesk_status expected,
                  const char* expected_log) {
  static log out;
  const vesk_visitor visitor = visitor_for(&out, calls);
  vesk_result* result = NULL;
  CHECK(api->report_to_object(plugin, report, report[0], type, length, &result) == VESK_OK);
  CHECK(api->result_visit(result, &visitor) == expected);
  if (strcmp(out.text, expected_log) != 0)
    fprintf(stderr, "visited: %s\nexpected: %s\n", out.text, expected_log);
  CHECK(strcmp(out.text, expected_log) == 0);
  api->result_free(result);
}

static void test_visitor(const vesk_plugin_api* api) {
  static unsigned char image[792] = {0x76, 0x05, 0x01, 0x80};
  static unsigned char config[232] = {0xE2};
  unsigned char adc[25] = {0xDC};
  unsigned char state[] = {0xDE, 0};
  unsigned char watchdog[25] = {0xDF};
  vesk_plugin* plugin = NULL;
  const char* const image_log =
      "begin 11;key COOKIE;number 1:5;key FLAGS;number 2:32769;key FRAME_NUMBER;number 3:0;"
      "key FRAME_PARAMS;number 3:0;key TIMESTAMP_MS;number 3:0;key D_SCAN_I;array 4 x48 ..0;"
      "key D_SCAN_Q;array 4 x48 ..0;key P_SCAN_I;array 4 x48 ..0;key P_SCAN_Q;array 4 x48 ..-2;"
      "key TMON_PARAMS;number 3:0;key TMON_DEG_C;number 7:25.5;end;";

  put32(image + 780, 0xFFFFFFFE);
  put32(image + 788, 0x41CC0000);
  put32(watchdog + 5, 0xFFFFFFFF);
  put32(watchdog + 9, 0xFFFFFFFF);
  CHECK(api->create(&plugin) == VESK_OK);
  visit(api, plugin, image, VESK_INPUT, 792, 1000, VESK_OK, image_log);
  visit(api, plugin, image, VESK_INPUT, 791, 1000, VESK_OK, "nil;");
  visit(api, plugin, config, VESK_FEATURE, 232, 1000, VESK_OK, "nil;");
  visit(api, plugin, state, VESK_FEATURE, 2, 1000, VESK_OK, "string STANDBY;");
  visit(api,
        plugin,
        adc,
        VESK_FEATURE,
        25,
        1000,
        VESK_OK,
        "begin 5;key START_ADDRESS;number 3:0;key CHANNEL_ENABLE_MASK;number 6:0;"
        "key SAMPLE_COUNT;number 3:0;key STIM_TIMER_COMPARE;number 3:0;key TRIGGER_SOURCE;"
        "string RX_EN;end;");
  visit(api,
        plugin,
        watchdog,
        VESK_FEATURE,
        25,
        6,
        VESK_STOPPED,
        "begin 6;key Count;number 3:0;key Timestamp;number 5:-1;key Wallclock;");
  visit(api, plugin, image, VESK_INPUT, 792, 1, VESK_STOPPED, "begin 11;");

  CHECK(api->set_use_strings(plugin, 1) == VESK_OK);
  visit(api, plugin, state, VESK_FEATURE, 2, 1000, VESK_OK, "string ADC Dump State: STANDBY;");
  visit(api, plugin, watchdog, VESK_FEATURE, 25, 1, VESK_STOPPED, "string Watchdog Data:;");

  {
    /* Functions that are not given are passed over; a visitor of another size is refused. */
    vesk_visitor none = {sizeof(vesk_visitor), NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL};
    vesk_result* result = NULL;
    CHECK(api->report_to_object(plugin, state, 0xDE, VESK_FEATURE, 2, &result) == VESK_OK);
    CHECK(api->result_visit(result, &none) == VESK_OK);
    none.size = 8;
    CHECK(api->result_visit(result, &none) == VESK_BAD_ARGUMENT);
    api->result_free(result);
  }
  api->destroy(plugin);
}

static void test_tables(const vesk_plugin_api* api) {
  vesk_plugin* plugin = NULL;
  vesk_report_info info;
  size_t index, inputs = 0, texts = 0;

  CHECK(api->create(&plugin) == VESK_OK);
  CHECK(api->report_count(plugin) == 16);
  for (index = 0; index < 16; ++index) {
    memset(&info, 0xEE, sizeof info);
    info.size = sizeof info;
    CHECK(api->report_info(plugin, index, &info) == VESK_OK);
    CHECK((info.display_name == NULL) == (info.report_type == VESK_INPUT));
    if (info.report_type == VESK_INPUT) ++inputs;
    if (info.nul_terminated) ++texts;
    CHECK(info.exact_length == (info.report_type == VESK_INPUT));
    if (info.report_id == 0xE1) {
      CHECK(strcmp(info.decoder, "parseBlackBoxFullReport") == 0);
      CHECK(strcmp(info.display_name, "lackBoxFullReport") == 0);
      CHECK(info.smallest_buffer == 991);
    }
  }
  CHECK(inputs == 2 && texts == 2);
  CHECK(api->report_info(plugin, 16, &info) == VESK_BAD_ARGUMENT);

  /* A host that knows fewer members gets those and no more. */
  memset(&info, 0, sizeof info);
  info.size = offsetof(vesk_report_info, decoder);
  CHECK(api->report_info(plugin, 0, &info) == VESK_OK);
  CHECK(info.report_id == 0xD0 && info.report_type == VESK_FEATURE && info.decoder == NULL);
  api->destroy(plugin);
}

int main(int argc, char** argv) {
  void* library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
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
  CHECK(names != NULL && strcmp(names[9], "BLOB_VSFN") == 0);
  if (entry == NULL) return failures;

  api = entry();
  CHECK(api->abi_version == VESK_ABI_VERSION);
  CHECK(api->size >= VESK_API_SIZE_1);
  CHECK(api->plugin_version != NULL && api->plugin_version[0] != '\0');
  test_instance(api);
  test_failures(api);
  test_visitor(api);
  test_tables(api);
  dlclose(library);
  return failures;
}
