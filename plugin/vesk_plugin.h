/* vesk_plugin.h - the C interface of the Vesk report decoder plug-in.
 *
 * The plug-in is a shared library with one entry, vesk_plugin_entry(), which hands over a table of
 * functions. Load the library with dlopen(), look the entry up, check the table, use it:
 *
 *     #include "plugin/vesk_plugin.h"
 *     #include <dlfcn.h>
 *
 *     void *library = dlopen("libvesk-report.so", RTLD_NOW | RTLD_LOCAL);
 *     if (library == NULL) { ... dlerror() tells why ... }
 *     vesk_plugin_entry_fn *entry;
 *     *(void **)&entry = dlsym(library, VESK_PLUGIN_ENTRY_NAME);
 *     if (entry == NULL) { ... not this plug-in ... }
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
 *   - No C++ exception leaves the library. What can fail returns a vesk_status, and its comment says
 *     when it fails. What a failed call would have set for its caller is as it was, unless the
 *     comment says otherwise.
 *   - A failed call on an instance leaves a message, which error_message() shows, and the instance
 *     stays usable. Where there is no instance (create(), and calls on a result), the status alone
 *     tells what went wrong.
 *   - Pointers that a caller passes must not be null unless the function's comment says so.
 *   - Text is UTF-8. Where a length stands beside a pointer, the length counts, and there need not be
 *     a NUL behind the text.
 *   - An instance, and the results it made, belong to one thread at a time. Several instances may be
 *     used in several threads at once (standard output is shared by all of them).
 *   - The library must stay loaded while an instance or a result exists.
 *
 * Structures grow at their end. A host and a library that were compiled against different versions
 * of this header fit together as long as VESK_ABI_VERSION is the same:
 *   - vesk_plugin_api: a function that lies beyond the `size` of the library's table is not there.
 *   - vesk_visitor, vesk_report_info: the caller sets `size`. The library reads or fills the members
 *     that lie wholly within it, and leaves alone those that it does not know: what a host sets to
 *     zero before the call stays zero if the library is older. The smallest size is 4, that of the
 *     member `size` itself; with less (0: it was not set) the call fails. (Version 1.0 of the library
 *     refuses a visitor that lacks one of the functions below.)
 */
#ifndef VESK_PLUGIN_H
#define VESK_PLUGIN_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Changes whenever a member of a structure below changes its meaning or its offset. Members that are
 * only appended leave it as it is and raise the size of their structure. */
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
  VESK_DECODER_FAILED = 4 /* the plug-in raised: text that is no UTF-8, missing version lines, an
                             option that is null or no UTF-8 */
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

/* What result_visit() calls, in the order in which the report lists its fields. A function returns 0
 * to go on and anything else to stop; a null function is passed over. Strings, keys and the values
 * of arrays live as long as the result that is visited; a vesk_number lives during the call only.
 *
 * A dictionary is dictionary_begin, then for each entry key and one of number, string and array,
 * then dictionary_end. A bare string is one string; nil is one nil. A result of lines is visited as
 * one string per line. */
typedef struct vesk_visitor {
  uint32_t size; /* sizeof(vesk_visitor), set by the caller; functions beyond it are null */
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
  /* Since 1.1. The number that each report of a stream carries, one more than that of the report
   * before it: an unsigned 32-bit little-endian field that wraps around. */
  const char* counter_key; /* of the object, "FRAME_NUMBER"; null: the report has no such number */
  uint64_t counter_offset; /* of the field in the report, in bytes from the report ID */
} vesk_report_info;

typedef struct vesk_plugin_api {
  uint32_t abi_version;       /* VESK_ABI_VERSION of the library */
  uint32_t size;              /* sizeof(vesk_plugin_api) of the library; a function that lies beyond
                                 it is not there */
  const char* plugin_version; /* "1.0.0"; lives as long as the library */

  /* Makes an instance: object mode, hexadecimal, both report tables built. The caller owns it and
   * frees it with destroy(). VESK_NO_MEMORY, and *plugin is null, if there is no memory for it. */
  vesk_status (*create)(vesk_plugin** plugin);

  /* Frees an instance; null is allowed. Results that it made stay valid. */
  void (*destroy)(vesk_plugin* plugin);

  /* What the last call on this instance that failed said, in one line without a newline; "" if none
   * failed yet. A call that succeeds does not change it. Lives until the next call on the instance.
   */
  const char* (*error_message)(const vesk_plugin* plugin);

  /* Hands over the plug-in's own options ("-decimal" is the only one), without a program name. An
   * invalid option sets *accepted to 0, prints the error's description on standard output and
   * changes nothing; otherwise *accepted is 1, and the instance is in object mode. count <= 0 is an
   * empty list, for which arguments may be null. VESK_DECODER_FAILED for an option that is null or
   * not UTF-8, VESK_NO_MEMORY: nothing is changed, nothing printed. */
  vesk_status (*parse_args)(vesk_plugin* plugin, int32_t count, const char* const* arguments,
                            int* accepted);

  /* Decodes a report and prints its lines on standard output, framed by an empty line before and
   * after. *printed is 1 if there was something to print, 0 for nil. The instance is in text mode
   * from then on, after a failure as well. `buffer` stays the caller's, is only read, and may be
   * anything (null included) if the report is refused or unknown. VESK_DECODER_FAILED, with nothing
   * printed, for a report whose text is not UTF-8. VESK_NO_MEMORY: nothing was printed, or a part.
   * What goes wrong in writing is not told; ferror(stdout) does. */
  vesk_status (*parse_report)(vesk_plugin* plugin, const void* buffer, uint32_t report_id,
                              int32_t type, int64_t length, int* printed);

  /* Decodes a report in the instance's mode without printing. The caller owns *result, never null
   * after VESK_OK (nil is a result too), and frees it with result_free(). `buffer` as above.
   * VESK_DECODER_FAILED for a report whose text is not UTF-8 or, in object mode, has too few version
   * lines; VESK_NO_MEMORY. After both *result is null. */
  vesk_status (*report_to_object)(vesk_plugin* plugin, const void* buffer, uint32_t report_id,
                                  int32_t type, int64_t length, vesk_result** result);

  /* Text mode (anything but 0) or object mode (0) for the calls of report_to_object() that follow.
   * Always VESK_OK. */
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

  /* All lines as one block, each ended by a newline: VESK_LINES only, else VESK_BAD_ARGUMENT. The
   * same life as a line. */
  vesk_status (*result_text)(const vesk_result* result, const char** text, size_t* length);

  /* Walks through a result. VESK_STOPPED if one of the functions asked for it, VESK_BAD_ARGUMENT,
   * with no function called, for a visitor whose size is below 4. */
  vesk_status (*result_visit)(const vesk_result* result, const vesk_visitor* visitor);

  /* Number of rows of both report tables. */
  size_t (*report_count)(const vesk_plugin* plugin);

  /* Row `index`, feature reports first: fills the members of *info that its size covers. Its
   * strings live as long as the instance. VESK_BAD_ARGUMENT past the last row, and for a size below
   * 4. */
  vesk_status (*report_info)(const vesk_plugin* plugin, size_t index, vesk_report_info* info);
} vesk_plugin_api;

/* Size of the table of functions as ABI version 1 began: every library of ABI version 1 has at least
 * as much, and a host that uses no more can go on with a larger one. */
#define VESK_API_SIZE_1 (offsetof(vesk_plugin_api, report_info) + sizeof(void (*)(void)))

/* The name to look up, and its type. The table lives as long as the library. */
#define VESK_PLUGIN_ENTRY_NAME "vesk_plugin_entry"
typedef const vesk_plugin_api* vesk_plugin_entry_fn(void);
VESK_EXPORT const vesk_plugin_api* vesk_plugin_entry(void);

/* The names of the ten firmware data blobs, in the firmware's row order. The black box full report
 * and configuration take a blob's name from here when they decode. While no call is under way, a host
 * may replace a row by another NUL-terminated UTF-8 string, which must live as long as it stands
 * here. */
extern VESK_EXPORT const char* blob_names[10];

#ifdef __cplusplus
}
#endif

#endif
