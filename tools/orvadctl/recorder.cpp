#include "recorder.h"

#include "error.h"
#include "report.h"
#include "vcd-names.h"

#include <algorithm>
#include <map>

namespace orvadctl
{

namespace
{

VcdValue value_of(bool active)
{
	return active ? VcdValue::ONE : VcdValue::ZERO;
}

} // namespace

Recorder::Recorder(const Options &options, std::vector<std::string> arguments,
		   StatePtr daemon, VcdFile &file)
	: options_(options), file_(file), daemon_(std::move(daemon)),
	  follow_(std::move(arguments), daemon_.get(),
		  PortFollow::Listing::AGAIN,
		  {[this](const Announced &announced, const std::string &) {
			   take(announced);
		   },
		   [this](const std::vector<Port> &ports) { list(ports); },
		   [this](GError *error, bool fatal) {
			   call_failed(error, fatal);
		   }}),
	  live_(follow_.connection())
{
}

void Recorder::list(std::vector<Port> ports)
{
	std::stable_sort(ports.begin(), ports.end(),
			 [](const Port &one, const Port &other) {
				 return one.number < other.number;
			 });
	told_.clear();
	if (live_.ended() || (!writer_ && !begin(ports)))
		return;
	update(ports);
	tell_of_newcomers(ports);
	stop_if_not_written();
}

bool Recorder::begin(const std::vector<Port> &ports)
{
	GError *error = nullptr;
	std::vector<Identity> identities;
	std::vector<VcdVariable> variables;
	DateTimePtr now = local_now();

	if (!file_.begin(&error)) {
		live_.fail(error);
		return false;
	}
	begin_us_ = g_get_monotonic_time();
	summary_.ports = ports.size();
	for (const Port &port : ports) {
		identities.emplace_back(port.number, port.name);
		recorded_.push_back({identities.back(), true, port.active});
	}
	for (std::string &name : vcd_reference_names(identities))
		variables.push_back({std::move(name),
				     value_of(ports[variables.size()].active)});
	writer_.emplace(*file_.output());
	writer_->begin(iso_time_text(now.get()), std::move(variables));
	return true;
}

void Recorder::change(gint64 time_us, std::size_t index, VcdValue value)
{
	if (writer_->change(time_us - begin_us_, index, value))
		++summary_.changes;
	stop_if_not_written();
}

void Recorder::stop_if_not_written()
{
	if (file_.output()->error() != 0)
		live_.stop();
}

/// What was announced holds until the port is listed otherwise than before: a
/// simulated change is not listed.
void Recorder::update_one(std::size_t index, const Port *port, gint64 now_us)
{
	Recorded &recorded = recorded_[index];

	if (!port)
		change(now_us, index, VcdValue::UNKNOWN);
	else if (!recorded.listed || recorded.listed_active != port->active)
		change(now_us, index, value_of(port->active));
	recorded.listed = port != nullptr;
	recorded.listed_active = port && port->active;
}

/// Of several with the same name and number, each takes one.
void Recorder::update(const std::vector<Port> &ports)
{
	const gint64 now_us = g_get_monotonic_time();
	std::multimap<Identity, const Port *> listed;

	for (const Port &port : ports)
		listed.emplace(Identity(port.number, port.name), &port);
	for (std::size_t i = 0; i < recorded_.size(); ++i) {
		auto found = listed.find(recorded_[i].identity);
		if (found == listed.end()) {
			update_one(i, nullptr, now_us);
			continue;
		}
		update_one(i, found->second, now_us);
		listed.erase(found);
	}
}

/// The declarations have been written: a port cannot be added to them.
void Recorder::tell_of_newcomers(const std::vector<Port> &ports)
{
	for (const Port &port : ports) {
		const Identity identity(port.number, port.name);
		auto known = [&identity](const Recorded &recorded) {
			return recorded.identity == identity;
		};
		if (std::none_of(recorded_.begin(), recorded_.end(), known) &&
		    newcomers_.insert(identity).second)
			report_line(port_label(port.number, port.name) +
				    " came later and is not recorded");
	}
}

/// Among several ports of a number, the one that is listed last announces.
void Recorder::take(const Announced &announced)
{
	const Change &news = announced.change;
	auto found = std::find_if(recorded_.rbegin(), recorded_.rend(),
				  [&news](const Recorded &recorded) {
					  return recorded.identity.first ==
						 news.number;
				  });

	if (live_.ended() || news.kind != Change::Kind::CHANGED ||
	    found == recorded_.rend())
		return;
	change(announced.time_us,
	       static_cast<std::size_t>(recorded_.rend() - found - 1),
	       value_of(news.active));
}

void Recorder::lose()
{
	const gint64 now_us = g_get_monotonic_time();

	for (std::size_t i = 0; i < recorded_.size(); ++i)
		update_one(i, nullptr, now_us);
}

void Recorder::show_presence(bool there)
{
	const std::string news = presence_.update(there);

	if (!news.empty() && !live_.ended())
		report_line(news);
	if (!there)
		lose();
}

/// A failure that goes on is told of once.
void Recorder::tell(const std::string &sentence)
{
	if (!sentence.empty() && sentence != told_)
		report_line(sentence);
	told_ = sentence;
}

void Recorder::call_failed(GError *error, bool fatal)
{
	tell(live_.call_failed(error, fatal));
}

bool Recorder::finish(bool ended_well, GError **error)
{
	if (writer_) {
		summary_.duration_us = g_get_monotonic_time() - begin_us_;
		writer_->end(summary_.duration_us);
		return ended_well;
	}
	if (ended_well)
		set_failure(error,
			    "nothing was recorded: the port daemon did not "
			    "list its ports%s",
			    live_.timed_out() ? " in time" : "");
	return false;
}

bool Recorder::run(GError **error)
{
	live_.end_with_user();
	// What is made only later is no pipe.
	if (const Output *output = file_.output())
		live_.end_with_reader(*output);
	if (options_.duration_ms != 0)
		live_.end_after(options_.duration_ms);
	const NameWatch watch = follow_.watch_daemon(
		[this](bool there) { show_presence(there); });

	return finish(live_.run(error), error);
}

} // namespace orvadctl
