#pragma once

#include "util/scoped-source.h"

#include <functional>

/// Runs the default main context until @p condition holds; false when it does
/// not within a time that only a failure takes.
inline bool wait_until(const std::function<bool()> &condition)
{
	constexpr guint kDeadlineMs = 20000;
	bool expired = false;
	const auto expire = [](gpointer flag) -> gboolean {
		*static_cast<bool *>(flag) = true;
		return G_SOURCE_CONTINUE;
	};
	const util::ScopedSource deadline(
		g_timeout_add(kDeadlineMs, expire, &expired));
	while (!expired && !condition())
		g_main_context_iteration(nullptr, TRUE);
	return !expired;
}
