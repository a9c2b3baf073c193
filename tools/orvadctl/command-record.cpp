#include "command.h"
#include "json-writer.h"
#include "recorder.h"
#include "text.h"

namespace orvadctl
{

namespace
{

constexpr double US_PER_SECOND = G_USEC_PER_SEC;

std::string counted(guint64 number, const char *what)
{
	return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

std::string duration_text(gint64 us)
{
	char text[G_ASCII_DTOSTR_BUF_SIZE];

	return g_ascii_formatd(text, sizeof text, "%.3f",
			       static_cast<double>(us) / US_PER_SECOND);
}

void show(Context &context, const Recorder::Summary &summary)
{
	if (context.options.json) {
		JsonWriter json;
		json.member("ports", summary.ports);
		json.member("changes", summary.changes);
		json.member("seconds",
			    static_cast<double>(summary.duration_us) /
				    US_PER_SECOND);
		context.output.line(json.document());
		return;
	}
	context.output.line(counted(summary.changes, "change") + " of " +
			    counted(summary.ports, "port") + " in " +
			    duration_text(summary.duration_us) + " s");
}

bool run_record(Context &context, GError **error)
{
	std::vector<std::string> ports = context.options.arguments;
	const std::string path = ports.front();
	StatePtr daemon = open_daemon(context.options.timeout_ms, error);

	ports.erase(ports.begin());
	if (!daemon)
		return false;
	auto file = VcdFile::open(path, context.output, error);
	if (!file)
		return false;
	Recorder recorder(context.options, std::move(ports), std::move(daemon),
			  *file);
	if (!recorder.run(error) || !file->close(error))
		return false;
	if (!file->is_standard_output())
		show(context, recorder.summary());
	return true;
}

} // namespace

const Command RECORD_COMMAND = {
	"record",
	"FILE [PORT...]",
	"record changes for a waveform viewer",
	"Records the states of the PORTs, or of all, as a value change dump\n"
	"(VCD) for a waveform viewer, until interrupted: 1 is active, 0 "
	"inactive,\n"
	"x not known, since the port is out of service or the daemon not "
	"there.\n"
	"Waits for a daemon that is not there yet.\n"
	"\n"
	"FILE \"-\" is standard output. A FILE that is there is overwritten, "
	"once\n"
	"the daemon has listed its ports; that is the time 0. Times are those "
	"at\n"
	"which changes arrive, in us of the system's monotonic clock. That a "
	"port\n"
	"was dropped or brought back is noticed within a second. Each change "
	"is\n"
	"written at once: a recording that is cut off can be read up to "
	"there.\n"
	"A port that came later than time 0 is not recorded; standard error "
	"tells.\n"
	"\n"
	"Fails, and leaves FILE alone, when it ends before there was anything "
	"to\n"
	"record.\n"
	"\n"
	"JSON, at the end, unless FILE is \"-\": {\"ports\": number,\n"
	"\"changes\": number, \"seconds\": number}",
	OPTION_FOR,
	1,
	ANY_NUMBER,
	run_record,
};

} // namespace orvadctl
