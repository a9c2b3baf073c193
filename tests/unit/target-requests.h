#pragma once

/// Request numbers of the kernel as the target's headers give them; see
/// target-requests.c.

#ifdef __cplusplus
extern "C" {
#endif

extern const unsigned target_spi_message_2;
extern const unsigned target_spi_wr_bits_per_word;
extern const unsigned target_spi_wr_max_speed_hz;
extern const unsigned target_iio_get_event_fd;

#ifdef __cplusplus
}
#endif
