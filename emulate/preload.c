/* Preloaded into a program: nodes /dev/hidrawN and their entries in /sys/class/hidraw that are not there.
 *
 * Opening such a node connects a socket to vesk-emulate (see protocol.h). From then on the program reads
 * and polls the socket itself, and only what a socket does otherwise than hidraw is put right here:
 * ioctl, stat, and how the end looks. Nothing is kept of a descriptor, as its peer's name says whose it
 * is: so dup, fork, exec and threads need no care. A path that is none of ours costs a look for "hidraw"
 * in it, a descriptor that is none of ours nothing but where it is at its end. */
#define _GNU_SOURCE
#include "emulate/protocol.h"

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <linux/hidraw.h>
#include <poll.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <sys/xattr.h>
#include <unistd.h>

#define OURS __attribute__((visibility("default")))

/* ------------------------------------------------------------------------------------- the settings */

static struct {
  unsigned first, count;
  char folder[sizeof(((struct sockaddr_un*)0)->sun_path)];
} settings;
static int have_settings; /* 1 with a folder, -1 without */

/* Reads the variable. Another library's constructor may open files before ours runs: so it may be
 * called early, and twice at once, with the same outcome. */
static void read_settings(void) {
  const char* text = getenv(VESK_EMULATE_VARIABLE);
  unsigned first = 0, count = 0;
  int begin = 0;
  if (text == NULL || sscanf(text, "%u+%u:%n", &first, &count, &begin) != 2 || begin == 0 ||
      strlen(text + begin) >= sizeof settings.folder) {
    __atomic_store_n(&have_settings, -1, __ATOMIC_RELEASE);
    return;
  }
  settings.first = first;
  settings.count = count;
  strcpy(settings.folder, text + begin);
  __atomic_store_n(&have_settings, 1, __ATOMIC_RELEASE);
}

static int active(void) {
  if (__atomic_load_n(&have_settings, __ATOMIC_ACQUIRE) == 0) read_settings();
  return __atomic_load_n(&have_settings, __ATOMIC_ACQUIRE) > 0;
}

__attribute__((constructor)) static void begin(void) { (void)active(); }

/* The function that would have been called without this library. ISO C knows no pointer to both. */
static void find_next(void* function, const char* name) {
  void* found = dlsym(RTLD_NEXT, name);
  if (found == NULL) {
    static const char message[] = "vesk-emulate: the C library lacks a function\n";
    ssize_t written = syscall(SYS_write, STDERR_FILENO, message, sizeof message - 1);
    (void)written;
    abort();
  }
  memcpy(function, &found, sizeof found);
}

/* Declares next, the function `name` of the next library. Several threads find the same. */
#define NEXT(result, name, ...)                        \
  static result (*volatile known_##name)(__VA_ARGS__); \
  result (*next)(__VA_ARGS__) = known_##name;          \
  if (next == NULL) {                                  \
    find_next(&next, #name);                           \
    known_##name = next;                               \
  }

static int fail(int error) {
  errno = error;
  return -1;
}

/* -------------------------------------------------------------------------------------- descriptors */

struct peer {
  unsigned number, generation;
};

/* Whether a descriptor is one of an emulated node, and of which. The caller's errno stays. */
static int find_peer(int fd, struct peer* peer) {
  if (!active()) return 0;
  const int before = errno;
  struct sockaddr_un address;
  socklen_t size = sizeof address;
  memset(&address, 0, sizeof address);
  const int found =
      getpeername(fd, (struct sockaddr*)&address, &size) == 0 && address.sun_family == AF_UNIX;
  errno = before;
  char name[sizeof address.sun_path + 1] = {0};
  memcpy(name, address.sun_path, sizeof address.sun_path);
  const size_t length = strlen(settings.folder);
  return found && strncmp(name, settings.folder, length) == 0 &&
         sscanf(name + length, "/bound/hidraw%u.%u", &peer->number, &peer->generation) == 2;
}

/* ------------------------------------------------------------------------------------------- paths */

enum kind { OTHER, NODE, ENTRY };
struct place {
  enum kind kind;
  unsigned number; /* of a node */
  int is_link;     /* to the node, of an open descriptor */
  char path[PATH_MAX];
};

/* The digits of a node's number at the end of a text, if it is one of ours. */
static int is_ours(const char* digits, unsigned* number) {
  char* end;
  if (*digits < '0' || *digits > '9' || (digits[0] == '0' && digits[1] != '\0')) return 0;
  const unsigned long value = strtoul(digits, &end, 10);
  if (*end != '\0' || value < settings.first || value - settings.first >= settings.count) return 0;
  *number = (unsigned)value;
  return 1;
}

/* `path`, seen from the folder `dir`, with a leading slash and one slash between the names. */
static int make_absolute(int dir, const char* path, char* to) {
  size_t size = 0;
  if (path[0] != '/') {
    char link[32];
    snprintf(link, sizeof link, "/proc/self/fd/%d", dir);
    const char* const start = dir == AT_FDCWD ? "/proc/self/cwd" : link;
    const long length = syscall(SYS_readlinkat, AT_FDCWD, start, to, (size_t)PATH_MAX - 1);
    if (length <= 0 || to[0] != '/') return 0;
    size = (size_t)length;
    if (size == 1) size = 0;
  }
  while (*path != '\0') {
    const size_t slashes = strspn(path, "/");
    const size_t name = strcspn(path + slashes, "/");
    if (name != 0 && !(name == 1 && path[slashes] == '.')) {
      if (size + 1 + name >= PATH_MAX) return 0;
      to[size++] = '/';
      memcpy(to + size, path + slashes, name);
      size += name;
    }
    path += slashes + name;
    if (name == 0 && slashes != 0 && size + 1 < PATH_MAX) to[size++] = '/'; /* of a folder */
  }
  to[size] = '\0';
  return 1;
}

static int is_below(const char* path, const char* folder) {
  const size_t length = strlen(folder);
  return strncmp(path, folder, length) == 0 && (path[length] == '\0' || path[length] == '/');
}

/* The number of the descriptor that a path is a link to; -1 for others. */
static int descriptor_of(const char* path) {
  static const char* const streams[] = {"/dev/stdin", "/dev/stdout", "/dev/stderr"};
  static const char* const folders[] = {"/dev/fd/", "/proc/self/fd/"};
  for (int i = 0; i < 3; ++i)
    if (strcmp(path, streams[i]) == 0) return i;
  for (int i = 0; i < 2; ++i) {
    const size_t length = strlen(folders[i]);
    if (strncmp(path, folders[i], length) != 0) continue;
    char* end;
    const unsigned long value = strtoul(path + length, &end, 10);
    if (end != path + length && *end == '\0' && value <= INT_MAX) return (int)value;
  }
  return -1;
}

/* A link to an open node, where the kernel would show a socket. */
static int is_link_to_node(struct place* place, const char* path) {
  struct peer peer;
  const int fd = descriptor_of(path);
  if (fd < 0 || !find_peer(fd, &peer)) return 0;
  place->kind = NODE;
  place->number = peer.number;
  place->is_link = 1;
  snprintf(place->path, sizeof place->path, "%s/dev/hidraw%u", settings.folder, peer.number);
  return 1;
}

/* Where a path leads that is ours. The caller's errno stays. */
static enum kind find(struct place* place, int dir, const char* path) {
  static const char node[] = "/dev/hidraw";
  place->kind = OTHER;
  place->is_link = 0;
  if (path != NULL && active() && is_link_to_node(place, path)) return NODE;
  if (path == NULL || !active() ||
      (strstr(path, "hidraw") == NULL && strstr(path, VESK_EMULATE_DEVICES) == NULL))
    return OTHER;
  const int before = errno;
  char absolute[PATH_MAX];
  if (make_absolute(dir, path, absolute)) {
    if (strncmp(absolute, node, sizeof node - 1) == 0) {
      if (is_ours(absolute + sizeof node - 1, &place->number)) place->kind = NODE;
    } else if (is_below(absolute, "/sys/class/hidraw") ||
               is_below(absolute, VESK_EMULATE_DEVICES)) {
      place->kind = ENTRY;
    }
    if (place->kind != OTHER &&
        (size_t)snprintf(place->path, sizeof place->path, "%s%s", settings.folder, absolute) >=
            sizeof place->path)
      place->kind = OTHER;
  }
  errno = before;
  return place->kind;
}

/* `path`, or the one that stands for it. */
static const char* mapped(struct place* place, int dir, const char* path) {
  return find(place, dir, path) == OTHER ? path : place->path;
}

/* Connects to a node's socket and sends the first message. */
static int call(unsigned number, int flags, const struct iovec* parts, size_t count) {
  struct sockaddr_un address = {.sun_family = AF_UNIX};
  if ((size_t)snprintf(
          address.sun_path, sizeof address.sun_path, "%s/dev/hidraw%u", settings.folder, number) >=
      sizeof address.sun_path)
    return fail(ENODEV);
  const int fd = socket(AF_UNIX, SOCK_SEQPACKET | flags, 0);
  if (fd < 0) return -1;
  int failed;
  do failed = connect(fd, (struct sockaddr*)&address, sizeof address) != 0;
  while (failed && errno == EINTR);
  struct msghdr message;
  memset(&message, 0, sizeof message);
  message.msg_iov = (struct iovec*)(uintptr_t)parts;
  message.msg_iovlen = count;
  while (!failed && sendmsg(fd, &message, MSG_NOSIGNAL) < 0)
    if (errno != EINTR) failed = 1;
  if (!failed) return fd;
  const int error = errno;
  syscall(SYS_close, fd);
  return fail(error == EMFILE || error == ENFILE || error == EFAULT ? error : ENOENT);
}

/* The reply, with up to `room` bytes behind it; its bytes, or -1. */
static ssize_t take_reply(int fd, int32_t* result, void* bytes, size_t room) {
  struct vesk_emulate_reply reply;
  struct iovec parts[2] = {{&reply, sizeof reply}, {bytes, room}};
  struct msghdr message;
  memset(&message, 0, sizeof message);
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  ssize_t got;
  do got = recvmsg(fd, &message, 0);
  while (got < 0 && errno == EINTR); /* the kernel does not end these requests by a signal either */
  if (got < (ssize_t)sizeof reply) return -1;
  *result = reply.result;
  return got - (ssize_t)sizeof reply;
}

/* ----------------------------------------------------------------------------- opening and closing */

/* Descriptors that were opened for reading alone, to refuse writes: a hint, as it is not followed
 * through dup and close, and asked of descriptors of ours only. */
enum { MOST_HINTS = 65536 };
static unsigned char read_only[MOST_HINTS];

static int open_node(const struct place* node, int flags) {
  if ((flags & (O_CREAT | O_EXCL)) == (O_CREAT | O_EXCL)) return fail(EEXIST);
  if ((flags & O_DIRECTORY) != 0) return fail(ENOTDIR);
  struct vesk_emulate_request request = {VESK_EMULATE_OPEN, 0, 0};
  const struct iovec part = {&request, sizeof request};
  const int fd = call(node->number, (flags & O_CLOEXEC) != 0 ? SOCK_CLOEXEC : 0, &part, 1);
  if (fd < 0) return -1;
  int32_t result = -ENOENT;
  if (take_reply(fd, &result, NULL, 0) < 0) result = -ENOENT; /* unplugged just now */
  if (result == 0 && (flags & O_NONBLOCK) != 0 && fcntl(fd, F_SETFL, O_NONBLOCK) != 0)
    result = -errno;
  if (result < 0) {
    syscall(SYS_close, fd);
    return fail(-result);
  }
  if (fd < MOST_HINTS)
    __atomic_store_n(&read_only[fd], (flags & O_ACCMODE) == O_RDONLY, __ATOMIC_RELAXED);
  return fd;
}

/* What is not to be opened as a node, but as the file that stands for it or is meant. */
static int is_opened(const struct place* place, int flags) {
  return place->kind == NODE && (flags & O_PATH) == 0;
}

static mode_t mode_of(int flags, va_list rest) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(rest, mode_t) : 0;
}

#define OPEN(name)                                                 \
  OURS int name(const char* path, int flags, ...) {                \
    NEXT(int, name, const char*, int, ...)                         \
    struct place place;                                            \
    va_list rest;                                                  \
    va_start(rest, flags);                                         \
    const mode_t mode = mode_of(flags, rest);                      \
    va_end(rest);                                                  \
    const char* const real = mapped(&place, AT_FDCWD, path);       \
    if (is_opened(&place, flags)) return open_node(&place, flags); \
    return next(real, flags, mode);                                \
  }
OPEN(open)
OPEN(open64)

#define OPENAT(name)                                               \
  OURS int name(int dir, const char* path, int flags, ...) {       \
    NEXT(int, name, int, const char*, int, ...)                    \
    struct place place;                                            \
    va_list rest;                                                  \
    va_start(rest, flags);                                         \
    const mode_t mode = mode_of(flags, rest);                      \
    va_end(rest);                                                  \
    const char* const real = mapped(&place, dir, path);            \
    if (is_opened(&place, flags)) return open_node(&place, flags); \
    return next(dir, real, flags, mode);                           \
  }
OPENAT(openat)
OPENAT(openat64)

/* What programs call that were compiled with checks. */
#define CHECKED_OPEN(name)                                         \
  int name(const char* path, int flags);                           \
  OURS int name(const char* path, int flags) {                     \
    NEXT(int, name, const char*, int)                              \
    struct place place;                                            \
    const char* const real = mapped(&place, AT_FDCWD, path);       \
    if (is_opened(&place, flags)) return open_node(&place, flags); \
    return next(real, flags);                                      \
  }
CHECKED_OPEN(__open_2)
CHECKED_OPEN(__open64_2)

#define CHECKED_OPENAT(name)                                       \
  int name(int dir, const char* path, int flags);                  \
  OURS int name(int dir, const char* path, int flags) {            \
    NEXT(int, name, int, const char*, int)                         \
    struct place place;                                            \
    const char* const real = mapped(&place, dir, path);            \
    if (is_opened(&place, flags)) return open_node(&place, flags); \
    return next(dir, real, flags);                                 \
  }
CHECKED_OPENAT(__openat_2)
CHECKED_OPENAT(__openat64_2)

/* A stream on a node. It reads whole reports, but as many as fill its buffer. */
static FILE* open_stream(const struct place* node, const char* mode) {
  int flags = strchr(mode, '+') != NULL ? O_RDWR : mode[0] == 'r' ? O_RDONLY : O_WRONLY;
  if (strchr(mode, 'e') != NULL) flags |= O_CLOEXEC;
  const int fd = open_node(node, flags);
  if (fd < 0) return NULL;
  FILE* const stream = fdopen(fd, mode);
  if (stream == NULL) syscall(SYS_close, fd);
  return stream;
}

#define FOPEN(name)                                                           \
  OURS FILE* name(const char* path, const char* mode) {                       \
    NEXT(FILE*, name, const char*, const char*)                               \
    struct place place;                                                       \
    const char* const real = mapped(&place, AT_FDCWD, path);                  \
    return place.kind == NODE ? open_stream(&place, mode) : next(real, mode); \
  }
FOPEN(fopen)
FOPEN(fopen64)

/* --------------------------------------------------------------------------- reading, writing, poll */

/* A device that is gone is an error, where a socket has an end. One to which something was written that
 * nobody took is reset first, in front of what it still has to give. */
static int is_gone(int fd, ssize_t got) {
  struct peer peer;
  return (got == 0 || (got < 0 && errno == ECONNRESET)) && find_peer(fd, &peer);
}

OURS ssize_t read(int fd, void* to, size_t room) {
  NEXT(ssize_t, read, int, void*, size_t)
  ssize_t got = next(fd, to, room);
  if (got > 0 || room == 0 || !is_gone(fd, got)) return got;
  if (got < 0) got = next(fd, to, room);
  return got == 0 ? fail(EIO) : got;
}

ssize_t __read_chk(int fd, void* to, size_t room, size_t size);
OURS ssize_t __read_chk(int fd, void* to, size_t room, size_t size) {
  NEXT(ssize_t, __read_chk, int, void*, size_t, size_t)
  return room > size ? next(fd, to, room, size) : read(fd, to, room);
}

OURS ssize_t readv(int fd, const struct iovec* parts, int count) {
  NEXT(ssize_t, readv, int, const struct iovec*, int)
  ssize_t got = next(fd, parts, count);
  if (got > 0 || !is_gone(fd, got)) return got;
  if (got < 0) got = next(fd, parts, count);
  size_t room = 0;
  for (int i = 0; i < count; ++i) room += parts[i].iov_len;
  return got == 0 && room != 0 ? fail(EIO) : got;
}

static int refuses_writes(int fd) {
  struct peer peer;
  if (fd < 0 || fd >= MOST_HINTS || !__atomic_load_n(&read_only[fd], __ATOMIC_RELAXED)) return 0;
  if (find_peer(fd, &peer)) return 1;
  __atomic_store_n(&read_only[fd], 0, __ATOMIC_RELAXED); /* another file has the number now */
  return 0;
}

/* What a write gives that the socket refused. */
static ssize_t failed_write(int fd, ssize_t sent) {
  struct peer peer;
  const int gone =
      errno == EPIPE || errno == ECONNRESET || errno == ENOTCONN || errno == ECONNREFUSED;
  return sent < 0 && gone && find_peer(fd, &peer) ? fail(ENODEV) : sent;
}

OURS ssize_t write(int fd, const void* from, size_t size) {
  NEXT(ssize_t, write, int, const void*, size_t)
  if (refuses_writes(fd)) return fail(EBADF);
  return failed_write(fd, next(fd, from, size));
}

OURS ssize_t writev(int fd, const struct iovec* parts, int count) {
  NEXT(ssize_t, writev, int, const struct iovec*, int)
  if (refuses_writes(fd)) return fail(EBADF);
  return failed_write(fd, next(fd, parts, count));
}

/* hidraw tells that a device is gone by POLLERR and POLLHUP, and POLLIN only of reports. */
static void correct(struct pollfd* polled, nfds_t count) {
  struct peer peer;
  for (nfds_t i = 0; i < count; ++i) {
    if ((polled[i].revents & POLLHUP) == 0 || !find_peer(polled[i].fd, &peer)) continue;
    int waiting = 0;
    if (syscall(SYS_ioctl, polled[i].fd, FIONREAD, &waiting) == 0 && waiting == 0)
      polled[i].revents &= (short)~(POLLIN | POLLRDNORM);
    polled[i].revents |= POLLERR;
  }
}

OURS int poll(struct pollfd* polled, nfds_t count, int timeout) {
  NEXT(int, poll, struct pollfd*, nfds_t, int)
  const int ready = next(polled, count, timeout);
  if (ready > 0) correct(polled, count);
  return ready;
}

OURS int ppoll(struct pollfd* polled, nfds_t count, const struct timespec* timeout,
               const sigset_t* mask) {
  NEXT(int, ppoll, struct pollfd*, nfds_t, const struct timespec*, const sigset_t*)
  const int ready = next(polled, count, timeout, mask);
  if (ready > 0) correct(polled, count);
  return ready;
}

int __poll_chk(struct pollfd* polled, nfds_t count, int timeout, size_t size);
OURS int __poll_chk(struct pollfd* polled, nfds_t count, int timeout, size_t size) {
  NEXT(int, __poll_chk, struct pollfd*, nfds_t, int, size_t)
  const int ready = next(polled, count, timeout, size);
  if (ready > 0) correct(polled, count);
  return ready;
}

int __ppoll_chk(struct pollfd* polled, nfds_t count, const struct timespec* timeout,
                const sigset_t* mask, size_t size);
OURS int __ppoll_chk(struct pollfd* polled, nfds_t count, const struct timespec* timeout,
                     const sigset_t* mask, size_t size) {
  NEXT(int, __ppoll_chk, struct pollfd*, nfds_t, const struct timespec*, const sigset_t*, size_t)
  const int ready = next(polled, count, timeout, mask, size);
  if (ready > 0) correct(polled, count);
  return ready;
}

/* ------------------------------------------------------------------------------------------- ioctl */

/* How many bytes of the argument a request reads. */
static size_t bytes_read_by(unsigned long request) {
  switch (_IOC_NR(request)) {
    case 0x02: /* HIDIOCGRDESC: the size in front */
      return sizeof(uint32_t);
    case 0x06: /* HIDIOCSFEATURE, HIDIOCSINPUT, HIDIOCSOUTPUT: the report */
    case 0x09:
    case 0x0B:
      return _IOC_SIZE(request);
    case 0x07: /* HIDIOCGFEATURE, HIDIOCGINPUT, HIDIOCGOUTPUT: its ID */
    case 0x0A:
    case 0x0C:
      return _IOC_SIZE(request) != 0 ? 1 : 0;
    default:
      return 0;
  }
}

static int ask(const struct peer* peer, unsigned long request, unsigned char* argument) {
  const int describes = _IOC_NR(request) == 0x02;
  const size_t offset = describes ? sizeof(uint32_t) : 0; /* its size stays as it is */
  const size_t size = _IOC_SIZE(request);
  const struct vesk_emulate_request head = {
      VESK_EMULATE_IOCTL, peer->generation, (uint32_t)request};
  const struct iovec parts[2] = {{(void*)(uintptr_t)&head, sizeof head},
                                 {argument, bytes_read_by(request)}};
  const int fd = call(peer->number, SOCK_CLOEXEC, parts, 2);
  if (fd < 0) return errno == ENOENT ? fail(ENODEV) : -1;
  int32_t result = -ENODEV;
  if (take_reply(fd, &result, argument + offset, size - (size < offset ? size : offset)) < 0)
    result = -ENODEV;
  syscall(SYS_close, fd);
  return result < 0 ? fail(-result) : result;
}

OURS int ioctl(int fd, unsigned long request, ...) {
  NEXT(int, ioctl, int, unsigned long, ...)
  va_list rest;
  va_start(rest, request);
  void* const argument = va_arg(rest, void*);
  va_end(rest);
  struct peer peer;
  if (_IOC_TYPE(request) != 'H' || !find_peer(fd, &peer)) return next(fd, request, argument);
  return ask(&peer, request, argument);
}

/* -------------------------------------------------------------------------------------------- stat */

/* Nobody may open what has no permissions; it belongs to root then, as hidraw's nodes do. */
#define AS_NODE(status, number)                                          \
  do {                                                                   \
    if (((status)->st_mode & 0777) == 0) {                               \
      (status)->st_mode |= 0600;                                         \
      (status)->st_uid = (status)->st_gid = 0;                           \
    }                                                                    \
    (status)->st_mode = ((status)->st_mode & ~(mode_t)S_IFMT) | S_IFCHR; \
    (status)->st_rdev = makedev(VESK_EMULATE_MAJOR, number);             \
  } while (0)

#define STAT(name, type, follows)                                         \
  OURS int name(const char* path, struct type* status) {                  \
    NEXT(int, name, const char*, struct type*)                            \
    struct place place;                                                   \
    const char* const real = mapped(&place, AT_FDCWD, path);              \
    if (place.is_link && !(follows)) return next(path, status);           \
    const int failed = next(real, status);                                \
    if (failed == 0 && place.kind == NODE) AS_NODE(status, place.number); \
    return failed;                                                        \
  }
STAT(stat, stat, 1)
STAT(lstat, stat, 0)
STAT(stat64, stat64, 1)
STAT(lstat64, stat64, 0)

#define FSTAT(name, type)                                                   \
  OURS int name(int fd, struct type* status) {                              \
    NEXT(int, name, int, struct type*)                                      \
    struct peer peer;                                                       \
    const int failed = next(fd, status);                                    \
    if (failed == 0 && S_ISSOCK(status->st_mode) && find_peer(fd, &peer)) { \
      status->st_mode = (status->st_mode & ~(mode_t)0777) | 0600;           \
      AS_NODE(status, peer.number);                                         \
    }                                                                       \
    return failed;                                                          \
  }
FSTAT(fstat, stat)
FSTAT(fstat64, stat64)

#define FSTATAT(name, type)                                                  \
  OURS int name(int dir, const char* path, struct type* status, int flags) { \
    NEXT(int, name, int, const char*, struct type*, int)                     \
    struct place place;                                                      \
    struct peer peer;                                                        \
    const char* const real = mapped(&place, dir, path);                      \
    if (place.is_link && (flags & AT_SYMLINK_NOFOLLOW) != 0)                 \
      return next(dir, path, status, flags);                                 \
    const int failed = next(dir, real, status, flags);                       \
    if (failed != 0) return failed;                                          \
    if (place.kind == NODE) {                                                \
      AS_NODE(status, place.number);                                         \
    } else if (S_ISSOCK(status->st_mode) && find_peer(dir, &peer)) {         \
      status->st_mode = (status->st_mode & ~(mode_t)0777) | 0600;            \
      AS_NODE(status, peer.number);                                          \
    }                                                                        \
    return 0;                                                                \
  }
FSTATAT(fstatat, stat)
FSTATAT(fstatat64, stat64)

OURS int statx(int dir, const char* path, int flags, unsigned mask, struct statx* status) {
  NEXT(int, statx, int, const char*, int, unsigned, struct statx*)
  struct place place;
  struct peer peer = {0, 0};
  const char* const real = mapped(&place, dir, path);
  if (place.is_link && (flags & AT_SYMLINK_NOFOLLOW) != 0)
    return next(dir, path, flags, mask, status);
  const int failed = next(dir, real, flags, mask, status);
  if (failed != 0) return failed;
  if (place.kind == NODE)
    peer.number = place.number;
  else if (S_ISSOCK(status->stx_mode) && find_peer(dir, &peer))
    status->stx_mode = (uint16_t)((status->stx_mode & ~0777) | 0600);
  else
    return 0;
  if ((status->stx_mode & 0777) == 0) {
    status->stx_mode |= 0600;
    status->stx_uid = status->stx_gid = 0;
  }
  status->stx_mode = (uint16_t)((status->stx_mode & ~S_IFMT) | S_IFCHR);
  status->stx_rdev_major = VESK_EMULATE_MAJOR;
  status->stx_rdev_minor = peer.number;
  return 0;
}

/* Root, who may do all, learns by the mode alone that a device refuses. */
static int node_access(const struct place* node, int mode) {
  NEXT(int, stat, const char*, struct stat*)
  struct stat status;
  if (next(node->path, &status) != 0) return -1;
  if ((mode & X_OK) != 0) return fail(EACCES);
  return (mode & (R_OK | W_OK)) != 0 && (status.st_mode & 0777) == 0 ? fail(EACCES) : 0;
}

#define ACCESS(name)                                                          \
  OURS int name(const char* path, int mode) {                                 \
    NEXT(int, name, const char*, int)                                         \
    struct place place;                                                       \
    const char* const real = mapped(&place, AT_FDCWD, path);                  \
    return place.kind == NODE ? node_access(&place, mode) : next(real, mode); \
  }
ACCESS(access)
ACCESS(eaccess)
ACCESS(euidaccess)

OURS int faccessat(int dir, const char* path, int mode, int flags) {
  NEXT(int, faccessat, int, const char*, int, int)
  struct place place;
  const char* const real = mapped(&place, dir, path);
  return place.kind == NODE ? node_access(&place, mode) : next(dir, real, mode, flags);
}

/* ----------------------------------------------------------------------------------- links, folders */

/* What the link of an open node's descriptor holds. */
static ssize_t node_link(unsigned number, char* to, size_t room) {
  char name[32];
  const size_t length = (size_t)snprintf(name, sizeof name, "/dev/hidraw%u", number);
  if (room == 0) return fail(EINVAL);
  memcpy(to, name, length < room ? length : room);
  return (ssize_t)(length < room ? length : room);
}

OURS ssize_t readlink(const char* path, char* to, size_t room) {
  NEXT(ssize_t, readlink, const char*, char*, size_t)
  struct place place;
  const char* const real = mapped(&place, AT_FDCWD, path);
  return place.is_link ? node_link(place.number, to, room) : next(real, to, room);
}

OURS ssize_t readlinkat(int dir, const char* path, char* to, size_t room) {
  NEXT(ssize_t, readlinkat, int, const char*, char*, size_t)
  struct place place;
  const char* const real = mapped(&place, dir, path);
  return place.is_link ? node_link(place.number, to, room) : next(dir, real, to, room);
}

/* A node is no link to anything; its name is the path. */
static char* real_node(const struct place* node, char* to) {
  NEXT(int, stat, const char*, struct stat*)
  struct stat status;
  if (next(node->path, &status) != 0) return NULL;
  char name[32];
  snprintf(name, sizeof name, "/dev/hidraw%u", node->number);
  return to == NULL ? strdup(name) : strcpy(to, name);
}

/* A path below the folder, as it is to be seen. */
static char* seen(char* path) {
  if (path != NULL && active() && is_below(path, settings.folder))
    memmove(path, path + strlen(settings.folder), strlen(path + strlen(settings.folder)) + 1);
  return path;
}

OURS char* realpath(const char* path, char* to) {
  NEXT(char*, realpath, const char*, char*)
  struct place place;
  const char* const real = mapped(&place, AT_FDCWD, path);
  if (place.kind == NODE) return real_node(&place, to);
  char* const found = next(real, to);
  return place.kind == ENTRY ? seen(found) : found;
}

char* __realpath_chk(const char* path, char* to, size_t size);
OURS char* __realpath_chk(const char* path, char* to, size_t size) {
  NEXT(char*, __realpath_chk, const char*, char*, size_t)
  struct place place;
  const char* const real = mapped(&place, AT_FDCWD, path);
  if (place.kind == NODE) return real_node(&place, to);
  char* const found = next(real, to, size);
  return place.kind == ENTRY ? seen(found) : found;
}

OURS char* canonicalize_file_name(const char* path) {
  NEXT(char*, canonicalize_file_name, const char*)
  struct place place;
  const char* const real = mapped(&place, AT_FDCWD, path);
  if (place.kind == NODE) return real_node(&place, NULL);
  char* const found = next(real);
  return place.kind == ENTRY ? seen(found) : found;
}

/* What ls asks of every file. */
#define GET_XATTR(name)                                                         \
  OURS ssize_t name(const char* path, const char* key, void* to, size_t room) { \
    NEXT(ssize_t, name, const char*, const char*, void*, size_t)                \
    struct place place;                                                         \
    return next(mapped(&place, AT_FDCWD, path), key, to, room);                 \
  }
GET_XATTR(getxattr)
GET_XATTR(lgetxattr)

#define LIST_XATTR(name)                                       \
  OURS ssize_t name(const char* path, char* to, size_t room) { \
    NEXT(ssize_t, name, const char*, char*, size_t)            \
    struct place place;                                        \
    return next(mapped(&place, AT_FDCWD, path), to, room);     \
  }
LIST_XATTR(listxattr)
LIST_XATTR(llistxattr)

/* A folder /dev that is being listed: behind what it holds come the emulated nodes. */
enum { MOST_LISTINGS = 16 };
static struct listing {
  DIR* folder; /* NULL: free; listings beyond these lack the nodes */
  unsigned next;
  struct dirent entry;
  struct dirent64 entry64;
} listings[MOST_LISTINGS];
static int listing_count;

static struct listing* listing_of(DIR* folder) {
  if (__atomic_load_n(&listing_count, __ATOMIC_RELAXED) == 0) return NULL;
  for (size_t i = 0; i < MOST_LISTINGS; ++i)
    if (__atomic_load_n(&listings[i].folder, __ATOMIC_ACQUIRE) == folder) return &listings[i];
  return NULL;
}

OURS DIR* opendir(const char* path) {
  NEXT(DIR*, opendir, const char*)
  struct place place;
  DIR* const folder = next(mapped(&place, AT_FDCWD, path));
  if (folder == NULL || !active() || (strcmp(path, "/dev") != 0 && strcmp(path, "/dev/") != 0))
    return folder;
  for (size_t i = 0; i < MOST_LISTINGS; ++i) {
    DIR* none = NULL;
    if (!__atomic_compare_exchange_n(
            &listings[i].folder, &none, folder, 0, __ATOMIC_ACQ_REL, __ATOMIC_RELAXED))
      continue;
    listings[i].next = 0;
    __atomic_add_fetch(&listing_count, 1, __ATOMIC_RELAXED);
    break;
  }
  return folder;
}

OURS int closedir(DIR* folder) {
  NEXT(int, closedir, DIR*)
  struct listing* const listing = listing_of(folder);
  if (listing != NULL) {
    __atomic_sub_fetch(&listing_count, 1, __ATOMIC_RELAXED);
    __atomic_store_n(&listing->folder, NULL, __ATOMIC_RELEASE);
  }
  return next(folder);
}

OURS void rewinddir(DIR* folder) {
  NEXT(void, rewinddir, DIR*)
  struct listing* const listing = listing_of(folder);
  if (listing != NULL) listing->next = 0;
  next(folder);
}

/* The next node that is there, and its file's number; 0 behind the last one. */
static int next_node(struct listing* listing, unsigned* number, struct stat* status) {
  NEXT(int, stat, const char*, struct stat*)
  const int before = errno;
  int found = 0;
  while (!found && listing->next < settings.count) {
    *number = settings.first + listing->next++;
    char path[PATH_MAX];
    snprintf(path, sizeof path, "%s/dev/hidraw%u", settings.folder, *number);
    found = next(path, status) == 0;
  }
  errno = before;
  return found;
}

#define READDIR(name, type, member)                                                       \
  OURS struct type* name(DIR* folder) {                                                   \
    NEXT(struct type*, name, DIR*)                                                        \
    const int before = errno;                                                             \
    errno = 0;                                                                            \
    struct type* const entry = next(folder);                                              \
    const int failed = errno != 0;                                                        \
    if (!failed) errno = before;                                                          \
    struct listing* const listing = entry == NULL && !failed ? listing_of(folder) : NULL; \
    unsigned number;                                                                      \
    struct stat status;                                                                   \
    if (listing == NULL || !next_node(listing, &number, &status)) return entry;           \
    struct type* const node = &listing->member;                                           \
    memset(node, 0, sizeof *node);                                                        \
    node->d_ino = status.st_ino;                                                          \
    node->d_reclen = sizeof *node;                                                        \
    node->d_type = DT_CHR;                                                                \
    snprintf(node->d_name, sizeof node->d_name, "hidraw%u", number);                      \
    return node;                                                                          \
  }
READDIR(readdir, dirent, entry)
READDIR(readdir64, dirent64, entry64)
