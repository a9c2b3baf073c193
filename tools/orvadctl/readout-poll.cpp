#include "readout-poll.h"

#include <utility>

namespace orvadctl
{

namespace
{

constexpr guint INTERVAL_MS = 200;
constexpr gint64 RANGES_INTERVAL_US = G_USEC_PER_SEC;
/// A level that is older than this must not be taken for the present one.
constexpr gint64 PATIENCE_US = G_USEC_PER_SEC;
constexpr const char *NO_ANSWER = "the port daemon does not answer";

/// What to say of an error, which is freed.
std::string sentence(GError *error,
		     void (*explain)(GError **) = explain_supervised_error)
{
	std::string text = NO_ANSWER;

	if (!says_no_answer(error)) {
		explain(&error);
		text = error->message;
	}
	g_error_free(error);
	return text;
}

} // namespace

ReadoutPoll::ReadoutPoll(std::string argument, IOControlState *daemon,
			 IOSupervisedSupervised *supervised, Report report,
			 Failed failed)
	: argument_(std::move(argument)), daemon_(daemon),
	  supervised_(supervised), tell_(std::move(report)),
	  failed_(std::move(failed))
{
}

void ReadoutPoll::start()
{
	found_ = false;
	complained_ = false;
	ranges_due_us_ = 0;
	ticking_.reset(g_timeout_add(
		INTERVAL_MS,
		[](gpointer self) -> gboolean {
			static_cast<ReadoutPoll *>(self)->tick();
			return G_SOURCE_CONTINUE;
		},
		this));
	tick();
}

void ReadoutPoll::stop()
{
	ticking_.reset();
}

void ReadoutPoll::tick()
{
	const gint64 now_us = g_get_monotonic_time();

	if (asking_) {
		if (now_us - asked_us_ > PATIENCE_US)
			tell_overdue();
	} else if (!found_) {
		ask_ports();
	} else if (now_us >= ranges_due_us_) {
		ranges_due_us_ = now_us + RANGES_INTERVAL_US;
		ask_ranges();
	} else {
		ask_readout();
	}
}

void ReadoutPoll::tell_overdue()
{
	if (ever_found_)
		tell_problem(NO_ANSWER);
}

/// Of a daemon that has gone, only that it has matters.
void ReadoutPoll::tell_problem(std::string problem)
{
	report_.readout.reset();
	report_.problem = std::move(problem);
	if (running())
		tell_(report_);
}

void ReadoutPoll::begin_call()
{
	asking_ = true;
	asked_us_ = g_get_monotonic_time();
}

void ReadoutPoll::ask_ports()
{
	begin_call();
	iocontrol_state_call_get_port_props(
		daemon_, nullptr, answer<&ReadoutPoll::on_ports>, this);
}

bool ReadoutPoll::take_ports(GAsyncResult *result, std::vector<Port> &ports,
			     GError **error)
{
	gint count = 0;
	GVariant *listed = nullptr;

	if (!iocontrol_state_call_get_port_props_finish(daemon_, &count,
							&listed, result, error))
		return false;
	util::VariantPtr owned(listed);
	return ports_from_variant(listed, ports, error);
}

bool ReadoutPoll::take_port(const std::vector<Port> &ports, GError **error)
{
	const Port *port = select_port(ports, argument_, error);

	if (!port || !check_reachable(ports, *port, error))
		return false;
	report_.port = *port;
	return true;
}

void ReadoutPoll::on_ports(GAsyncResult *result)
{
	GError *error = nullptr;
	std::vector<Port> ports;

	asking_ = false;
	if (!take_ports(result, ports, &error)) {
		listing_failed(error);
		return;
	}
	if (!take_port(ports, &error)) {
		if (!ever_found_) {
			failed_(error);
			return;
		}
		// An optional port may come back later, with its number.
		g_error_free(error);
	}
	found_ = true;
	ever_found_ = true;
	if (running())
		tick();
}

/// It is tried again. A daemon that is just starting is told of once.
void ReadoutPoll::listing_failed(GError *error)
{
	const bool starting = says_object_missing(error);

	if (ever_found_) {
		tell_problem(sentence(error, explain_call_error));
	} else if (starting && complained_) {
		g_error_free(error);
	} else {
		complained_ = starting;
		failed_(error);
	}
}

void ReadoutPoll::ask_ranges()
{
	begin_call();
	iosupervised_supervised_call_get_supervised_ranges(
		supervised_, number(), nullptr, answer<&ReadoutPoll::on_ranges>,
		this);
}

bool ReadoutPoll::take_ranges(GAsyncResult *result, GError **error)
{
	GVariant *listed = nullptr;

	if (!iosupervised_supervised_call_get_supervised_ranges_finish(
		    supervised_, &listed, result, error))
		return false;
	util::VariantPtr owned(listed);
	return ranges_from_variant(listed, report_.ranges, error);
}

void ReadoutPoll::on_ranges(GAsyncResult *result)
{
	GError *error = nullptr;

	asking_ = false;
	report_.ranges_problem.clear();
	if (!take_ranges(result, &error)) {
		report_.ranges.clear();
		report_.ranges_problem = sentence(error);
	}
	if (running())
		ask_readout();
}

void ReadoutPoll::ask_readout()
{
	begin_call();
	iosupervised_supervised_call_get_supervised_readout(
		supervised_, number(), nullptr,
		answer<&ReadoutPoll::on_readout>, this);
}

bool ReadoutPoll::take_readout(GAsyncResult *result, GError **error)
{
	char *state = nullptr;
	guint level = 0;

	if (!iosupervised_supervised_call_get_supervised_readout_finish(
		    supervised_, &state, &level, result, error))
		return false;
	util::CharPtr owned(state);
	report_.readout = Readout{state, level};
	return true;
}

void ReadoutPoll::on_readout(GAsyncResult *result)
{
	GError *error = nullptr;

	asking_ = false;
	if (!take_readout(result, &error)) {
		tell_problem(sentence(error));
		return;
	}
	report_.problem.clear();
	if (running())
		tell_(report_);
}

} // namespace orvadctl
