#pragma once

#include <gtest/gtest.h>

#include <glib.h>

/// Fails the test for every message that is logged while this lives.
class ExpectSilence
{
public:
	ExpectSilence()
		: previous_(g_log_set_default_handler(on_message, nullptr))
	{
	}
	~ExpectSilence()
	{
		g_log_set_default_handler(previous_, nullptr);
	}
	ExpectSilence(const ExpectSilence &) = delete;
	ExpectSilence &operator=(const ExpectSilence &) = delete;

private:
	static void on_message(const gchar *, GLogLevelFlags,
			       const gchar *message, gpointer)
	{
		ADD_FAILURE() << message;
	}

	GLogFunc previous_;
};
