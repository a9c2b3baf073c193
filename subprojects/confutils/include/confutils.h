#ifndef CONFUTILS_H
#define CONFUTILS_H

/*
 * Configuration utilities.
 */

#include <glib.h>

G_BEGIN_DECLS

/*
 * Replaces the contents of the file at path, atomically and durably: whoever
 * reads it, after a crash too, finds the old or the new contents whole. The
 * owner, the group and the mode of a file that is replaced are kept as far as
 * the caller's rights allow; a new file gets mode 0644, less the umask. A
 * symbolic link at path is replaced, not followed.
 *
 * length: bytes, or -1 for a text that ends in a NUL.
 * Returns FALSE and sets error (G_FILE_ERROR) when the file was not replaced.
 * Thread-safe.
 */
gboolean confutils_set_file_contents_with_sync(const gchar *path,
					       const gchar *contents,
					       gssize length, GError **error);

G_END_DECLS

#endif
