/* vesk_plugin.h - the C interface of the Vesk report decoder plug-in.
 *
 * The plug-in is a shared library with one entry, vesk_plugin_entry(), which hands over a table of
 * functions. Load the library with dlopen(), look the entry up, check the table, use it:
 *
 *     #include "plugin/vesk_plugin.h"
 *     #include <dlfcn.h>
 *
 *     void *library = dlopen("libvesk-report.so", RTLD_NOW | RTLD_LOCAL);
 *     vesk_plugin_entry_fn *entry;
 *     *(void **)&entry = dlsym(library, VESK_PLUGIN_ENTRY_NAME);
 *     const vesk_plugin_api *api = entry();
 *     if (api->abi_version != VESK_ABI_VERSION || api->size < VESK_API_SIZE_1) { ... refuse ... }
 *
 *     vesk_plugin *plugin;
 *     if (api->create(&plugin) != VESK_OK) { ... }
 *     unsigned char report[] = {0xDE, 0x01};
 *     int printed;
 *     api->parse_report(plugin, report, 0xDE, VESK_FEATURE, sizeof report, &printed);
 *     api->destroy(plugin);
 *
 * Rules that hold for every function:
 *   - It returns a vesk_status. No C++ exception leaves the library. After anything but VESK_OK and
 *     VESK_STOPPED, error_message() tells what went wrong, and the instance stays usable.
 *   - Pointers that a caller passes must not be null unless the function's comment says so.
 *   - Text is UTF-8. Where a length stands beside a pointer, the length counts, and the text may
 *     hold no NUL at its end.
 *   - An instance, and the results it made, belong to one thread at a time. Several instances may
 * be used in several threads at once (standard output is shared by all of them).
 *   - The library must stay loaded while an instance or a result exists.
 */
#ifndef VESK_PLUGIN_H
#define VESK_PLUGIN_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Changes whenever a member of a structure below changes its meaning or its place. Members that are
 * only appended leave it as it is and raise vesk_plugin_api.size instead. */
#define VESK_ABI_VERSION 1u

#if defined(__GNUC__)
#define VESK_EXPORT __attribute__((visibility("default")))
#else
#define VESK_EXPORT
#endif

/* An instance of the plug-in: its tables, its switches and the last report's four values. */
typedef struct vesk_plugin vesk_plugin;

/* What one report decoded to. It owns its bytes: it needs neither the report buffer nor, once made,
 * the instance. */
typedef struct vesk_result vesk_result;

typedef enum vesk_status {
  VESK_OK = 0,
  VESK_STOPPED = 1,      /* a visitor's function asked to stop; not an error */
  VESK_NO_MEMORY = 2,    /* an allocation failed */
  VESK_BAD_ARGUMENT = 3, /* a call that makes no sense: an index past the end, lines of an object */
  VESK_DECODER_FAILED = 4 /* the decoder raised: text that is no UTF-8, missing version lines, a
                             table that names no decoder */
} vesk_status;

/* HID report types, as a host passes them. */
enum { VESK_INPUT = 0, VESK_OUTPUT = 1, VESK_FEATURE = 2 };

/* The kind with which a number was made; the order is part of the interface. */
typedef enum vesk_kind {
  VESK_BOOL = 0,
  VESK_UNSIGNED_CHAR = 1,
  VESK_UNSIGNED_SHORT = 2,
  VESK_UNSIGNED_INT = 3,
  VESK_INT = 4,
  VESK_LONG_LONG = 5,
  VESK_UNSIGNED_LONG_LONG = 6,
  VESK_FLOAT = 7,
  VESK_DOUBLE = 8
} vesk_kind;

/* One number. `kind` says which member of `value` is set: u for bool and the unsigned kinds, i for
 * int and long long, d for float and double (a float is widened, which is exact). */
typedef struct vesk_number {
  int32_t kind; /* a vesk_kind */
  union {
    uint64_t u;
    int64_t i;
    double d;
  } value;
} vesk_number;

typedef enum vesk_result_form {
  VESK_NIL = 0,        /* nothing to show: unknown type or ID, or a refused report */
  VESK_LINES = 1,      /* text mode */
  VESK_DICTIONARY = 2, /* object mode */
  VESK_STRING = 3      /* object mode, for the reports whose object is a bare string */
} vesk_result_form;

/* What visit() calls, in the order in which the report lists its fields. A function returns 0 to go
 * on and anything else to stop; a null function is passed over. Pointers are valid during the call
 * only... but for string, key and array data, which live as long as the result that is visited.
 *
 * A dictionary is dictionary_begin, then for each entry key and one of number, string and array,
 * then dictionary_end. A bare string is one string; nil is one nil. A result of lines is visited as
 * one string per line. */
typedef struct vesk_visitor {
  uint32_t size; /* sizeof(vesk_visitor), set by the caller */
  void* context; /* handed to every function as it is; may be null */
  int (*nil)(void* context);
  int (*dictionary_begin)(void* context, size_t entries);
  int (*key)(void* context, const char* key, size_t length);
  int (*number)(void* context, const vesk_number* number);
  int (*string)(void* context, const char* text, size_t length);
  /* `values` points to `count` values of the C type that `kind` names (VESK_INT: int32_t,
   * VESK_UNSIGNED_INT: uint32_t, VESK_FLOAT: float, ...), aligned and in the machine's byte order.
   */
  int (*array)(void* context, int32_t kind, const void* values, size_t count);
  int (*dictionary_end)(void* context);
} vesk_visitor;

/* One row of an instance's report tables. */
typedef struct vesk_report_info {
  uint32_t size;            /* sizeof(vesk_report_info), set by the caller */
  uint32_t report_id;       /* 0xD0, ... */
  int32_t report_type;      /* VESK_INPUT or VESK_FEATURE */
  const char* decoder;      /* "parseVersion", ... */
  const char* display_name; /* "ersion", ...; null where the report has none (input reports) */
  uint64_t
      smallest_buffer;    /* bytes that the decoder reads at least, report ID included. The decoder
                             of a feature report does not look at the length that it is told: a
                             shorter buffer is read past its end, so a host must not hand it over */
  int32_t exact_length;   /* 1: the decoder refuses (nil) every length but smallest_buffer */
  int32_t nul_terminated; /* 1: text runs from byte 1 to the first NUL, however long; the buffer
                             must hold that NUL */
} vesk_report_info;

typedef struct vesk_plugin_api {
  uint32_t abi_version;       /* VESK_ABI_VERSION of the library */
  uint32_t size;              /* sizeof(vesk_plugin_api) of the library; a function that lies beyond
                                 it is not there */
  const char* plugin_version; /* "1.0.0"; lives as long as the library */

  /* Makes an instance: object mode, hexadecimal, both report tables built. The caller owns it and
   * frees it with destroy(). On failure *plugin is null. */
  vesk_status (*create)(vesk_plugin** plugin);

  /* Frees an instance; null is allowed. Results that it made stay valid. */
  void (*destroy)(vesk_plugin* plugin);

  /* What the last call on this instance that failed said, in one line without a newline; "" if none
   * failed yet. Lives until the next call on the instance. */
  const char* (*error_message)(const vesk_plugin* plugin);

  /* Hands over the plug-in's own options ("-decimal" is the only one), without a program name. An
   * invalid option sets *accepted to 0, prints the error's description on standard output and
   * changes nothing; otherwise *accepted is 1, and the instance is in object mode. count <= 0 is an
   * empty list, for which arguments may be null. */
  vesk_status (*parse_args)(vesk_plugin* plugin, int32_t count, const char* const* arguments,
                            int* accepted);

  /* Decodes a report and prints its lines on standard output, framed by an empty line before and
   * after. *printed is 1 if there was something to print, 0 for nil. The instance is in text mode
   * from then on. `buffer` stays the caller's, is only read, and may be anything (null included) if
   * the report is refused or unknown. */
  vesk_status (*parse_report)(vesk_plugin* plugin, const void* buffer, uint32_t report_id,
                              int32_t type, int64_t length, int* printed);

  /* Decodes a report in the instance's mode without printing. The caller owns *result, never null
   * after VESK_OK (nil is a result too), and frees it with result_free(). */
  vesk_status (*report_to_object)(vesk_plugin* plugin, const void* buffer, uint32_t report_id,
                                  int32_t type, int64_t length, vesk_result** result);

  /* Text mode (1) or object mode (0) for the calls of report_to_object() that follow. */
  vesk_status (*set_use_strings)(vesk_plugin* plugin, int use_strings);

  /* 1 in text mode, 0 in object mode. */
  int (*use_strings)(const vesk_plugin* plugin);

  /* Frees a result; null is allowed. */
  void (*result_free)(vesk_result* result);

  /* A vesk_result_form. */
  int32_t (*result_form)(const vesk_result* result);

  /* Number of lines (VESK_LINES) or entries (VESK_DICTIONARY); 1 for a string, 0 for nil. */
  size_t (*result_count)(const vesk_result* result);

  /* One line, without its end: VESK_LINES and 0 <= index < result_count(), else VESK_BAD_ARGUMENT.
   * *text lives as long as the result; it is not NUL-terminated. */
  vesk_status (*result_line)(const vesk_result* result, size_t index, const char** text,
                             size_t* length);

  /* All lines as one block, each ended by a newline: VESK_LINES only. The same life as a line. */
  vesk_status (*result_text)(const vesk_result* result, const char** text, size_t* length);

  /* Walks through a result. VESK_STOPPED if one of the functions asked for it. */
  vesk_status (*result_visit)(const vesk_result* result, const vesk_visitor* visitor);

  /* Number of rows of both report tables. */
  size_t (*report_count)(const vesk_plugin* plugin);

  /* Row `index`, feature reports first: fills the members of *info that its size covers. Its
   * strings live as long as the instance. VESK_BAD_ARGUMENT past the last row. */
  vesk_status (*report_info)(const vesk_plugin* plugin, size_t index, vesk_report_info* info);
} vesk_plugin_api;

/* Size of the table of functions as ABI version 1 began: a host that uses no more than it may
 * refuse a smaller one and carry on with a larger one. */
#define VESK_API_SIZE_1 (offsetof(vesk_plugin_api, report_info) + sizeof(void (*)(void)))

/* The name to look up, and its type. The table lives as long as the library. */
#define VESK_PLUGIN_ENTRY_NAME "vesk_plugin_entry"
typedef const vesk_plugin_api* vesk_plugin_entry_fn(void);
VESK_EXPORT const vesk_plugin_api* vesk_plugin_entry(void);

/* The names of the ten firmware data blobs, in the firmware's row order. The black box full report
 * and configuration take a blob's name from here when they decode, and a host may replace a row by
 * another NUL-terminated UTF-8 string, which must stay alive (not while a call is under way). */
extern VESK_EXPORT const char* blob_names[10];

#ifdef __cplusplus
}
#endif

#endif
