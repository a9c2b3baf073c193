#include "lookups.h"

#include "numbers.h"
#include "util/glib-ptr.h"

namespace simboard
{

std::string printable(const std::string &text)
{
	util::CharPtr escaped(g_strescape(text.c_str(), nullptr));

	return escaped.get();
}

Line *find_line(Bench &bench, const std::string &text, const Reply &reply)
{
	Line *line = bench.board.find_line(text);

	if (!line)
		reply.fail("there is no line %s", printable(text).c_str());
	return line;
}

Line *find_loose_line(Bench &bench, const std::string &text, const Reply &reply)
{
	Line *line = find_line(bench, text, reply);
	Loop *loop = line ? bench.loops.find_contact(*line) : nullptr;

	if (line && line->follows)
		reply.fail("%s follows %s", line->title().c_str(),
			   line->follows->title().c_str());
	else if (loop)
		reply.fail("%s is the contact of %s", line->title().c_str(),
			   loop->name.c_str());
	else
		return line;
	return nullptr;
}

Line *find_wired_line(Bench &bench, const std::string &text, Wiring wiring,
		      const Reply &reply)
{
	Line *line = find_line(bench, text, reply);

	if (!line || line->wiring == wiring)
		return line;
	reply.fail("%s is no %s", line->title().c_str(), word(wiring));
	return nullptr;
}

Converter *find_converter(Bench &bench, const std::string &text,
			  const Reply &reply)
{
	Converter *converter = bench.converters.find(text);

	if (!converter)
		reply.fail("there is no converter %s", printable(text).c_str());
	return converter;
}

IioChannel *find_channel(Bench &bench, const std::string &text,
			 const Reply &reply)
{
	IioChannel *channel = bench.iio.find_channel(text);

	if (!channel)
		reply.fail("there is no channel %s", printable(text).c_str());
	return channel;
}

Loop *find_loop(Bench &bench, const std::string &text, const Reply &reply)
{
	Loop *loop = bench.loops.find(text);

	if (!loop)
		reply.fail("there is no loop %s", printable(text).c_str());
	return loop;
}

bool parse_count(const std::string &text, unsigned least, unsigned most,
		 unsigned &count, const Reply &reply)
{
	guint64 number = 0;

	if (!parse_unsigned(text, least, most, number)) {
		reply.fail("%s is not a number from %u to %u",
			   printable(text).c_str(), least, most);
		return false;
	}
	count = static_cast<unsigned>(number);
	return true;
}

bool parse_value(const std::string &text, const IioChannel &channel,
		 gint64 &value, const Reply &reply)
{
	const ScanType &type = channel.device->description.scan;

	if (parse_signed(text, type.lowest(), type.highest(), value))
		return true;
	reply.fail("%s is not a number from %" G_GINT64_FORMAT
		   " to %" G_GINT64_FORMAT,
		   printable(text).c_str(), type.lowest(), type.highest());
	return false;
}

} // namespace simboard
