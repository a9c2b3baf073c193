#include "command.h"
#include "error.h"
#include "live.h"
#include "port-output.h"
#include "pulse-steps.h"
#include "text.h"

namespace orvadctl
{

namespace
{

constexpr gint64 US_PER_MS = 1000;

/// One sequence, from the call that starts it to its end.
class Pulse
{
public:
	Pulse(const Target &target, std::vector<Step> steps, bool simulated);

	/// Starts the sequence; with wait, also waits for its end.
	bool run(bool wait, GError **error);

private:
	void start();
	void on_started(GAsyncResult *result);
	void on_done(GVariant *arguments);
	bool may_have_ended() const;
	void limit_wait();
	void on_overdue();
	GDBusConnection *connection() const
	{
		return g_dbus_proxy_get_connection(
			G_DBUS_PROXY(target_.daemon.get()));
	}

	const Target &target_;
	std::vector<Step> steps_;
	bool simulated_;
	bool wait_ = true;
	bool started_ = false;
	bool ended_ = false;
	gint64 asked_us_ = 0; ///< When the start was asked for.
	Live live_;
	util::ScopedSource overdue_;
};

Pulse::Pulse(const Target &target, std::vector<Step> steps, bool simulated)
	: target_(target), steps_(std::move(steps)), simulated_(simulated),
	  live_(connection())
{
}

void Pulse::start()
{
	asked_us_ = g_get_monotonic_time();
	iocontrol_state_call_start_action_sequence(
		target_.daemon.get(), static_cast<guint>(target_.port->number),
		simulated_, steps_to_variant(steps_), nullptr,
		[](GObject *, GAsyncResult *result, gpointer self) {
			static_cast<Pulse *>(self)->on_started(result);
		},
		this);
}

void Pulse::on_started(GAsyncResult *result)
{
	GError *error = nullptr;

	if (!iocontrol_state_call_start_action_sequence_finish(
		    target_.daemon.get(), result, &error)) {
		explain_port_error(&error, *target_.port);
		live_.fail(error);
		return;
	}
	started_ = true;
	if (!wait_ || ended_)
		live_.stop();
	else
		limit_wait();
}

/// The daemon gets the time of one call on top of what the steps take.
void Pulse::limit_wait()
{
	gint64 patience_ms =
		total_ms(steps_) + g_dbus_proxy_get_default_timeout(
					   G_DBUS_PROXY(target_.daemon.get()));

	overdue_.reset(g_timeout_add(
		static_cast<guint>(MIN(patience_ms, G_MAXUINT)),
		[](gpointer self) -> gboolean {
			static_cast<Pulse *>(self)->on_overdue();
			return G_SOURCE_CONTINUE;
		},
		this));
}

/// A done signal that comes before the answer to the start may belong to the
/// port's sequence before this one. It belongs to this one only if the steps
/// have had their time.
bool Pulse::may_have_ended() const
{
	gint64 elapsed_us = g_get_monotonic_time() - asked_us_;

	return started_ || elapsed_us >= total_ms(steps_) * US_PER_MS;
}

void Pulse::on_done(GVariant *arguments)
{
	gint32 number = -1;

	if (!check_arguments(arguments, "(i)", "ActionSequenceDone"))
		return;
	g_variant_get(arguments, "(i)", &number);
	if (number != target_.port->number || !may_have_ended())
		return;
	ended_ = true;
	if (started_)
		live_.stop();
}

void Pulse::on_overdue()
{
	GError *error = nullptr;

	set_failure(
		&error,
		"%s: the sequence was started, but the daemon has not "
		"announced its end",
		port_label(target_.port->number, target_.port->name).c_str());
	live_.fail(error);
}

bool Pulse::run(bool wait, GError **error)
{
	// The signal may come right after the answer: listen before asking.
	Subscription done(
		connection(), STATE_NAME, STATE_NAME, STATE_PATH,
		"ActionSequenceDone",
		[](GDBusConnection *, const char *, const char *, const char *,
		   const char *, GVariant *arguments, gpointer self) {
			static_cast<Pulse *>(self)->on_done(arguments);
		},
		this);
	NameWatch presence(
		connection(), STATE_NAME, [] {},
		[this] {
			GError *gone = nullptr;
			set_failure(&gone, "the port daemon went away before "
					   "the sequence had ended");
			live_.fail(gone);
		});

	wait_ = wait;
	start();
	return live_.run(error);
}

void show_text(Output &output, const Port &port, const char *what,
	       bool simulated)
{
	output.line(escape(port_label(port.number, port.name)) + ": sequence " +
		    what + (simulated ? " (simulated)" : ""));
}

void show_json(Output &output, const Port &port, const std::vector<Step> &steps,
	       bool simulated, bool done)
{
	JsonWriter json;

	add_port_reference(json, port.number, port.name);
	json.member("simulated", simulated);
	json.begin_array("steps");
	for (const Step &step : steps) {
		json.begin_object();
		json.member("active", step.active);
		json.member("ms", step.ms);
		json.end_object();
	}
	json.end_array();
	json.member("done", done);
	output.line(json.document());
}

bool run_pulse(Context &context, GError **error)
{
	const std::vector<std::string> &arguments = context.options.arguments;
	std::vector<Step> steps;
	Target target;
	bool wait = !context.options.no_wait;

	if (!parse_steps({arguments.begin() + 1, arguments.end()}, steps,
			 error) ||
	    !find_reachable_target(context, target, error))
		return false;
	bool simulated = is_simulated(context, *target.port);
	Pulse pulse(target, steps, simulated);
	if (!pulse.run(wait, error))
		return false;
	if (context.options.json)
		show_json(context.output, *target.port, steps, simulated, wait);
	else
		show_text(context.output, *target.port,
			  wait ? "done" : "started", simulated);
	return true;
}

} // namespace

const Command PULSE_COMMAND = {
	"pulse",
	"PORT STEP...",
	"switch an output on and off in time",
	"Holds the output PORT active for the first STEP, a time in "
	"milliseconds,\n"
	"inactive for the second, and so on, ends inactive, and waits until\n"
	"that is done. The daemon plays the sequence; it goes on when this\n"
	"command is interrupted. A port without hardware is always simulated.\n"
	"\n"
	"A STEP may have a state instead: on:500, off:200, or on alone, which "
	"takes\n"
	"no time. Then each must, the steps are played as they are, and the "
	"port\n"
	"stays in the state of the last: \"off:200 on\" ends active.\n"
	"\n"
	"JSON: {\"number\", \"name\": text or null, \"simulated\": bool,\n"
	"\"steps\": [{\"active\": bool, \"ms\": number}], \"done\": bool}; "
	"done is\n"
	"false with --no-wait.",
	OPTION_VIRTUAL | OPTION_NO_WAIT,
	2,
	ANY_NUMBER,
	run_pulse,
};

} // namespace orvadctl
