#pragma once

#include <string>

namespace orvadctl
{

/// Whether a service is there, in sentences.
class Presence
{
public:
	/// @param title what to call the service.
	explicit Presence(const char *title);

	/// Takes down whether the service is there now.
	/// @returns what to tell about it; empty when it is as it was, or is
	///          there from the beginning.
	std::string update(bool there);

private:
	enum class State { UNKNOWN, THERE, GONE };

	const char *title_;
	State state_ = State::UNKNOWN;
};

} // namespace orvadctl
