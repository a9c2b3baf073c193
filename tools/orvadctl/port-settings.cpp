#include "port-settings.h"

namespace orvadctl
{

bool fetch_levels(IOControlState *daemon, const Port &port,
		  ActiveLevels &levels, GError **error)
{
	char *input = nullptr;
	char *output = nullptr;

	bool answered = iocontrol_state_call_get_active_sync(
		daemon, static_cast<guint>(port.number), &input, &output,
		nullptr, error);
	util::CharPtr owned_input(input);
	util::CharPtr owned_output(output);
	if (!answered) {
		explain_port_error(error, port);
		return false;
	}
	levels = {input, output};
	return true;
}

bool fetch_usage(IOControlState *daemon, const Port &port, std::string &usage,
		 GError **error)
{
	char *text = nullptr;

	bool answered = iocontrol_state_call_get_usage_sync(
		daemon, static_cast<guint>(port.number), &text, nullptr, error);
	util::CharPtr owned(text);
	if (!answered) {
		explain_port_error(error, port);
		return false;
	}
	usage = text;
	return true;
}

} // namespace orvadctl
