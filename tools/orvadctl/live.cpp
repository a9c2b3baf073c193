#include "live.h"

#include "bus.h"

#include <csignal>
#include <glib-unix.h>

namespace orvadctl
{

namespace
{

gboolean on_signal(gpointer live)
{
	static_cast<Live *>(live)->stop();
	return G_SOURCE_CONTINUE;
}

gboolean on_reader_gone(gint, GIOCondition, gpointer live)
{
	static_cast<Live *>(live)->stop();
	return G_SOURCE_CONTINUE;
}

void on_closed(GDBusConnection *, gboolean, GError *, gpointer live)
{
	GError *error =
		g_error_new_literal(G_IO_ERROR, G_IO_ERROR_CLOSED, "closed");

	explain_call_error(&error);
	static_cast<Live *>(live)->fail(error);
}

} // namespace

Live::Live(GDBusConnection *connection)
	: loop_(g_main_loop_new(nullptr, FALSE)), connection_(connection),
	  closed_handler_(g_signal_connect(connection, "closed",
					   G_CALLBACK(on_closed), this))
{
}

Live::~Live()
{
	g_signal_handler_disconnect(connection_, closed_handler_);
	g_clear_error(&error_);
}

void Live::end_with_user()
{
	interrupt_.reset(g_unix_signal_add(SIGINT, on_signal, this));
	terminate_.reset(g_unix_signal_add(SIGTERM, on_signal, this));
}

void Live::end_with_reader(const Output &output)
{
	// Without any condition asked for, poll reports errors: the other end
	// of a pipe was closed.
	reader_.reset(g_unix_fd_add(output.fd(), GIOCondition{}, on_reader_gone,
				    this));
}

void Live::end_after(gint ms)
{
	deadline_.reset(g_timeout_add(
		static_cast<guint>(ms),
		[](gpointer self) -> gboolean {
			auto *live = static_cast<Live *>(self);
			live->timed_out_ |= !live->ended_;
			live->stop();
			return G_SOURCE_CONTINUE;
		},
		this));
}

bool Live::run(GError **error)
{
	if (!ended_)
		g_main_loop_run(loop_.get());
	if (!error_)
		return true;
	g_propagate_error(error, std::exchange(error_, nullptr));
	return false;
}

void Live::stop()
{
	ended_ = true;
	g_main_loop_quit(loop_.get());
}

void Live::fail(GError *error)
{
	if (error_)
		g_error_free(error);
	else
		error_ = error;
	stop();
}

std::string Live::call_failed(GError *error, bool fatal)
{
	std::string sentence;

	if (says_service_gone(error)) {
		g_error_free(error);
		return sentence;
	}
	// The service will be gone or asked again in a moment.
	fatal = fatal && !says_object_missing(error);
	explain_call_error(&error);
	if (fatal) {
		fail(error);
		return sentence;
	}
	sentence = error->message;
	g_error_free(error);
	return sentence;
}

} // namespace orvadctl
