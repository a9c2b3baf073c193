#include "iio-trigger-files.h"

#include "attribute.h"
#include "udev-rule.h"

namespace simboard
{

namespace
{

/// Every folder in it is a trigger.
class TriggerFolder : public Folder
{
public:
	explicit TriggerFolder(IioTriggers &triggers) : triggers_(triggers)
	{
	}

	int make_child(const std::string &name, pid_t process) override
	{
		int error = triggers_.make(name, process);
		if (error == 0)
			add(name, std::make_shared<Folder>());
		return error;
	}
	int remove_child(const std::string &name, pid_t process) override
	{
		int error = triggers_.remove(name, process);
		if (error == 0)
			drop(name);
		return error;
	}

private:
	IioTriggers &triggers_;
};

std::string folder_name(const IioTrigger &trigger)
{
	return "trigger" + std::to_string(trigger.number);
}

std::shared_ptr<Folder> make_folder(IioTriggers &triggers,
				    const IioTriggerPtr &trigger,
				    const BoardDescription &board)
{
	auto folder = std::make_shared<Folder>();
	auto show_name = [trigger](std::string &text) {
		text = trigger->name + "\n";
		return 0;
	};
	auto show_frequency = [trigger](std::string &text) {
		text = micro_text(trigger->frequency()) + "\n";
		return 0;
	};
	auto store_frequency = [&triggers, trigger](std::string_view text,
						    pid_t process) {
		return triggers.set_frequency(*trigger, text, process);
	};

	folder->add("name",
		    std::make_shared<Attribute>(READ_ONLY, show_name, nullptr));
	folder->add("sampling_frequency",
		    std::make_shared<Attribute>(READ_WRITE, show_frequency,
						store_frequency));
	for (auto &[name, node] : folder->children())
		apply_udev_rule(*node, board);
	return folder;
}

} // namespace

std::shared_ptr<Folder> make_trigger_folder(IioTriggers &triggers,
					    const BoardDescription &board,
					    std::shared_ptr<Folder> devices)
{
	IioTriggerListener listener;

	listener.added = [&triggers, &board,
			  devices](const IioTriggerPtr &trigger) {
		devices->add(folder_name(*trigger),
			     make_folder(triggers, trigger, board));
	};
	listener.removed = [devices](const IioTriggerPtr &trigger) {
		devices->drop(folder_name(*trigger));
	};
	triggers.listen(std::move(listener));
	return std::make_shared<TriggerFolder>(triggers);
}

} // namespace simboard
