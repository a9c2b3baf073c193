#include "feed.h"

#include "json-writer.h"
#include "report.h"
#include "timestamp.h"

namespace orvadctl
{

Feed::Feed(Context &context, GDBusConnection *connection, const char *name,
	   const char *title)
	: context_(context), connection_(connection), name_(name),
	  title_(title), live_(connection)
{
}

void Feed::line(const std::string &text)
{
	if (live_.ended())
		return;
	context_.output.line(text);
	if (context_.output.error() != 0)
		live_.stop();
}

void Feed::counted_line(const std::string &text)
{
	line(text);
	if (++counted_ == context_.options.count)
		live_.stop();
}

void Feed::call_failed(GError *error, bool fatal)
{
	if (says_service_gone(error)) {
		g_error_free(error);
		return;
	}
	// The service will be gone or asked again in a moment.
	fatal = fatal && !says_object_missing(error);
	explain_call_error(&error);
	if (fatal) {
		live_.fail(error);
		return;
	}
	report_line(error->message);
	g_error_free(error);
}

std::string Feed::presence_text(Presence presence) const
{
	std::string title = title_;

	if (presence == Presence::THERE)
		return title + " is there";
	if (presence_ == Presence::UNKNOWN)
		return title + " is not running; waiting for it";
	return title + " went away";
}

void Feed::show_presence(Presence presence)
{
	bool expected =
		presence_ == Presence::UNKNOWN && presence == Presence::THERE;
	bool running = presence == Presence::THERE;
	DateTimePtr now = local_now();

	if (expected || presence == presence_) {
		presence_ = presence;
		return;
	}
	if (json()) {
		JsonWriter writer;
		writer.member("type", "presence");
		writer.member("time", iso_time_text(now.get()));
		writer.member("running", running);
		line(writer.line());
	} else {
		Style style = running ? Style::PLAIN : Style::WARNING;
		line(output().styled(time_text(now.get()), Style::FAINT) + " " +
		     output().styled(presence_text(presence), style));
	}
	presence_ = presence;
}

bool Feed::run(std::function<void()> appeared, std::function<void()> vanished,
	       GError **error)
{
	live_.end_with_user(context_.output);
	NameWatch watch(
		connection_, name_,
		[this, &appeared] {
			show_presence(Presence::THERE);
			appeared();
		},
		[this, &vanished] {
			show_presence(Presence::GONE);
			vanished();
		});
	return live_.run(error);
}

} // namespace orvadctl
