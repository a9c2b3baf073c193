#include "command.h"
#include "event-service.h"
#include "feed.h"
#include "text.h"
#include "timestamp.h"

#include <map>

namespace orvadctl
{

namespace
{

/// first and second with a blank between, unless second is empty.
std::string join(std::string first, const std::string &second)
{
	return second.empty() ? first : first + ' ' + second;
}

/// A call's answer, or null with error set.
util::VariantPtr finish_call(GObject *connection, GAsyncResult *result,
			     GError **error)
{
	return util::VariantPtr(g_dbus_connection_call_finish(
		G_DBUS_CONNECTION(connection), result, error));
}

/// Follows every producer of the event service. Each time that the service
/// appears, its producers and their declarations are asked for and shown;
/// signals that come in before all that is known are held back until it is.
class Events
{
public:
	Events(Context &context, ConnectionPtr connection);

	bool run(GError **error);

private:
	/// A producer's name and a declaration's id.
	using Id = std::pair<std::string, guint32>;

	struct Received {
		std::string producer;
		std::string signal;
		util::VariantPtr arguments;
		DateTimePtr time;
	};

	/// What a call for a producer's declarations needs when it is answered.
	struct Listing {
		Events *events;
		std::string producer;
	};

	void find_producers();
	void on_introspected(GVariant *answer);
	void list(const std::string &producer);
	void on_listed(const std::string &producer, GVariant *answer);
	void call(const EventServiceCall &call, GAsyncReadyCallback done,
		  gpointer user_data);
	void call_done(GError *error);

	void on_signal(const char *path, const char *signal,
		       GVariant *arguments);
	void release_held();
	void show(const Received &received);
	void show_declared(const Received &received);
	void show_undeclared(const Received &received);
	void show_event(const Received &received);

	const Declaration *find(const Id &id) const;
	std::string declared_line(const char *type, const Id &id,
				  GDateTime *time) const;
	JsonWriter start_json(const char *type, const Id &id,
			      const Values &values, GDateTime *time) const;
	std::string start_text(const char *type, const Id &id,
			       const Values &values, GDateTime *time) const;

	ConnectionPtr connection_;
	gint timeout_ms_;
	Feed feed_;
	unsigned calls_ = 0; ///< Answers that are still to come.
	bool ever_listed_ = false;
	std::map<Id, Declaration> declarations_;
	std::vector<Received> held_;
};

Events::Events(Context &context, ConnectionPtr connection)
	: connection_(std::move(connection)),
	  timeout_ms_(context.options.timeout_ms),
	  feed_(context, connection_.get(), EVENTS_NAME, "the event service")
{
}

void Events::call(const EventServiceCall &call, GAsyncReadyCallback done,
		  gpointer user_data)
{
	++calls_;
	g_dbus_connection_call(connection_.get(), EVENTS_NAME,
			       call.path.c_str(), call.interface, call.method,
			       nullptr, G_VARIANT_TYPE(call.answer_type),
			       G_DBUS_CALL_FLAGS_NO_AUTO_START, timeout_ms_,
			       nullptr, done, user_data);
}

/// @param error null when the call was answered; taken over.
void Events::call_done(GError *error)
{
	--calls_;
	if (error)
		feed_.call_failed(error, !ever_listed_);
	if (calls_ > 0)
		return;
	ever_listed_ = true;
	release_held();
}

void Events::find_producers()
{
	call(
		producers_call(),
		[](GObject *source, GAsyncResult *result, gpointer user_data) {
			auto *self = static_cast<Events *>(user_data);
			GError *error = nullptr;
			auto answer = finish_call(source, result, &error);

			if (answer)
				self->on_introspected(answer.get());
			self->call_done(error);
		},
		this);
}

void Events::on_introspected(GVariant *answer)
{
	std::vector<std::string> producers;
	GError *error = nullptr;

	if (!producers_from_answer(answer, producers, &error)) {
		feed_.call_failed(error, !ever_listed_);
		return;
	}
	for (const std::string &producer : producers)
		list(producer);
}

void Events::list(const std::string &producer)
{
	call(
		declarations_call(producer),
		[](GObject *source, GAsyncResult *result, gpointer user_data) {
			std::unique_ptr<Listing> listing(
				static_cast<Listing *>(user_data));
			GError *error = nullptr;
			auto answer = finish_call(source, result, &error);

			if (answer)
				listing->events->on_listed(listing->producer,
							   answer.get());
			listing->events->call_done(error);
		},
		new Listing{this, producer});
}

void Events::on_listed(const std::string &producer, GVariant *answer)
{
	DateTimePtr now = local_now();

	for (auto &[number, declaration] : declarations_from_answer(answer)) {
		Id id(producer, number);
		declarations_[id] = std::move(declaration);
		feed_.line(declared_line("live", id, now.get()));
	}
}

const Declaration *Events::find(const Id &id) const
{
	auto found = declarations_.find(id);

	return found == declarations_.end() ? nullptr : &found->second;
}

void Events::on_signal(const char *path, const char *signal,
		       GVariant *arguments)
{
	std::string prefix = std::string(EVENTS_ROOT) + "/";

	if (!g_str_has_prefix(path, prefix.c_str()))
		return;
	held_.push_back({path + prefix.size(), signal,
			 util::VariantPtr(g_variant_ref(arguments)),
			 local_now()});
	if (calls_ == 0)
		release_held();
}

void Events::release_held()
{
	std::vector<Received> held = std::exchange(held_, {});

	for (const Received &received : held)
		show(received);
}

void Events::show(const Received &received)
{
	struct Shown {
		const char *signal;
		const char *type;
		void (Events::*show)(const Received &);
	};
	static constexpr Shown SHOWN[] = {
		{"Declared", "(ua{sv})", &Events::show_declared},
		{"Undeclared", "(u)", &Events::show_undeclared},
		{"Event", "(ua{sv})", &Events::show_event},
	};

	for (const Shown &shown : SHOWN)
		if (received.signal == shown.signal &&
		    check_arguments(received.arguments.get(), shown.type,
				    shown.signal))
			(this->*shown.show)(received);
}

void Events::show_declared(const Received &received)
{
	guint32 number = 0;
	GVariant *child = nullptr;

	g_variant_get(received.arguments.get(), "(u@a{sv})", &number, &child);
	util::VariantPtr description(child);
	Id id(received.producer, number);
	// Declared while the live ones were asked for: shown among those.
	if (find(id))
		return;
	auto declaration = read_declaration(description.get());
	if (!declaration)
		return;
	declarations_[id] = std::move(*declaration);
	feed_.counted_line(declared_line("declared", id, received.time.get()));
}

void Events::show_undeclared(const Received &received)
{
	guint32 number = 0;

	g_variant_get(received.arguments.get(), "(u)", &number);
	Id id(received.producer, number);
	const Declaration *known = find(id);
	Values none;
	const Values &values = known ? known->keys : none;

	feed_.counted_line(feed_.json() ? start_json("undeclared", id, values,
						     received.time.get())
						  .line()
					: start_text("undeclared", id, values,
						     received.time.get()));
	declarations_.erase(id);
}

void Events::show_event(const Received &received)
{
	guint32 number = 0;
	GVariant *child = nullptr;

	g_variant_get(received.arguments.get(), "(u@a{sv})", &number, &child);
	util::VariantPtr dictionary(child);
	Values values = values_from_variant(child);
	Id id(received.producer, number);

	if (feed_.json()) {
		JsonWriter json =
			start_json("event", id, values, received.time.get());
		add_values(json, values);
		feed_.counted_line(json.line());
	} else {
		feed_.counted_line(join(
			start_text("event", id, values, received.time.get()),
			values_text(values)));
	}
}

std::string Events::declared_line(const char *type, const Id &id,
				  GDateTime *time) const
{
	const Declaration &declaration = declarations_.at(id);

	if (!feed_.json())
		return join(start_text(type, id, declaration.keys, time),
			    declaration_text(declaration));
	JsonWriter json = start_json(type, id, declaration.keys, time);
	add_declaration(json, declaration);
	return json.line();
}

JsonWriter Events::start_json(const char *type, const Id &id,
			      const Values &values, GDateTime *time) const
{
	JsonWriter json;

	json.member("type", type);
	json.member("time", iso_time_text(time));
	json.member("producer", id.first);
	json.member("id", id.second);
	json.member("topic", topic_text(values, find(id)));
	return json;
}

std::string Events::start_text(const char *type, const Id &id,
			       const Values &values, GDateTime *time) const
{
	const Output &output = feed_.output();
	std::string topic = topic_text(values, find(id));

	return output.styled(time_text(time), Style::FAINT) + " " +
	       escape(id.first) + " #" + std::to_string(id.second) + " " +
	       output.styled(type, Style::HEADING) + " " +
	       (topic.empty() ? "-" : escape(topic));
}

bool Events::run(GError **error)
{
	Subscription signals(
		connection_.get(), EVENTS_NAME, PRODUCER_INTERFACE, nullptr,
		nullptr,
		[](GDBusConnection *, const char *, const char *path,
		   const char *, const char *signal, GVariant *arguments,
		   gpointer self) {
			static_cast<Events *>(self)->on_signal(path, signal,
							       arguments);
		},
		this);

	return feed_.run([this] { find_producers(); },
			 [this] { declarations_.clear(); }, error);
}

bool run_events(Context &context, GError **error)
{
	ConnectionPtr connection = open_bus(error);

	return connection && Events(context, std::move(connection)).run(error);
}

} // namespace

const Command EVENTS_COMMAND = {
	"events",
	"",
	"show platform events as they are sent",
	"Shows the live declarations of every producer of events, then each\n"
	"declaration, withdrawal and event, until interrupted; says when the\n"
	"event service goes away and comes back. Waits for a service that is\n"
	"not there yet. --count leaves the declarations shown first out.\n"
	"\n"
	"JSON, an object in each line, told apart by \"type\"; each but\n"
	"\"presence\" has \"time\" (ISO 8601), \"producer\", \"id\" and "
	"\"topic\"\n"
	"(with name spaces):\n"
	"\"live\" (declared before), \"declared\": \"event_type\" and "
	"\"property\",\n"
	"  texts, empty when unset, \"keys\": {key: value}, \"nice_names\":\n"
	"  {key: {\"key\", \"value\"}}, \"namespaces\": {key: text},\n"
	"  \"tags\": {key: [text]}\n"
	"\"undeclared\"\n"
	"\"event\": \"keys\": {key: value}, topics included\n"
	"\"presence\": \"time\", \"running\": bool (the event service)",
	OPTION_COUNT | OPTION_FOR,
	0,
	0,
	run_events,
};

} // namespace orvadctl
