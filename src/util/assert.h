#pragma once

/// Programming errors. They end the process with GLib's assertion message,
/// which names the module and the expression; the module's name is part of
/// the message, so it is given and not taken from the source's file name.

#include <glib.h>

#define MODULE_ASSERT(module, expression)                                      \
	do {                                                                   \
		if (!(expression)) [[unlikely]]                                \
			g_assertion_message_expr(nullptr, module, __LINE__,    \
						 __func__, #expression);       \
	} while (0)

#define MODULE_ASSERT_NONNULL(module, expression)                              \
	do {                                                                   \
		if ((expression) == nullptr) [[unlikely]]                      \
			g_assertion_message(                                   \
				nullptr, module, __LINE__, __func__,           \
				"'" #expression "' should not be NULL");       \
	} while (0)

#define MODULE_ASSERT_NOT_REACHED(module)                                      \
	g_assertion_message_expr(nullptr, module, __LINE__, __func__, nullptr)

/// GLib's warning for a broken precondition, under the calling function's
/// plain name (GLib's own macro prints the whole C++ signature).
#define WARN_FAILED_PRECONDITION(expression)                                   \
	g_return_if_fail_warning(nullptr, __func__, expression)
