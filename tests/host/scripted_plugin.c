/* A plug-in whose objects are what the report says, word for word: a decoder that does as it likes.
 *
 * It reads 0x50 and 0x51 (feature, decoder "scripted") and 0x52 (feature, "other"). Behind the ID come
 *
 *     'k' LENGTH TEXT        a key
 *     'n' KIND VALUE         a number; VALUE is a signed byte, and a half of it for float and double
 *     'a' KIND COUNT         an array of COUNT numbers, 1, 2, 3, ...; halves of them likewise
 *     's' LENGTH TEXT        a string
 *     'l' LENGTH TEXT        a line, in text mode; passed over in object mode
 *     '0'                    nil, in object mode
 *
 * A report whose first word is 's' is a bare string. In text mode the result has the lines; one
 * without any is nil. */
#include <stdlib.h>
#include <string.h>

#include "plugin/vesk_plugin.h"

enum { kMostLines = 4096 };

struct vesk_plugin {
  int use_strings;
};

struct vesk_result {
  int32_t form;
  size_t length;
  unsigned char* script;
  size_t text_length;
  char text[kMostLines];
};

static vesk_status create(vesk_plugin** plugin) {
  *plugin = calloc(1, sizeof **plugin);
  return *plugin == NULL ? VESK_NO_MEMORY : VESK_OK;
}

static void destroy(vesk_plugin* plugin) { free(plugin); }

static const char* error_message(const vesk_plugin* plugin) {
  (void)plugin;
  return "out of memory";
}

static vesk_status parse_args(vesk_plugin* plugin, int32_t count, const char* const* arguments,
                              int* accepted) {
  (void)plugin;
  (void)arguments;
  *accepted = count == 0;
  return VESK_OK;
}

static vesk_status set_use_strings(vesk_plugin* plugin, int use_strings) {
  plugin->use_strings = use_strings;
  return VESK_OK;
}

static void result_free(vesk_result* result) {
  if (result != NULL) free(result->script);
  free(result);
}

/* The bytes of a word and of what belongs to it. */
static size_t word_size(const unsigned char* word) {
  switch (word[0]) {
    case 'n':
    case 'a':
      return 3;
    case 'k':
    case 's':
    case 'l':
      return 2u + word[1];
    default:
      return 1;
  }
}

static void gather_lines(vesk_result* result) {
  for (size_t i = 0; i < result->length; i += word_size(result->script + i)) {
    if (result->script[i] != 'l') continue;
    const size_t length = result->script[i + 1];
    memcpy(result->text + result->text_length, result->script + i + 2, length);
    result->text_length += length;
    result->text[result->text_length++] = '\n';
    result->form = VESK_LINES;
  }
}

static vesk_status report_to_object(vesk_plugin* plugin, const void* buffer, uint32_t report_id,
                                    int32_t type, int64_t length, vesk_result** result) {
  (void)report_id;
  (void)type;
  vesk_result* const made = calloc(1, sizeof *made);
  made->length = (size_t)length - 1;
  made->script = malloc((size_t)length);
  memcpy(made->script, (const unsigned char*)buffer + 1, made->length);
  if (plugin->use_strings)
    gather_lines(made);
  else if (made->length == 0 || made->script[0] == '0')
    made->form = VESK_NIL;
  else
    made->form = made->script[0] == 's' ? VESK_STRING : VESK_DICTIONARY;
  *result = made;
  return VESK_OK;
}

static int32_t result_form(const vesk_result* result) { return result->form; }

static vesk_status result_text(const vesk_result* result, const char** text, size_t* length) {
  *text = result->text;
  *length = result->text_length;
  return VESK_OK;
}

static int visit_number(const vesk_visitor* visitor, int32_t kind, signed char value) {
  vesk_number number;
  number.kind = kind;
  if (kind == VESK_FLOAT || kind == VESK_DOUBLE)
    number.value.d = value / 2.0;
  else if (kind == VESK_INT || kind == VESK_LONG_LONG)
    number.value.i = value;
  else
    number.value.u = (unsigned char)value;
  return visitor->number(visitor->context, &number);
}

static int visit_array(const vesk_visitor* visitor, int32_t kind, size_t count) {
  union {
    uint8_t u8[256];
    uint16_t u16[256];
    uint32_t u32[256];
    uint64_t u64[256];
    float f32[256];
    double f64[256];
  } values;
  for (size_t i = 0; i < count; ++i) {
    switch (kind) {
      case VESK_UNSIGNED_SHORT:
        values.u16[i] = (uint16_t)(i + 1);
        break;
      case VESK_UNSIGNED_INT:
      case VESK_INT:
        values.u32[i] = (uint32_t)(i + 1);
        break;
      case VESK_LONG_LONG:
      case VESK_UNSIGNED_LONG_LONG:
        values.u64[i] = i + 1;
        break;
      case VESK_FLOAT:
        values.f32[i] = (float)(i + 1) / 2;
        break;
      case VESK_DOUBLE:
        values.f64[i] = (double)(i + 1) / 2;
        break;
      default:
        values.u8[i] = (uint8_t)(i + 1);
        break;
    }
  }
  return visitor->array(visitor->context, kind, &values, count);
}

static int visit_word(const vesk_visitor* visitor, const unsigned char* word) {
  switch (word[0]) {
    case 'k':
      return visitor->key(visitor->context, (const char*)word + 2, word[1]);
    case 'n':
      return visit_number(visitor, word[1], (signed char)word[2]);
    case 'a':
      return visit_array(visitor, word[1], word[2]);
    case 's':
      return visitor->string(visitor->context, (const char*)word + 2, word[1]);
    default:
      return 0;
  }
}

static vesk_status result_visit(const vesk_result* result, const vesk_visitor* visitor) {
  int stop = 0;
  if (result->form == VESK_NIL) return visitor->nil(visitor->context) ? VESK_STOPPED : VESK_OK;
  if (result->form == VESK_DICTIONARY) stop = visitor->dictionary_begin(visitor->context, 0);
  for (size_t i = 0; !stop && i < result->length; i += word_size(result->script + i))
    stop = visit_word(visitor, result->script + i);
  if (!stop && result->form == VESK_DICTIONARY) stop = visitor->dictionary_end(visitor->context);
  return stop ? VESK_STOPPED : VESK_OK;
}

static size_t report_count(const vesk_plugin* plugin) {
  (void)plugin;
  return 3;
}

static vesk_status report_info(const vesk_plugin* plugin, size_t index, vesk_report_info* info) {
  (void)plugin;
  info->report_id = 0x50 + (uint32_t)index;
  info->report_type = VESK_FEATURE;
  info->decoder = index < 2 ? "scripted" : "other";
  info->display_name = NULL;
  info->smallest_buffer = 1;
  info->exact_length = 0;
  info->nul_terminated = 0;
  return VESK_OK;
}

const vesk_plugin_api* vesk_plugin_entry(void) {
  static const vesk_plugin_api api = {.abi_version = VESK_ABI_VERSION,
                                      .size = sizeof(vesk_plugin_api),
                                      .plugin_version = "0.0.0",
                                      .create = create,
                                      .destroy = destroy,
                                      .error_message = error_message,
                                      .parse_args = parse_args,
                                      .report_to_object = report_to_object,
                                      .set_use_strings = set_use_strings,
                                      .result_free = result_free,
                                      .result_form = result_form,
                                      .result_text = result_text,
                                      .result_visit = result_visit,
                                      .report_count = report_count,
                                      .report_info = report_info};
  return &api;
}
