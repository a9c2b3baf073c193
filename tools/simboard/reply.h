#pragma once

/// The answer to one command on the control socket: any lines, then the status.
/// See control.h for how they are written.

#include <glib.h>

#include <functional>
#include <string>

namespace simboard
{

/// May be copied and kept until the command is done; exactly one call of
/// done() or fail() ends it.
class Reply
{
public:
	/// Gets whole lines with their line breaks; last is whether the answer
	/// ends with them. Returns whether there is still somebody to read it.
	using Write = std::function<bool(const std::string &text, bool last)>;

	explicit Reply(Write write) : write_(std::move(write))
	{
	}

	/// False when nobody reads it any more.
	bool line(const std::string &text) const;
	void done() const;
	/// @param format a sentence without a line break.
	void fail(const char *format, ...) const G_GNUC_PRINTF(2, 3);

private:
	Write write_;
};

} // namespace simboard
