#include "vxlog.h"

#include <glib.h>

#include <cstdio>
#include <string>

namespace
{

const char *level_word(GLogLevelFlags level)
{
	switch (level & G_LOG_LEVEL_MASK) {
	case G_LOG_LEVEL_ERROR:
		return "ERROR";
	case G_LOG_LEVEL_CRITICAL:
		return "CRITICAL";
	case G_LOG_LEVEL_WARNING:
		return "WARNING";
	case G_LOG_LEVEL_MESSAGE:
		return "MESSAGE";
	case G_LOG_LEVEL_INFO:
		return "INFO";
	case G_LOG_LEVEL_DEBUG:
		return "DEBUG";
	default:
		return "USER";
	}
}

// GLib ends the process after this for a fatal message.
void write_line(const gchar *, GLogLevelFlags level, const gchar *message,
		gpointer) noexcept
{
	std::string line = level_word(level);
	line += ' ';
	line += message != nullptr ? message : "";
	if (line.back() != '\n')
		line += '\n';
	// One call for the whole line: the stream is locked during it, so that
	// lines of several threads cannot mix.
	fwrite(line.data(), 1, line.size(), stdout);
	fflush(stdout);
}

} // namespace

void vx_log_stdout(void)
{
	g_log_set_default_handler(write_line, nullptr);
}
