/* What the preloaded library and vesk-emulate say to each other: messages on SOCK_SEQPACKET sockets.
 *
 * The library finds everything by one variable of the environment,
 *
 *     VESK_EMULATE=9+2:/tmp/vesk-emulate.AbCdEf
 *
 * the first node's number, how many there are, and the folder that stands for /dev and /sys/class:
 *
 *     dev/hidraw9          the socket of the node, there while the device is
 *     sys/class/hidraw     the emulated devices, and links to the machine's own
 *     sys/devices/...      what the links of the emulated ones lead to
 *
 * The socket was bound as bound/hidraw9.GENERATION, which is the name that getpeername() gives: so a
 * descriptor tells by itself which device it was opened for, in whatever process it ends up, and that
 * it is not the one that came back after an unplug.
 *
 * Each connection begins with a request. After VESK_EMULATE_OPEN it is the descriptor of an open node:
 * from the emulator come a reply and then input reports, one message each; what goes to the emulator is
 * what the program writes. A connection of VESK_EMULATE_IOCTL has one request and one reply.
 */
#ifndef VESK_EMULATE_PROTOCOL_H
#define VESK_EMULATE_PROTOCOL_H

#include <stdint.h>

#define VESK_EMULATE_VARIABLE "VESK_EMULATE"

/* Where sysfs would have the devices, in the folder and out of it. */
#define VESK_EMULATE_DEVICES "/sys/devices/vesk-emulate"

/* The driver's number of the emulated nodes, from the range that Linux gives out as it likes. */
#define VESK_EMULATE_MAJOR 240

enum { VESK_EMULATE_OPEN = 1, VESK_EMULATE_IOCTL = 2 };

/* More than any request of an ioctl holds, whose size has 14 bits. */
enum { VESK_EMULATE_MOST_DATA = 16384 };

struct vesk_emulate_request {
  uint32_t kind;
  uint32_t generation; /* of an ioctl's descriptor */
  uint32_t request;    /* an ioctl's number, its size included */
  /* Behind it stand the argument's bytes that the request reads: all to set a report, the first to
   * get one, the size in front of a descriptor. */
};

struct vesk_emulate_reply {
  int32_t result; /* what the call gives back, or -errno */
  /* Behind it stand the bytes for the argument. */
};

#endif
