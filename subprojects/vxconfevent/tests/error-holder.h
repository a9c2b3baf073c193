#pragma once

#include "vxconfevent.h"

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
	/// Whether there is an error of the library with that code and text.
	testing::AssertionResult is(ConfigurationError code,
				    const std::string &text) const
	{
		if (error_ == nullptr)
			return testing::AssertionFailure() << "no error";
		if (!g_error_matches(error_, CONFIGURATION_ERROR, code) ||
		    text != error_->message)
			return testing::AssertionFailure()
			       << g_quark_to_string(error_->domain) << " "
			       << error_->code << ": " << error_->message;
		return testing::AssertionSuccess();
	}
	bool is_set() const
	{
		return error_ != nullptr;
	}

private:
	GError *error_ = nullptr;
};
