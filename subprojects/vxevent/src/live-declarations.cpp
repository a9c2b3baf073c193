#include "live-declarations.h"

#include "errors.h"

#include <utility>

namespace vxevent
{

guint32 LiveDeclarations::add(const EventDeclaration &declaration,
			      GError **error)
{
	if (next_id_ > G_MAXUINT32) {
		refuse(error, EVENT_ERROR_INVALID, "No id is left");
		return 0;
	}
	const auto id = static_cast<guint32>(next_id_++);
	declarations_.emplace(
		id,
		LiveDeclaration{std::make_shared<EventDeclaration>(declaration),
				declaration.inspectable.values()});
	return id;
}

bool LiveDeclarations::remove(guint32 id, GError **error)
{
	if (find(id, error) == nullptr)
		return false;
	declarations_.erase(id);
	return true;
}

LiveDeclaration *LiveDeclarations::find(guint32 id, GError **error)
{
	const auto found = declarations_.find(id);
	if (found == declarations_.end()) {
		refuse(error, EVENT_ERROR_NOT_DECLARED,
		       "There is no declaration with the id %u", id);
		return nullptr;
	}
	return &found->second;
}

std::optional<Values> LiveDeclarations::take_event(const Event &event,
						   GError **error)
{
	auto *const live = find(event.id, error);
	if (live == nullptr)
		return std::nullopt;
	// Another producer may have given the same id.
	if (live->declaration != event.declaration) {
		refuse(error, EVENT_ERROR_NOT_DECLARED,
		       "The event is of another producer");
		return std::nullopt;
	}
	auto sent = overlaid(live->declaration->inspectable.values(),
			     event.inspectable.values());
	live->last_values = overlaid(std::move(live->last_values), sent);
	return sent;
}

Values overlaid(Values values, const Values &over)
{
	for (const auto &[key, value] : over)
		values.insert_or_assign(key, value);
	return values;
}

} // namespace vxevent
