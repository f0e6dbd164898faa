/* When an emulated device sends: a library that is preloaded into vesk-emulate, and writes down the
 * time in front of each send of at least VESK_STAMP_SIZE bytes, in the file VESK_STAMPS: a line of
 * nanoseconds each, of the real-time clock. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>

typedef ssize_t send_function(int, const void*, size_t, int);

static send_function* next_send;
static size_t smallest = (size_t)-1;
static FILE* stamps;

__attribute__((constructor)) static void begin(void) {
  *(void**)&next_send = dlsym(RTLD_NEXT, "send");
  const char* size = getenv("VESK_STAMP_SIZE");
  const char* path = getenv("VESK_STAMPS");
  if (size == NULL || path == NULL || strcmp(program_invocation_short_name, "vesk-emulate") != 0)
    return;
  stamps = fopen(path, "we");
  if (stamps != NULL) smallest = strtoul(size, NULL, 10);
}

__attribute__((destructor)) static void end(void) {
  if (stamps != NULL) fclose(stamps);
}

__attribute__((visibility("default"))) ssize_t send(int descriptor, const void* bytes, size_t size,
                                                    int flags) {
  /* The emulator waits for no reader of a report; what it sends otherwise is for itself. */
  if (size < smallest || (flags & MSG_DONTWAIT) == 0)
    return next_send(descriptor, bytes, size, flags);
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  const ssize_t sent = next_send(descriptor, bytes, size, flags);
  if (sent > 0)
    fprintf(stamps, "%lld\n", (long long)now.tv_sec * 1000000000 + (long long)now.tv_nsec);
  return sent;
}
