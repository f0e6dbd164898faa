/* A plug-in whose only report no host has seen before: what a host finds out of it, it finds out of
 * the C interface.
 *
 *     0      0xAB
 *     1      0x5A, or the report is refused
 *     2, 3   bits 0 to 11: LEVEL, "Level: 7"; the others are not used
 *     4      bit 0: a line "Alarm" more; the others are not used
 *     5, 6   in the text only, "Serial: 1234"
 *     7      bit 7: RUNNING, "Running: yes"; the others are not used
 *     8..13  FLOW, three numbers in one line, "Flow: 1 2 3"
 *     14     RATIO, in the object only: a number of 255
 *     15     not used
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "plugin/vesk_plugin.h"

enum { kId = 0xAB, kSize = 16, kMostLines = 6, kRoom = 40 };

struct vesk_plugin {
  int use_strings;
};

struct vesk_result {
  int is_text;
  uint8_t report[kSize];
  uint16_t flow[3];
  size_t line_count;
  char lines[kMostLines][kRoom];
  char text[kMostLines * kRoom];
};

static vesk_status create(vesk_plugin** plugin) {
  *plugin = calloc(1, sizeof **plugin);
  return *plugin == NULL ? VESK_NO_MEMORY : VESK_OK;
}

static void destroy(vesk_plugin* plugin) { free(plugin); }

static const char* error_message(const vesk_plugin* plugin) {
  (void)plugin;
  return "report 0xAB: byte 1 is not 0x5A";
}

static vesk_status parse_args(vesk_plugin* plugin, int32_t count, const char* const* arguments,
                              int* accepted) {
  (void)plugin;
  (void)arguments;
  *accepted = count <= 0;
  return VESK_OK;
}

static vesk_status parse_report(vesk_plugin* plugin, const void* buffer, uint32_t report_id,
                                int32_t type, int64_t length, int* printed) {
  (void)plugin;
  (void)buffer;
  (void)report_id;
  (void)type;
  (void)length;
  *printed = 0;
  return VESK_OK;
}

static void add_line(vesk_result* result, const char* label, const char* value) {
  const size_t used = strlen(result->text);
  snprintf(result->lines[result->line_count], kRoom, "%.15s%.20s", label, value);
  snprintf(
      result->text + used, sizeof result->text - used, "%s\n", result->lines[result->line_count]);
  ++result->line_count;
}

static void add_lines(vesk_result* result) {
  const uint8_t* const r = result->report;
  char value[kRoom];
  snprintf(value, sizeof value, "%d", (r[2] | r[3] << 8) & 0xFFF);
  add_line(result, "Level: ", value);
  if ((r[4] & 1) != 0) add_line(result, "Alarm", "");
  snprintf(value, sizeof value, "%02x%02x", r[5], r[6]);
  add_line(result, "Serial: ", value);
  add_line(result, "Running: ", (r[7] & 0x80) != 0 ? "yes" : "no");
  snprintf(value, sizeof value, "%u %u %u", result->flow[0], result->flow[1], result->flow[2]);
  add_line(result, "Flow: ", value);
}

static vesk_status report_to_object(vesk_plugin* plugin, const void* buffer, uint32_t report_id,
                                    int32_t type, int64_t length, vesk_result** result) {
  const uint8_t* const r = buffer;
  (void)report_id;
  (void)type;
  *result = NULL;
  if (length < kSize || r[1] != 0x5A) return VESK_DECODER_FAILED;
  vesk_result* const made = calloc(1, sizeof *made);
  if (made == NULL) return VESK_NO_MEMORY;
  made->is_text = plugin->use_strings;
  memcpy(made->report, r, kSize);
  for (int i = 0; i < 3; ++i) made->flow[i] = (uint16_t)(r[8 + 2 * i] | r[9 + 2 * i] << 8);
  if (made->is_text) add_lines(made);
  *result = made;
  return VESK_OK;
}

static vesk_status set_use_strings(vesk_plugin* plugin, int use_strings) {
  plugin->use_strings = use_strings != 0;
  return VESK_OK;
}

static int use_strings(const vesk_plugin* plugin) { return plugin->use_strings; }

static void result_free(vesk_result* result) { free(result); }

static int32_t result_form(const vesk_result* result) {
  return result->is_text ? VESK_LINES : VESK_DICTIONARY;
}

static size_t result_count(const vesk_result* result) {
  return result->is_text ? result->line_count : 4;
}

static vesk_status result_line(const vesk_result* result, size_t index, const char** text,
                               size_t* length) {
  if (index >= result->line_count) return VESK_BAD_ARGUMENT;
  *text = result->lines[index];
  *length = strlen(*text);
  return VESK_OK;
}

static vesk_status result_text(const vesk_result* result, const char** text, size_t* length) {
  *text = result->text;
  *length = strlen(*text);
  return VESK_OK;
}

static int number(const vesk_visitor* visitor, const char* key, int32_t kind, uint64_t whole,
                  double fraction) {
  vesk_number shown = {kind, {whole}};
  if (kind == VESK_DOUBLE) shown.value.d = fraction;
  return visitor->key(visitor->context, key, strlen(key)) ||
         visitor->number(visitor->context, &shown);
}

static vesk_status result_visit(const vesk_result* result, const vesk_visitor* visitor) {
  void* const context = visitor->context;
  const uint8_t* const r = result->report;
  int stop = 0;
  if (result->is_text) {
    for (size_t i = 0; i < result->line_count && !stop; ++i)
      stop = visitor->string(context, result->lines[i], strlen(result->lines[i]));
    return stop ? VESK_STOPPED : VESK_OK;
  }
  const uint64_t level = (uint64_t)(r[2] | r[3] << 8) & 0xFFF;
  stop = visitor->dictionary_begin(context, 4) ||
         number(visitor, "LEVEL", VESK_UNSIGNED_SHORT, level, 0) ||
         number(visitor, "RUNNING", VESK_BOOL, r[7] >> 7, 0) || visitor->key(context, "FLOW", 4) ||
         visitor->array(context, VESK_UNSIGNED_SHORT, result->flow, 3) ||
         number(visitor, "RATIO", VESK_DOUBLE, 0, r[14] / 255.0) ||
         visitor->dictionary_end(context);
  return stop ? VESK_STOPPED : VESK_OK;
}

static size_t report_count(const vesk_plugin* plugin) {
  (void)plugin;
  return 1;
}

static vesk_status report_info(const vesk_plugin* plugin, size_t index, vesk_report_info* info) {
  (void)plugin;
  if (index != 0 || info->size < sizeof *info) return VESK_BAD_ARGUMENT;
  info->report_id = kId;
  info->report_type = VESK_FEATURE;
  info->decoder = "parsePump";
  info->display_name = "ump";
  info->smallest_buffer = kSize;
  info->exact_length = 0;
  info->nul_terminated = 0;
  info->counter_key = NULL;
  return VESK_OK;
}

const vesk_plugin_api* vesk_plugin_entry(void) {
  static const vesk_plugin_api api = {VESK_ABI_VERSION,
                                      sizeof api,
                                      "9.0.0",
                                      create,
                                      destroy,
                                      error_message,
                                      parse_args,
                                      parse_report,
                                      report_to_object,
                                      set_use_strings,
                                      use_strings,
                                      result_free,
                                      result_form,
                                      result_count,
                                      result_line,
                                      result_text,
                                      result_visit,
                                      report_count,
                                      report_info};
  return &api;
}
