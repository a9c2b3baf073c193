#pragma once

/// Collects what is logged through g_log() while it lives, GLib's own
/// precondition warnings included. Any thread logs; one capture at a time.

#include <glib.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

class LogCapture
{
public:
	struct Message {
		/// An int, since GLogLevelFlags does not hold user levels.
		int level;
		std::string text;
		bool operator==(const Message &) const = default;
	};

	LogCapture() : previous_(g_log_set_default_handler(collect, this))
	{
	}
	~LogCapture()
	{
		g_log_set_default_handler(previous_, nullptr);
	}
	LogCapture(const LogCapture &) = delete;
	LogCapture &operator=(const LogCapture &) = delete;

	std::vector<Message> messages() const
	{
		const std::lock_guard guard(mutex_);
		return messages_;
	}
	/// The texts of the messages at @p level.
	std::vector<std::string> texts(int level) const
	{
		std::vector<std::string> result;
		for (const Message &message : messages())
			if (message.level == level)
				result.push_back(message.text);
		return result;
	}
	std::vector<std::string> warnings() const
	{
		return texts(G_LOG_LEVEL_WARNING);
	}
	void clear()
	{
		const std::lock_guard guard(mutex_);
		messages_.clear();
	}

private:
	static void collect(const char *, GLogLevelFlags level,
			    const char *text, gpointer user_data)
	{
		auto *self = static_cast<LogCapture *>(user_data);
		const std::lock_guard guard(self->mutex_);
		const int without_flags = level & G_LOG_LEVEL_MASK;
		self->messages_.push_back({without_flags, text ? text : ""});
	}

	mutable std::mutex mutex_;
	std::vector<Message> messages_;
	GLogFunc previous_;
};
