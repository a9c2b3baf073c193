#include "vxevent.h"

#include "bus.h"
#include "errors.h"

using namespace vxevent;

struct EventProducer {
	const std::shared_ptr<Producer> producer;
};

EventProducer *event_producer_new(const gchar *name)
{
	g_return_val_if_fail(name != nullptr && Producer::is_name(name),
			     nullptr);
	auto *const producer = new EventProducer{Producer::create(name)};
	Bus::instance().attach(producer->producer);
	return producer;
}

void event_producer_free(EventProducer *producer)
{
	if (producer == nullptr)
		return;
	Bus::instance().detach(producer->producer);
	delete producer;
}

guint32 event_producer_declare(EventProducer *producer,
			       const EventDeclaration *declaration,
			       GError **error)
{
	if (!check_given(producer, "producer", error) ||
	    !check_given(declaration, "declaration", error))
		return 0;
	return producer->producer->declare(*declaration, error);
}

gboolean event_producer_undeclare(EventProducer *producer, guint32 id,
				  GError **error)
{
	return check_given(producer, "producer", error) &&
	       producer->producer->undeclare(id, error);
}

Event *event_producer_prepare_event(EventProducer *producer, guint32 id,
				    GError **error)
{
	if (!check_given(producer, "producer", error))
		return nullptr;
	return producer->producer->prepare_event(id, error).release();
}

gboolean event_producer_send_event(EventProducer *producer, const Event *event,
				   GError **error)
{
	return check_given(producer, "producer", error) &&
	       check_given(event, "event", error) &&
	       producer->producer->send_event(*event, error);
}
