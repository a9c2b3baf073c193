#pragma once

#include "event.h"

#include <map>
#include <memory>

namespace vxevent
{

/// A declaration between its declaring and its withdrawal.
struct LiveDeclaration {
	std::shared_ptr<const EventDeclaration> declaration;
	/// The last value of each key: the one sent, or else declared.
	Values last_values;
};

/// The live declarations of one producer, by id. Not thread-safe.
class LiveDeclarations
{
public:
	/// Ids are given from first_id on.
	explicit LiveDeclarations(guint32 first_id = 1) : next_id_(first_id)
	{
	}

	/// Adds a copy. Its id; 0 with EVENT_ERROR_INVALID when every id has
	/// been used.
	guint32 add(const EventDeclaration &declaration, GError **error);

	/// Fails with EVENT_ERROR_NOT_DECLARED.
	bool remove(guint32 id, GError **error);

	/// Null with EVENT_ERROR_NOT_DECLARED.
	LiveDeclaration *find(guint32 id, GError **error);

	/// The values that event, made on a live declaration of this producer,
	/// is sent with; they become the last values. Fails with
	/// EVENT_ERROR_NOT_DECLARED.
	std::optional<Values> take_event(const Event &event, GError **error);

	void clear()
	{
		declarations_.clear();
	}
	const std::map<guint32, LiveDeclaration> &all() const
	{
		return declarations_;
	}

private:
	// Wider than an id: the one after the last id is no id.
	guint64 next_id_;
	std::map<guint32, LiveDeclaration> declarations_;
};

/// values with those of over in place of its own.
Values overlaid(Values values, const Values &over);

} // namespace vxevent
