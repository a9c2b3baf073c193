#ifndef UGPIO_H
#define UGPIO_H

/*
 * GPIO lines for programs in user space, over the kernel's /sys/class/gpio
 * (Documentation/admin-guide/gpio/sysfs.rst).
 *
 * A call that fails returns -1 or null and leaves the reason in errno; where a
 * file is to blame, a warning in the log (g_log, domain "libugpio") names it.
 * Different handles may be used from different threads at once; of one handle,
 * only ugpio_get_value() and ugpio_set_value() may. A null handle is refused
 * with EBADF, or ignored where nothing is returned.
 */

#include <glib.h>

G_BEGIN_DECLS

/* One requested line. */
typedef struct ugpio ugpio_t;

/* What a request asks for: an or of these. */
enum {
	/* The line is an input; without it, an output. */
	UGPIO_DIRECTION_IN = 0x1,
	/* An output starts high, that is, with this level on the line itself,
	 * whether or not the line is set to be active-low. */
	UGPIO_INITIAL_HIGH = 0x2,
	/* Edges that show on the descriptor. */
	UGPIO_TRIGGER_FALLING = 0x4,
	UGPIO_TRIGGER_RISING = 0x8,
	/* Bits that callers pass and that other implementations may want;
	 * nothing here depends on them. */
	UGPIO_RESERVED_40 = 0x40,
	UGPIO_RESERVED_100 = 0x100,
};

/*
 * Requests the line of that number. A line that is exported already is used as
 * it is and stays exported when it is freed; any other is exported, and
 * unexported when the last handle to it is freed. The attribute files of a new
 * export may appear, or become accessible, late: waits for them, but no longer
 * than a second. A line that cannot interrupt is warned of when edges are asked
 * for.
 *
 * label: ignored; sysfs keeps none.
 * Returns a handle to be given to ugpio_free(); null when the line cannot be
 * had as asked for, and then nothing that this call exported stays exported.
 */
ugpio_t *ugpio_request_one(unsigned int gpio, unsigned int flags,
			   const char *label);

/*
 * As ugpio_request_one(), for the line of that name: the one that is exported
 * under it, else the one that any of the system's chips has by that name.
 * A name with a slash, "." and ".." are refused with EINVAL.
 */
ugpio_t *ugpio_request_one_named(const char *name, unsigned int flags);

/*
 * As the two above, except that the line is used as it is: whether it is an
 * input or an output, and its level, stay as whoever set the board up left
 * them. Its descriptor shows no edges.
 */
ugpio_t *ugpio_request(unsigned int gpio, const char *label);
ugpio_t *ugpio_request_named(const char *name);

/* Opens the line's value. Returns 0 or -1. */
int ugpio_full_open(ugpio_t *gpio);

/*
 * Whether the values read and written are the inverse of the line's level (1)
 * or the level itself (0). Returns 0 or -1.
 */
int ugpio_set_activelow(ugpio_t *gpio, int active_low);

/*
 * The opened line's value, 0 or 1, or -1. Leaves alone what the descriptor of
 * ugpio_fd() shows.
 */
int ugpio_get_value(ugpio_t *gpio);

/* Drives an opened output to 0, or to 1 for any other value. 0 or -1. */
int ugpio_set_value(ugpio_t *gpio, int value);

/*
 * The descriptor of the opened line's value, or -1. It stays the handle's. An
 * edge shows as POLLERR | POLLPRI until the value has been read from the start
 * of this descriptor, and so does, for ever, a line that is not exported any
 * more.
 */
int ugpio_fd(ugpio_t *gpio);

/* Closes what ugpio_full_open() opened. */
void ugpio_close(ugpio_t *gpio);

/* Closes the line, unexports it if the request exported it, frees the handle.
 */
void ugpio_free(ugpio_t *gpio);

G_END_DECLS

#endif
