/* The C interface from a C host's side: loads the library as a host does and uses every function.
 *
 * Usage: abi-c-test LIBRARY. Prints what failed; the exit status is 1 if something did. */
#include <dlfcn.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
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
    flag = -1;
    CHECK(api->parse_args(plugin, -1, NULL, &flag) == VESK_OK && flag == 1);
  }

  /* Text mode is every number but 0, as in C. */
  {
    const int numbers[] = {1, -1, 2, 256, 0x10000, INT_MIN};
    size_t i;
    for (i = 0; i < sizeof numbers / sizeof *numbers; ++i) {
      CHECK(api->set_use_strings(plugin, 0) == VESK_OK);
      CHECK(api->use_strings(plugin) == 0);
      CHECK(api->set_use_strings(plugin, numbers[i]) == VESK_OK);
      CHECK(api->use_strings(plugin) == 1);
      CHECK(api->report_to_object(plugin, state, 0xDE, VESK_FEATURE, 2, &result) == VESK_OK);
      CHECK(api->result_form(result) == VESK_LINES);
      api->result_free(result);
    }
    CHECK(api->set_use_strings(plugin, 0) == VESK_OK);
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

/* What fails on an instance leaves a message, and what it would have set as it was. */
static void test_failures(const vesk_plugin_api* api) {
  vesk_plugin* plugin = NULL;
  vesk_result* result = NULL;
  unsigned char few[] = {0xD2, 'a', '\n', 'b', 0};
  unsigned char wrong[] = {0xD0, 0xFF, 0};
  unsigned char right[] = {0xD0, 'o', 'k', 0};
  const char* const null_option[] = {"-decimal", NULL};
  const char* const wrong_option[] = {"\xFF"};
  vesk_report_info info;
  int flag = -1;

  CHECK(api->create(&plugin) == VESK_OK);
  CHECK(api->report_to_object(plugin, few, 0xD2, VESK_FEATURE, 5, &result) == VESK_DECODER_FAILED);
  CHECK(result == NULL);
  CHECK(strcmp(api->error_message(plugin),
               "report 0xD2: the version text has 2 lines, its object needs 6") == 0);
  CHECK(api->report_to_object(plugin, right, 0xD0, VESK_FEATURE, 4, &result) == VESK_OK);
  api->result_free(result);
  CHECK(strstr(api->error_message(plugin), "0xD2") != NULL); /* a success says nothing */

  CHECK(api->parse_report(plugin, wrong, 0xD0, VESK_FEATURE, 3, &flag) == VESK_DECODER_FAILED);
  CHECK(flag == -1);
  CHECK(api->use_strings(plugin) == 1);
  CHECK(strcmp(api->error_message(plugin), "report 0xD0: the version text is not UTF-8") == 0);
  result = (vesk_result*)&flag;
  CHECK(api->report_to_object(plugin, wrong, 0xD0, VESK_FEATURE, 3, &result) ==
        VESK_DECODER_FAILED);
  CHECK(result == NULL);

  CHECK(api->parse_args(plugin, 2, null_option, &flag) == VESK_DECODER_FAILED);
  CHECK(flag == -1);
  CHECK(api->use_strings(plugin) == 1); /* options that are accepted return to object mode */
  CHECK(strcmp(api->error_message(plugin), "option 1 is null or not UTF-8") == 0);
  CHECK(api->parse_args(plugin, 1, wrong_option, &flag) == VESK_DECODER_FAILED);
  CHECK(flag == -1);
  CHECK(strcmp(api->error_message(plugin), "option 0 is null or not UTF-8") == 0);

  info.size = sizeof info;
  CHECK(api->report_info(plugin, api->report_count(plugin), &info) == VESK_BAD_ARGUMENT);
  CHECK(strcmp(api->error_message(plugin), "the report tables have no row of this index") == 0);
  info.size = 0;
  CHECK(api->report_info(plugin, 0, &info) == VESK_BAD_ARGUMENT);
  CHECK(strcmp(api->error_message(plugin), "the size of a vesk_report_info is not set") == 0);

  CHECK(api->report_to_object(plugin, right, 0xD0, VESK_FEATURE, 4, &result) == VESK_OK);
  api->result_free(result);
  api->destroy(plugin);
}

/* What fails on a result tells so by its status alone. */
static void test_result_failures(const vesk_plugin_api* api) {
  unsigned char state[] = {0xDE, 2};
  int use_strings;
  for (use_strings = 0; use_strings < 2; ++use_strings) {
    vesk_plugin* plugin = NULL;
    vesk_result* result = NULL;
    const char* text = "as it was";
    size_t length = 77;
    CHECK(api->create(&plugin) == VESK_OK);
    CHECK(api->set_use_strings(plugin, use_strings) == VESK_OK);
    CHECK(api->report_to_object(plugin, state, 0xDE, VESK_FEATURE, 2, &result) == VESK_OK);
    CHECK(api->result_line(result, 1, &text, &length) == VESK_BAD_ARGUMENT);
    CHECK(api->result_line(result, (size_t)-1, &text, &length) == VESK_BAD_ARGUMENT);
    if (!use_strings) CHECK(api->result_line(result, 0, &text, &length) == VESK_BAD_ARGUMENT);
    if (!use_strings) CHECK(api->result_text(result, &text, &length) == VESK_BAD_ARGUMENT);
    CHECK(strcmp(text, "as it was") == 0 && length == 77);
    CHECK(strcmp(api->error_message(plugin), "") == 0);
    api->result_free(result);
    api->destroy(plugin);
  }
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

  api->destroy(plugin);
}

/* Visits by a visitor of `size` bytes, in memory of just as many: one of another version of the
 * header, which ends after fewer members, or after more, of which the library knows nothing. */
static void visit_sized(const vesk_plugin_api* api, const vesk_result* result, uint32_t size) {
  static log cut, expected;
  vesk_visitor visitor = visitor_for(&expected, 1000);
  unsigned char* const memory = (unsigned char*)malloc(size < 4 ? 4 : size);
  if (memory == NULL) abort();

  memset(memory, 0xEE, size);
  visitor_for(&cut, 1000);
  visitor.context = &cut;
  visitor.size = size;
  memcpy(memory, &visitor, size < 4 ? 4 : size < sizeof visitor ? size : sizeof visitor);
  CHECK(api->result_visit(result, (const vesk_visitor*)(const void*)memory) ==
        (size < 4 ? VESK_BAD_ARGUMENT : VESK_OK));
  free(memory);

  /* The same by a whole visitor, without the functions that the size does not cover. */
  visitor.context = &expected;
  visitor.size = sizeof visitor;
#define WITHOUT(function) \
  if (offsetof(vesk_visitor, function) + sizeof visitor.function > size) visitor.function = NULL
  WITHOUT(nil);
  WITHOUT(dictionary_begin);
  WITHOUT(key);
  WITHOUT(number);
  WITHOUT(string);
  WITHOUT(array);
  WITHOUT(dictionary_end);
#undef WITHOUT
  CHECK(api->result_visit(result, &visitor) == VESK_OK);
  if (strcmp(cut.text, expected.text) != 0)
    fprintf(stderr, "size %u: %s\nexpected: %s\n", (unsigned)size, cut.text, expected.text);
  CHECK(strcmp(cut.text, expected.text) == 0);
}

static void test_visitor_sizes(const vesk_plugin_api* api) {
  static unsigned char image[792] = {0x76};
  unsigned char adc[25] = {0xDC};
  unsigned char watchdog[25] = {0xDF};
  struct {
    unsigned char* report;
    int32_t type;
    int64_t length;
    int use_strings;
  } const cases[] = {
      {image, VESK_INPUT, 792, 0},    /* numbers and arrays */
      {image, VESK_INPUT, 791, 0},    /* nil */
      {adc, VESK_FEATURE, 25, 0},     /* a string, too */
      {watchdog, VESK_FEATURE, 25, 1} /* lines */
  };
  vesk_plugin* plugin = NULL;
  vesk_result* result = NULL;
  static log out;
  vesk_visitor visitor = visitor_for(&out, 1000);
  size_t i;
  uint32_t size;

  CHECK(api->create(&plugin) == VESK_OK);
  for (i = 0; i < sizeof cases / sizeof *cases; ++i) {
    CHECK(api->set_use_strings(plugin, cases[i].use_strings) == VESK_OK);
    CHECK(
        api->report_to_object(
            plugin, cases[i].report, cases[i].report[0], cases[i].type, cases[i].length, &result) ==
        VESK_OK);
    for (size = 0; size <= sizeof(vesk_visitor) + 16; ++size) visit_sized(api, result, size);
    api->result_free(result);
  }

  /* One that ends after `key`, and one that ends within `number`. */
  CHECK(api->set_use_strings(plugin, 0) == VESK_OK);
  CHECK(api->report_to_object(plugin, adc, 0xDC, VESK_FEATURE, 25, &result) == VESK_OK);
  for (size = offsetof(vesk_visitor, number); size < offsetof(vesk_visitor, string); ++size) {
    visitor = visitor_for(&out, 1000);
    visitor.size = size;
    CHECK(api->result_visit(result, &visitor) == VESK_OK);
    CHECK(strcmp(out.text,
                 "begin 5;key START_ADDRESS;key CHANNEL_ENABLE_MASK;key SAMPLE_COUNT;"
                 "key STIM_TIMER_COMPARE;key TRIGGER_SOURCE;") == 0);
  }

  /* None of its functions is called if it is too small. */
  visitor = visitor_for(&out, 1000);
  visitor.size = 3;
  CHECK(api->result_visit(result, &visitor) == VESK_BAD_ARGUMENT);
  CHECK(strcmp(out.text, "") == 0);
  api->result_free(result);
  api->destroy(plugin);
}

/* Where strings, keys and arrays of a result lie. */
typedef struct views {
  const char* keys[16];
  size_t key_lengths[16];
  size_t count;
  const char* string;
  size_t string_length;
  const int32_t* values;
  size_t value_count;
} views;

static int keep_key(void* context, const char* key, size_t length) {
  views* const kept = (views*)context;
  kept->keys[kept->count] = key;
  kept->key_lengths[kept->count++] = length;
  return 0;
}
static int keep_string(void* context, const char* text, size_t length) {
  views* const kept = (views*)context;
  kept->string = text;
  kept->string_length = length;
  return 0;
}
static int keep_array(void* context, int32_t kind, const void* values, size_t count) {
  views* const kept = (views*)context;
  CHECK(kind == VESK_INT);
  CHECK((uintptr_t)values % sizeof(int32_t) == 0);
  kept->values = (const int32_t*)values;
  kept->value_count = count;
  return 0;
}

/* What a visitor was shown lives as long as the result: longer than the visit, the report and the
 * instance. */
static void test_views(const vesk_plugin_api* api) {
  views of_image = {{NULL}, {0}, 0, NULL, 0, NULL, 0};
  views of_adc = {{NULL}, {0}, 0, NULL, 0, NULL, 0};
  vesk_visitor visitor = {
      sizeof(vesk_visitor), &of_image, NULL, NULL, keep_key, NULL, keep_string, keep_array, NULL};
  unsigned char* const image = (unsigned char*)calloc(792, 1);
  unsigned char* const adc = (unsigned char*)calloc(25, 1);
  vesk_plugin* plugin = NULL;
  vesk_result *image_result = NULL, *adc_result = NULL;
  if (image == NULL || adc == NULL) abort();

  put32(image + 780, 0xFFFFFFFE); /* the last sample of P_SCAN_Q */
  CHECK(api->create(&plugin) == VESK_OK);
  CHECK(api->report_to_object(plugin, image, 0x76, VESK_INPUT, 792, &image_result) == VESK_OK);
  CHECK(api->report_to_object(plugin, adc, 0xDC, VESK_FEATURE, 25, &adc_result) == VESK_OK);
  free(image);
  free(adc);
  CHECK(api->result_visit(image_result, &visitor) == VESK_OK);
  visitor.context = &of_adc;
  CHECK(api->result_visit(adc_result, &visitor) == VESK_OK);
  api->destroy(plugin);

  CHECK(of_image.count == 11 && of_image.key_lengths[10] == 10);
  CHECK(memcmp(of_image.keys[10], "TMON_DEG_C", 10) == 0);
  CHECK(of_image.value_count == 48 && of_image.values[47] == -2);
  CHECK(of_adc.string_length == 5 && memcmp(of_adc.string, "RX_EN", 5) == 0);
  api->result_free(image_result);
  api->result_free(adc_result);
}

static void test_tables(const vesk_plugin_api* api) {
  vesk_plugin* plugin = NULL;
  vesk_report_info info;
  size_t index, count;
  int32_t type = VESK_FEATURE;
  int known = 0;

  CHECK(api->create(&plugin) == VESK_OK);
  count = api->report_count(plugin);
  for (index = 0; index < count; ++index) {
    memset(&info, 0xEE, sizeof info);
    info.size = sizeof info;
    CHECK(api->report_info(plugin, index, &info) == VESK_OK);
    CHECK(info.size == sizeof info);
    CHECK(info.report_type == VESK_FEATURE || info.report_type == VESK_INPUT);
    CHECK(info.report_type == type || info.report_type == VESK_INPUT); /* feature reports first */
    type = info.report_type;
    CHECK(strncmp(info.decoder, "parse", 5) == 0);
    CHECK((info.display_name == NULL) == (info.report_type == VESK_INPUT));
    if (info.report_id == 0xD0) {
      CHECK(info.report_type == VESK_FEATURE && strcmp(info.decoder, "parseVersion") == 0);
      CHECK(strcmp(info.display_name, "ersion") == 0);
      CHECK(info.smallest_buffer == 2 && !info.exact_length && info.nul_terminated);
      ++known;
    } else if (info.report_id == 0xE1) {
      CHECK(info.report_type == VESK_FEATURE);
      CHECK(strcmp(info.decoder, "parseBlackBoxFullReport") == 0);
      CHECK(strcmp(info.display_name, "lackBoxFullReport") == 0);
      CHECK(info.smallest_buffer == 991 && !info.exact_length && !info.nul_terminated);
      ++known;
    } else if (info.report_id == 0x76) {
      CHECK(info.report_type == VESK_INPUT && strcmp(info.decoder, "parseVeskImage") == 0);
      CHECK(info.smallest_buffer == 792 && info.exact_length && !info.nul_terminated);
      ++known;
    }
  }
  CHECK(known == 3);         /* one for each way in which a length is judged */
  CHECK(type == VESK_INPUT); /* input reports last */
  CHECK(api->report_info(plugin, count, &info) == VESK_BAD_ARGUMENT);
  CHECK(api->report_info(plugin, (size_t)-1, &info) == VESK_BAD_ARGUMENT);
  api->destroy(plugin);
}

/* A host gets the members that it knows and no more, whichever header it was compiled against. */
static void test_info_sizes(const vesk_plugin_api* api) {
  vesk_plugin* plugin = NULL;
  vesk_report_info whole;
  size_t index;
  uint32_t size;

  CHECK(api->create(&plugin) == VESK_OK);
  whole.size = sizeof whole;
  whole.counter_key = NULL;
  for (index = 0; whole.counter_key == NULL; ++index) /* a row with a counter */
    if (api->report_info(plugin, index, &whole) != VESK_OK) break;
  CHECK(whole.counter_key != NULL);
  --index;
  for (size = 0; size <= sizeof whole + 16; ++size) {
    const size_t bytes = size < 4 ? 4 : size;
    unsigned char* const memory = (unsigned char*)malloc(bytes);
    unsigned char untouched[sizeof whole + 16];
    if (memory == NULL) abort();
    memset(untouched, 0xEE, sizeof untouched);
    memset(memory, 0xEE, bytes);
    memcpy(memory, &size, sizeof size);
    CHECK(api->report_info(plugin, index, (vesk_report_info*)(void*)memory) ==
          (size < 4 ? VESK_BAD_ARGUMENT : VESK_OK));
    CHECK(memcmp(memory, &size, sizeof size) == 0);
#define MEMBER(name)                                                                           \
  {                                                                                            \
    const size_t begin = offsetof(vesk_report_info, name), width = sizeof whole.name;          \
    if (begin + width <= size)                                                                 \
      CHECK(memcmp(memory + begin, &whole.name, width) == 0);                                  \
    else if (begin < size)                                                                     \
      CHECK(memcmp(memory + begin, untouched, size - begin) == 0); /* not even a part of it */ \
  }
    MEMBER(report_id)
    MEMBER(report_type)
    MEMBER(decoder)
    MEMBER(display_name)
    MEMBER(smallest_buffer)
    MEMBER(exact_length)
    MEMBER(nul_terminated)
    MEMBER(counter_key)
    MEMBER(counter_offset)
#undef MEMBER
    if (size > sizeof whole)
      CHECK(memcmp(memory + sizeof whole, untouched, size - sizeof whole) == 0);
    free(memory);
  }
  api->destroy(plugin);
}

/* Looks for one key of a dictionary, and for the number behind it. */
typedef struct search {
  const char* key;
  int here;  /* the last key is this one */
  int found; /* times */
  vesk_number number;
} search;

static int search_key(void* context, const char* key, size_t length) {
  search* const sought = (search*)context;
  sought->here = strlen(sought->key) == length && memcmp(sought->key, key, length) == 0;
  return 0;
}
static int search_number(void* context, const vesk_number* number) {
  search* const sought = (search*)context;
  if (sought->here) {
    sought->number = *number;
    ++sought->found;
  }
  return 0;
}

/* The counter of a stream: what the report has at counter_offset is what its object has under
 * counter_key. */
static void test_counters(const vesk_plugin_api* api) {
  vesk_plugin* plugin = NULL;
  size_t index, counters = 0;

  CHECK(api->create(&plugin) == VESK_OK);
  for (index = 0; index < api->report_count(plugin); ++index) {
    vesk_visitor visitor = {
        sizeof(vesk_visitor), NULL, NULL, NULL, search_key, search_number, NULL, NULL, NULL};
    search sought = {NULL, 0, 0, {0, {0}}};
    vesk_result* result = NULL;
    vesk_report_info info;
    unsigned char* report;
    info.size = sizeof info;
    CHECK(api->report_info(plugin, index, &info) == VESK_OK);
    if (info.report_type == VESK_INPUT && info.report_id == 0x76) {
      CHECK(info.counter_key != NULL && strcmp(info.counter_key, "FRAME_NUMBER") == 0);
    } else if (info.report_type == VESK_INPUT && info.report_id == 0x77) {
      CHECK(info.counter_key != NULL && strcmp(info.counter_key, "PACKET_ID") == 0);
    } else {
      CHECK(info.counter_key == NULL && info.counter_offset == 0);
    }
    if (info.counter_key == NULL) continue;

    ++counters;
    CHECK(info.counter_offset + 4 <= info.smallest_buffer);
    report = (unsigned char*)calloc((size_t)info.smallest_buffer, 1);
    if (report == NULL) abort();
    report[0] = (unsigned char)info.report_id;
    put32(report + info.counter_offset, 0x89ABCDEF);
    CHECK(api->report_to_object(plugin,
                                report,
                                info.report_id,
                                info.report_type,
                                (int64_t)info.smallest_buffer,
                                &result) == VESK_OK);
    sought.key = info.counter_key;
    visitor.context = &sought;
    CHECK(api->result_visit(result, &visitor) == VESK_OK);
    CHECK(sought.found == 1);
    CHECK(sought.number.kind == VESK_UNSIGNED_INT && sought.number.value.u == 0x89ABCDEF);
    api->result_free(result);
    free(report);
  }
  CHECK(counters == 2);
  api->destroy(plugin);
}

/* What cannot be written is not the library's failure. Standard output is lost after this. */
static void test_full_disk(const vesk_plugin_api* api) {
  unsigned char state[] = {0xDE, 2};
  vesk_plugin* plugin = NULL;
  int printed = -1;
  CHECK(freopen("/dev/full", "w", stdout) != NULL);
  CHECK(api->create(&plugin) == VESK_OK);
  CHECK(api->parse_report(plugin, state, 0xDE, VESK_FEATURE, 2, &printed) == VESK_OK);
  CHECK(printed == 1);
  CHECK(fflush(stdout) == EOF && ferror(stdout));
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
  if (entry == NULL) return failures != 0;

  api = entry();
  CHECK(api->abi_version == VESK_ABI_VERSION);
  CHECK(api->size >= VESK_API_SIZE_1);
  CHECK(api->plugin_version != NULL && api->plugin_version[0] != '\0');
  test_instance(api);
  test_failures(api);
  test_result_failures(api);
  test_visitor(api);
  test_visitor_sizes(api);
  test_views(api);
  test_tables(api);
  test_info_sizes(api);
  test_counters(api);
  test_full_disk(api);
  dlclose(library);
  return failures != 0;
}
