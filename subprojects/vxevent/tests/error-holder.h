#pragma once

#include "vxevent.h"

#include <gtest/gtest.h>

#include <string>

/// Receives the error of one call, for tests.
class ErrorHolder
{
public:
	ErrorHolder() = default;
	~ErrorHolder()
	{
		g_clear_error(&error_);
	}
	ErrorHolder(const ErrorHolder &) = delete;
	ErrorHolder &operator=(const ErrorHolder &) = delete;

	GError **operator&()
	{
		g_clear_error(&error_);
		return &error_;
	}
	/// Whether there is an error of the library with that code, with a text
	/// that can go anywhere.
	testing::AssertionResult is(EventError code) const
	{
		if (error_ == nullptr)
			return testing::AssertionFailure() << "no error";
		if (!g_error_matches(error_, EVENT_ERROR, code))
			return testing::AssertionFailure()
			       << g_quark_to_string(error_->domain) << " "
			       << error_->code << ": " << error_->message;
		if (!g_utf8_validate(error_->message, -1, nullptr))
			return testing::AssertionFailure() << "not UTF-8";
		return testing::AssertionSuccess();
	}
	bool is_set() const
	{
		return error_ != nullptr;
	}
	std::string text() const
	{
		return error_ != nullptr ? error_->message : "";
	}

private:
	GError *error_ = nullptr;
};

/// A text that is not valid UTF-8.
constexpr auto kNotUtf8 = "caf\xe9";
