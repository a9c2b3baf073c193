#include "command.h"
#include "feed.h"
#include "setting-change.h"
#include "text.h"
#include "timestamp.h"

namespace orvadctl
{

namespace
{

/// Follows every producer of the configuration event service.
class SettingsFeed
{
public:
	SettingsFeed(Context &context, ConnectionPtr connection);

	bool run(GError **error);

private:
	void on_changed(const char *path, GVariant *arguments);
	std::string changed_line(const std::string &producer,
				 const SettingChange &change) const;

	ConnectionPtr connection_;
	Feed feed_;
};

SettingsFeed::SettingsFeed(Context &context, ConnectionPtr connection)
	: connection_(std::move(connection)),
	  feed_(context, connection_.get(), CONFIGURATION_NAME,
		"the configuration event service")
{
}

std::string SettingsFeed::changed_line(const std::string &producer,
				       const SettingChange &change) const
{
	DateTimePtr now = local_now();

	if (!feed_.json())
		return feed_.output().styled(time_text(now.get()),
					     Style::FAINT) +
		       " " + escape(producer) + " " +
		       setting_change_text(change);
	JsonWriter json;
	json.member("type", "setting");
	json.member("time", iso_time_text(now.get()));
	json.member("producer", producer);
	add_setting_change(json, change);
	return json.line();
}

void SettingsFeed::on_changed(const char *path, GVariant *arguments)
{
	const std::string prefix = std::string(CONFIGURATION_ROOT) + "/";

	if (!g_str_has_prefix(path, prefix.c_str()) ||
	    !check_arguments(arguments, CHANGED_TYPE, "Changed"))
		return;
	feed_.counted_line(changed_line(
		path + prefix.size(), setting_change_from_variant(arguments)));
}

bool SettingsFeed::run(GError **error)
{
	Subscription changes(
		connection_.get(), CONFIGURATION_NAME, CONFIGURATION_INTERFACE,
		nullptr, "Changed",
		[](GDBusConnection *, const char *, const char *path,
		   const char *, const char *, GVariant *arguments,
		   gpointer self) {
			static_cast<SettingsFeed *>(self)->on_changed(
				path, arguments);
		},
		this);

	return feed_.run([] {}, [] {}, error);
}

bool run_settings(Context &context, GError **error)
{
	ConnectionPtr connection = open_bus(error);

	return connection &&
	       SettingsFeed(context, std::move(connection)).run(error);
}

} // namespace

const Command SETTINGS_COMMAND = {
	"settings",
	"",
	"show changes of settings as they are announced",
	"Shows each change of a setting that the daemon announces to the "
	"older\n"
	"configuration system, until interrupted: who announces it, the object "
	"and its\n"
	"interface, the property and its new value. Says when the "
	"configuration event\n"
	"service goes away and comes back, and waits for one that is not there "
	"yet.\n"
	"--count counts changes.\n"
	"\n"
	"JSON, an object in each line, told apart by \"type\":\n"
	"\"setting\": \"time\" (ISO 8601), \"producer\", "
	"\"source_interface\",\n"
	"  \"source_object\" (whose change caused it), \"target_interface\",\n"
	"  \"target_object\" (what has changed), \"kind\": number, \"change\"\n"
	"\"presence\": \"time\", \"running\": bool (the service)",
	OPTION_COUNT | OPTION_FOR,
	0,
	0,
	run_settings,
};

} // namespace orvadctl
