#include "producer.h"

#include "errors.h"

#include <cstring>
#include <utility>

namespace vxevent
{

namespace
{

constexpr auto kPathPrefix = "/org/orvad/Events1/";

// Bytes. Half of what a bus takes as a rule before it disconnects the sender
// (max_message_size in dbus-daemon(1)).
constexpr gsize kLargestBody = 16 * 1024 * 1024;

bool fits(GVariant *body)
{
	return g_variant_get_size(body) <= kLargestBody;
}

// What the object's handlers are given: the object may be asked after its
// producer has gone, and must not keep it.
using ProducerLink = std::weak_ptr<Producer>;

std::shared_ptr<Producer> producer_of(gpointer link)
{
	return static_cast<ProducerLink *>(link)->lock();
}

void free_link(gpointer link, GClosure *) noexcept
{
	delete static_cast<ProducerLink *>(link);
}

// FALSE from a handler: the object answers that it has no such method.

gboolean on_handle_list_declarations(VxeventProducer *,
				     GDBusMethodInvocation *invocation,
				     gpointer link) noexcept
{
	const auto producer = producer_of(link);
	if (!producer)
		return FALSE;
	producer->list_declarations(invocation);
	return TRUE;
}

gboolean on_handle_get_state(VxeventProducer *,
			     GDBusMethodInvocation *invocation, guint id,
			     gpointer link) noexcept
{
	const auto producer = producer_of(link);
	if (!producer)
		return FALSE;
	producer->get_state(invocation, id);
	return TRUE;
}

void connect(VxeventProducer *object, const char *signal, GCallback handler,
	     const std::shared_ptr<Producer> &producer)
{
	g_signal_connect_data(object, signal, handler,
			      new ProducerLink(producer), free_link,
			      GConnectFlags(0));
}

// The emitting functions do not take a floating variant over.
VariantPtr sunk(GVariant *variant)
{
	return VariantPtr(g_variant_ref_sink(variant));
}

} // namespace

void Producer::ReleaseInMainLoop::operator()(VxeventProducer *object) const
{
	g_idle_add_full(
		G_PRIORITY_DEFAULT,
		[](gpointer) -> gboolean { return G_SOURCE_REMOVE; }, object,
		g_object_unref);
}

bool Producer::is_name(const char *name)
{
	const auto path = kPathPrefix + std::string(name);
	return std::strchr(name, '/') == nullptr &&
	       g_variant_is_object_path(path.c_str());
}

std::shared_ptr<Producer> Producer::create(const char *name)
{
	const std::shared_ptr<Producer> producer(new Producer(name));
	auto *const object = producer->object_.get();
	connect(object, "handle-list-declarations",
		G_CALLBACK(on_handle_list_declarations), producer);
	connect(object, "handle-get-state", G_CALLBACK(on_handle_get_state),
		producer);
	return producer;
}

Producer::Producer(const char *name)
	: path_(std::string(kPathPrefix) + name),
	  object_(vxevent_producer_skeleton_new())
{
}

guint32 Producer::declare(const EventDeclaration &declaration, GError **error)
{
	const std::lock_guard lock(mutex_);
	const auto description = sunk(describe(declaration));
	if (!fits(description.get())) {
		refuse(error, EVENT_ERROR_INVALID,
		       "The declaration's texts are too long");
		return 0;
	}
	const auto id = declarations_.add(declaration, error);
	if (id != 0)
		vxevent_producer_emit_declared(object_.get(), id,
					       description.get());
	return id;
}

bool Producer::undeclare(guint32 id, GError **error)
{
	const std::lock_guard lock(mutex_);
	if (!declarations_.remove(id, error))
		return false;
	vxevent_producer_emit_undeclared(object_.get(), id);
	return true;
}

std::unique_ptr<Event> Producer::prepare_event(guint32 id, GError **error)
{
	const std::lock_guard lock(mutex_);
	const auto *const live = declarations_.find(id, error);
	if (live == nullptr)
		return nullptr;
	return std::make_unique<Event>(id, live->declaration);
}

bool Producer::send_event(const Event &event, GError **error)
{
	const std::lock_guard lock(mutex_);
	const auto values = declarations_.take_event(event, error);
	if (!values)
		return false;
	vxevent_producer_emit_event(object_.get(), event.id,
				    sunk(variant_of(*values)).get());
	return true;
}

void Producer::publish(GDBusConnection *connection)
{
	const std::lock_guard lock(mutex_);
	if (published_)
		return;
	Error error;
	if (!g_dbus_interface_skeleton_export(
		    G_DBUS_INTERFACE_SKELETON(object_.get()), connection,
		    path_.c_str(), &error)) {
		g_warning("Could not publish %s: %s", path_.c_str(),
			  error.message());
		return;
	}
	published_ = true;
	for (const auto &[id, live] : declarations_.all())
		vxevent_producer_emit_declared(
			object_.get(), id,
			sunk(describe(*live.declaration)).get());
}

void Producer::withdraw()
{
	const std::lock_guard lock(mutex_);
	for (const auto &[id, live] : declarations_.all())
		vxevent_producer_emit_undeclared(object_.get(), id);
	declarations_.clear();
	if (std::exchange(published_, false))
		g_dbus_interface_skeleton_unexport(
			G_DBUS_INTERFACE_SKELETON(object_.get()));
}

void Producer::list_declarations(GDBusMethodInvocation *invocation)
{
	const std::lock_guard lock(mutex_);
	GVariantBuilder builder;
	g_variant_builder_init(&builder, G_VARIANT_TYPE("a(ua{sv})"));
	for (const auto &[id, live] : declarations_.all())
		g_variant_builder_add(&builder, "(u@a{sv})", id,
				      describe(*live.declaration));
	const auto list = sunk(g_variant_builder_end(&builder));
	if (!fits(list.get())) {
		g_dbus_method_invocation_return_error_literal(
			invocation, G_DBUS_ERROR, G_DBUS_ERROR_LIMITS_EXCEEDED,
			"The declarations are too long for one reply");
		return;
	}
	vxevent_producer_complete_list_declarations(object_.get(), invocation,
						    list.get());
}

void Producer::get_state(GDBusMethodInvocation *invocation, guint32 id)
{
	Error error;
	const auto answer = ask_getter(id, &error);

	const std::lock_guard lock(mutex_);
	// The declaration may have been withdrawn while the getter ran.
	const auto *const live =
		answer ? declarations_.find(id, &error) : nullptr;
	if (live == nullptr) {
		g_dbus_method_invocation_return_error_literal(
			invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS,
			error.message());
		return;
	}
	const auto values =
		overlaid(live->last_values, answer->inspectable.values());
	vxevent_producer_complete_get_state(object_.get(), invocation,
					    variant_of(values));
}

std::unique_ptr<Event> Producer::ask_getter(guint32 id, GError **error)
{
	auto answer = prepare_event(id, error);
	if (!answer)
		return nullptr;
	const auto &declaration = *answer->declaration;
	if (declaration.getter != nullptr &&
	    !declaration.getter(answer.get(), declaration.user_data))
		answer->inspectable.clear_values();
	return answer;
}

} // namespace vxevent
