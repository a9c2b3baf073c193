#include "command.h"
#include "error.h"
#include "json-writer.h"
#include "text.h"

#include <algorithm>

namespace orvadctl
{

namespace
{

using Names = std::vector<std::string>;

/// Asks for it. A name that is not UTF-8 cannot be sent, and no port has it.
bool drop(IOControlState *daemon, const Names &names, Names &dropped,
	  GError **error)
{
	std::vector<const char *> asked;
	char **answered = nullptr;

	for (const std::string &name : names)
		if (g_utf8_validate(name.c_str(), -1, nullptr))
			asked.push_back(name.c_str());
	asked.push_back(nullptr);
	if (!iocontrol_state_call_drop_ioports_sync(
		    daemon, asked.data(), &answered, nullptr, error)) {
		explain_call_error(error);
		return false;
	}
	util::StrvPtr owned(answered);
	dropped.assign(answered, answered + g_strv_length(answered));
	return true;
}

bool contains(const Names &names, const std::string &name)
{
	return std::find(names.begin(), names.end(), name) != names.end();
}

/// The names that are not among those that were dropped, each once.
Names left_in_service(const Names &names, const Names &dropped)
{
	Names left;

	for (const std::string &name : names)
		if (!contains(dropped, name) && !contains(left, name))
			left.push_back(name);
	return left;
}

void show(Context &context, const Names &dropped, const Names &left)
{
	if (context.options.json) {
		JsonWriter json;
		json.member("dropped", dropped);
		json.member("not_dropped", left);
		context.output.line(json.document());
		return;
	}
	for (const std::string &name : dropped)
		context.output.line(quote(name) + ": dropped");
}

bool check_none(const Names &left, GError **error)
{
	std::string list;

	if (left.empty())
		return true;
	for (const std::string &name : left)
		list += (list.empty() ? "\"" : ", \"") + name + "\"";
	set_failure(error, "not dropped, unknown or not optional: %s",
		    list.c_str());
	return false;
}

bool run_drop(Context &context, GError **error)
{
	const Names &names = context.options.arguments;
	StatePtr daemon = open_daemon(context.options.timeout_ms, error);
	Names dropped;

	if (!daemon || !drop(daemon.get(), names, dropped, error))
		return false;
	Names left = left_in_service(names, dropped);
	show(context, dropped, left);
	return check_none(left, error);
}

} // namespace

const Command DROP_COMMAND = {
	"drop",
	"NAME...",
	"take optional ports out of service",
	"Takes the ports with these configuration names out of service: their\n"
	"hardware is released until \"refresh\" brings them back. Only ports "
	"that\n"
	"the configuration marks optional can be dropped; what cannot is told "
	"once\n"
	"the others are, and the exit status is 1.\n"
	"\n"
	"JSON: {\"dropped\": [text], \"not_dropped\": [text]}.",
	OPTIONS_COMMON,
	1,
	ANY_NUMBER,
	run_drop,
};

} // namespace orvadctl
