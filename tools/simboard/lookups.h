#pragma once

/// What the words of a command mean, for those who run it. Each of these ends
/// the reply when they mean nothing.

#include "commands.h"

namespace simboard
{

/// Text from a client, made safe to print.
std::string printable(const std::string &text);

/// Null, with the reply ended, when there is no such thing.
Line *find_line(Bench &bench, const std::string &text, const Reply &reply);
/// The same for one that nothing but a hand moves from outside.
Line *find_loose_line(Bench &bench, const std::string &text,
		      const Reply &reply);
Line *find_wired_line(Bench &bench, const std::string &text, Wiring wiring,
		      const Reply &reply);
Converter *find_converter(Bench &bench, const std::string &text,
			  const Reply &reply);
/// @param text DEVICE/NUMBER
IioChannel *find_channel(Bench &bench, const std::string &text,
			 const Reply &reply);
Loop *find_loop(Bench &bench, const std::string &text, const Reply &reply);

/// False, with the reply ended, when text is no number in that range.
bool parse_count(const std::string &text, unsigned least, unsigned most,
		 unsigned &count, const Reply &reply);

/// False, with the reply ended, when text is no number that the channel can
/// have.
bool parse_value(const std::string &text, const IioChannel &channel,
		 gint64 &value, const Reply &reply);

} // namespace simboard
