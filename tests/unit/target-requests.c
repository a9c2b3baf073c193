/* Compiled for the machine at hand with the headers of the target's kernel,
 * 32-bit MIPS: the numbers depend on these headers and on the sizes of types
 * that have the same size everywhere. */

#include "target-requests.h"

#include <linux/iio/events.h>
#include <linux/spi/spidev.h>

_Static_assert(_IOC_SIZEBITS == 13 && _IOC_WRITE == 4,
	       "needs the headers of linux-libc-dev-mipsel-cross");

const unsigned target_spi_message_2 = SPI_IOC_MESSAGE(2);
const unsigned target_spi_wr_bits_per_word = SPI_IOC_WR_BITS_PER_WORD;
const unsigned target_spi_wr_max_speed_hz = SPI_IOC_WR_MAX_SPEED_HZ;
const unsigned target_iio_get_event_fd = IIO_GET_EVENT_FD_IOCTL;
