#include "feed.h"

#include "json-writer.h"
#include "report.h"
#include "timestamp.h"

namespace orvadctl
{

Feed::Feed(Context &context, GDBusConnection *connection, const char *name,
	   const char *title)
	: context_(context), connection_(connection), name_(name),
	  live_(connection), presence_(title)
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
	const std::string sentence = live_.call_failed(error, fatal);

	if (!sentence.empty())
		report_line(sentence);
}

void Feed::show_presence(bool running)
{
	const std::string news = presence_.update(running);
	DateTimePtr now = local_now();

	if (news.empty())
		return;
	if (json()) {
		JsonWriter writer;
		writer.member("type", "presence");
		writer.member("time", iso_time_text(now.get()));
		writer.member("running", running);
		line(writer.line());
	} else {
		Style style = running ? Style::PLAIN : Style::WARNING;
		line(output().styled(time_text(now.get()), Style::FAINT) + " " +
		     output().styled(news, style));
	}
}

bool Feed::run(std::function<void()> appeared, std::function<void()> vanished,
	       GError **error)
{
	live_.end_with_user();
	live_.end_with_reader(context_.output);
	if (context_.options.duration_ms != 0)
		live_.end_after(context_.options.duration_ms);
	NameWatch watch(
		connection_, name_,
		[this, &appeared] {
			show_presence(true);
			appeared();
		},
		[this, &vanished] {
			show_presence(false);
			vanished();
		});
	return live_.run(error);
}

} // namespace orvadctl
