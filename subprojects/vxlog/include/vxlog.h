#ifndef VXLOG_H
#define VXLOG_H

/*
 * Platform logging.
 */

#ifdef __cplusplus
extern "C" {
#endif

/*
 * From now on everything logged through g_log(), at every level, the ones
 * that GLib leaves to applications included, goes to standard output: one line
 * per message, the level's word first, then a blank and the message unchanged,
 * written at once. A message that ends in a line feed gets no second one.
 *
 * The words: ERROR, CRITICAL, WARNING, MESSAGE, INFO, DEBUG, and USER for the
 * levels from 256 on. Fatal messages still end the process. Thread-safe.
 */
void vx_log_stdout(void);

#ifdef __cplusplus
}
#endif

#endif
