#include "dbus/legacy-counts.h"

#include "dbus/legacy-object.h"
#include "ioport/port-list.h"

#include <vxconfevent.h>

namespace
{

constexpr const char *kProducer = "orvad";

using ChangePtr = util::Handle<ConfigurationChange, configuration_change_free>;

EventProducer *event_producer = nullptr;
ConfigurationEvent *configuration_event = nullptr;

void announce(const char *property, unsigned count)
{
	const std::string object = legacy::path_of(legacy::kGlobalObject);
	const ChangePtr change(configuration_change_new());
	configuration_change_append_escaped(change.get(), property,
					    std::to_string(count).c_str());
	configuration_event_send(configuration_event, legacy::kPortInterface,
				 object.c_str(), legacy::kPortInterface,
				 object.c_str(), CONFIGURATION_CHANGE_PROPERTY,
				 change.get(), nullptr);
}

} // namespace

void legacy_counts_init()
{
	event_producer = event_producer_new(kProducer);
	configuration_event =
		configuration_event_new(event_producer, kProducer);
	if (configuration_event == nullptr)
		return;
	configuration_event_declare(
		configuration_event, legacy::kPortInterface,
		legacy::path_of(legacy::kGlobalObject).c_str(), nullptr);
	legacy_counts_announce();
}

/// What could not be withdrawn may be used still, and is left alone.
void legacy_counts_finalize()
{
	if (configuration_event == nullptr) {
		event_producer_free(std::exchange(event_producer, nullptr));
		return;
	}
	if (configuration_event_undeclare(
		    configuration_event, legacy::kPortInterface,
		    legacy::path_of(legacy::kGlobalObject).c_str(), nullptr)) {
		configuration_event_free(configuration_event);
		event_producer_free(event_producer);
	}
	configuration_event = nullptr;
	event_producer = nullptr;
}

void legacy_counts_announce()
{
	if (configuration_event == nullptr)
		return;
	announce("NbrOfInputs", io_port_list_nbr_inputs());
	announce("NbrOfOutputs", io_port_list_nbr_outputs());
}
