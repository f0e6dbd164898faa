/* A program on an emulated node in the ways that Python has none for. Compiled with the C library's
 * checks, which call functions of other names. The capture has 0xDE and 400 input reports that count,
 * over and over, and the device waits for its readers: no report is lost however slow a machine is. */
#define _GNU_SOURCE
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/hidraw.h>
#include <poll.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#define CHECK(condition)                                                   \
  do {                                                                     \
    if (!(condition)) {                                                    \
      printf("line %d: %s (%s)\n", __LINE__, #condition, strerror(errno)); \
      exit(1);                                                             \
    }                                                                      \
  } while (0)

static const char* node = "/dev/hidraw9";
enum { REPORT = 4 }; /* bytes of an input report */

static int number_of(const unsigned char* report) { return report[1] | report[2] << 8; }

static int feature(int fd, unsigned char id) {
  unsigned char report[64] = {id};
  return ioctl(fd, HIDIOCGFEATURE(sizeof report), report);
}

/* Each of the ways to open it. */
static void open_it(int flags) {
  const int folder = open("/dev", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  CHECK(folder >= 0);
  const int fds[] = {open(node, flags),
                     open64(node, flags | O_CLOEXEC),
                     openat(AT_FDCWD, node, flags),
                     openat64(folder, "hidraw9", flags)};
  for (size_t i = 0; i < sizeof fds / sizeof fds[0]; ++i) {
    CHECK(fds[i] >= 0);
    CHECK(feature(fds[i], 0xDE) == 2);
    CHECK(((fcntl(fds[i], F_GETFD) & FD_CLOEXEC) != 0) == (i == 1));
    close(fds[i]);
  }
  CHECK(openat(folder, "hidraw8", flags) == -1 && errno == ENOENT);
  close(folder);
}

/* Each of the ways to look at it. */
static void look_at_it(int fd) {
  struct stat status;
  CHECK(fstat(fd, &status) == 0 && S_ISCHR(status.st_mode) && minor(status.st_rdev) == 9);
  CHECK(lstat(node, &status) == 0 && S_ISCHR(status.st_mode) && minor(status.st_rdev) == 9);
  CHECK(fstatat(fd, "", &status, AT_EMPTY_PATH) == 0 && S_ISCHR(status.st_mode));
  struct statx more;
  CHECK(statx(AT_FDCWD, node, 0, STATX_BASIC_STATS, &more) == 0);
  CHECK(S_ISCHR(more.stx_mode) && more.stx_rdev_minor == 9);
  CHECK(statx(fd, "", AT_EMPTY_PATH, STATX_BASIC_STATS, &more) == 0);
  CHECK(S_ISCHR(more.stx_mode) && more.stx_rdev_minor == 9);
  CHECK(faccessat(AT_FDCWD, node, R_OK, 0) == 0 && eaccess(node, R_OK | W_OK) == 0);
  char* const name = realpath(node, NULL);
  CHECK(name != NULL && strcmp(name, node) == 0);
  free(name);
  char* const entry = canonicalize_file_name("/sys/class/hidraw/hidraw9/device");
  CHECK(entry != NULL && strncmp(entry, "/sys/devices/vesk-emulate/", 26) == 0);
  free(entry);
  char target[256];
  CHECK(readlink("/sys/class/hidraw/hidraw9", target, sizeof target) > 0);
  CHECK(readlink(node, target, sizeof target) == -1 && errno == EINVAL);

  /* The node stands once in its folder, also after beginning anew. */
  DIR* const folder = opendir("/dev");
  CHECK(folder != NULL);
  for (int round = 0; round < 2; ++round, rewinddir(folder)) {
    int count = 0;
    for (const struct dirent* found; (found = readdir(folder)) != NULL;)
      count += strcmp(found->d_name, "hidraw9") == 0;
    CHECK(count == 1);
  }
  CHECK(closedir(folder) == 0);
}

static void* ask_often(void* fd) {
  for (int i = 0; i < 200; ++i) CHECK(feature(*(int*)fd, 0xDE) == 2);
  return NULL;
}

/* Reads the reports in different ways, while two threads ask for a feature report. */
static void read_them(int fd, size_t room) {
  pthread_t threads[2];
  for (int i = 0; i < 2; ++i) CHECK(pthread_create(&threads[i], NULL, ask_often, &fd) == 0);
  unsigned char report[64];
  for (int i = 0; i < 300; ++i) {
    struct pollfd polled = {fd, POLLIN, 0};
    const struct timespec second = {10, 0};
    CHECK((i % 2 ? poll(&polled, 1, 10000) : ppoll(&polled, 1, &second, NULL)) == 1);
    CHECK(polled.revents == POLLIN);
    memset(report, 0, sizeof report);
    if (i % 3 == 0) {
      struct iovec parts[2] = {{report, 1}, {report + 1, sizeof report - 1}};
      CHECK(readv(fd, parts, 2) == REPORT);
    } else {
      CHECK(read(fd, report, room) == REPORT); /* the checks do not know the room */
    }
    CHECK(report[0] == 0x76 && number_of(report) == i);
  }
  for (int i = 0; i < 2; ++i) CHECK(pthread_join(threads[i], NULL) == 0);
}

/* A copy of the descriptor, in another process. */
static void read_in_child(int fd) {
  const int copy = fcntl(fd, F_DUPFD, 100);
  CHECK(copy >= 100);
  const pid_t child = fork();
  CHECK(child >= 0);
  if (child == 0) {
    unsigned char report[64];
    CHECK(read(copy, report, sizeof report) == REPORT && number_of(report) == 300);
    CHECK(feature(copy, 0xDE) == 2);
    _exit(0);
  }
  int status = 1;
  CHECK(waitpid(child, &status, 0) == child && status == 0);
  close(copy);
}

static void read_stream(void) {
  FILE* const stream = fopen(node, "rb");
  CHECK(stream != NULL);
  setvbuf(stream, NULL, _IONBF, 0);
  unsigned char report[REPORT];
  CHECK(fread(report, 1, REPORT, stream) == REPORT && report[0] == 0x76);
  fclose(stream);
  CHECK(fopen("/dev/hidraw8", "r") == NULL && errno == ENOENT);
}

int main(int argc, char** argv) {
  (void)argv;
  const int fd = open(node, argc > 5 ? O_RDONLY : O_RDWR); /* unknown while it is compiled */
  CHECK(fd >= 0);
  read_them(fd, argc > 5 ? 32 : 64);
  read_in_child(fd);
  open_it(argc > 5 ? O_RDONLY : O_RDWR);
  look_at_it(fd);
  close(fd); /* it is full, and the device waits for all who read */
  read_stream();
  puts("all is well");
  return 0;
}
