#include "command-groups.h"

#include "error.h"
#include "lookups.h"

#include <functional>

namespace simboard
{

namespace
{

/// The accesses that a command is about: the one in words, else all.
/// @param all their number.
/// @return none, with the reply ended, when the word is none of words.
template <typename Access>
std::vector<Access>
find_accesses(const Words &words,
	      std::optional<Access> (*from_word)(std::string_view),
	      std::size_t all, const std::string &known, const Reply &reply)
{
	std::vector<Access> accesses;

	if (words.size() > 2) {
		auto access = from_word(words[2]);
		if (access)
			accesses.push_back(*access);
		else
			reply.fail("%s is not %s", printable(words[2]).c_str(),
				   known.c_str());
		return accesses;
	}
	for (std::size_t i = 0; i < all; ++i)
		accesses.push_back(static_cast<Access>(i));
	return accesses;
}

void fail_line(Bench &bench, Line &line, int number, const Words &words,
	       const Reply &reply)
{
	auto accesses = find_accesses(words, access_from_word, ACCESS_COUNT,
				      access_words(), reply);

	for (Access access : accesses)
		bench.board.set_fault(line, access, number);
	if (!accesses.empty())
		reply.done();
}

void fail_converter(Bench &bench, Converter &converter, int number,
		    const Words &words, const Reply &reply)
{
	auto accesses =
		find_accesses(words, spi_access_from_word, SPI_ACCESS_COUNT,
			      spi_access_words(), reply);

	for (SpiAccess access : accesses)
		bench.converters.set_fault(converter, access, number);
	if (!accesses.empty())
		reply.done();
}

bool can_be_short(IioAccess access)
{
	return access == IioAccess::READ || access == IioAccess::EVENT;
}

void fail_iio(Bench &bench, IioDevice &device, int number, const Words &words,
	      const Reply &reply)
{
	if (words.size() > 2 && number != SHORT_READ &&
	    device.file_faults.contains(words[2])) {
		bench.iio.set_file_fault(device, words[2], number);
		return reply.done();
	}
	auto accesses =
		find_accesses(words, iio_access_from_word, IIO_ACCESS_COUNT,
			      iio_access_words() + ", or an attribute", reply);
	if (accesses.empty())
		return;
	if (number == SHORT_READ)
		std::erase_if(accesses, std::not_fn(can_be_short));
	if (accesses.empty())
		return reply.fail("only read and event can be short");
	for (IioAccess access : accesses)
		bench.iio.set_fault(device, access, number);
	reply.done();
}

void run_fail(Bench &bench, const Words &words, const Reply &reply)
{
	Converter *converter = bench.converters.find(words[0]);
	Line *line = bench.board.find_line(words[0]);
	IioDevice *iio = bench.iio.find(words[0]);
	bool is_short = iio && words[1] == SHORT_WORD;
	int number = is_short ? SHORT_READ : errno_from_text(words[1].c_str());

	if (!converter && !line && !iio)
		reply.fail("there is no line and no converter %s",
			   printable(words[0]).c_str());
	else if (number == 0 && words[1] != "none")
		reply.fail("%s is no error", printable(words[1]).c_str());
	else if (iio)
		fail_iio(bench, *iio, number, words, reply);
	else if (converter)
		fail_converter(bench, *converter, number, words, reply);
	else
		fail_line(bench, *line, number, words, reply);
}

void set_plugged(Bench &bench, const std::string &text, bool plugged,
		 const Reply &reply)
{
	Chip *chip = bench.board.find_chip(text);
	Converter *converter = bench.converters.find(text);
	IioDevice *iio = bench.iio.find(text);
	Line *line = bench.board.find_line(text);

	if (chip)
		bench.board.set_plugged(*chip, plugged);
	else if (converter)
		bench.converters.set_plugged(*converter, plugged);
	else if (iio)
		bench.iio.set_plugged(*iio, plugged);
	else if (line)
		bench.board.set_plugged(*line, plugged);
	else
		return reply.fail("there is no chip, line or converter %s",
				  printable(text).c_str());
	reply.done();
}

void run_unplug(Bench &bench, const Words &words, const Reply &reply)
{
	set_plugged(bench, words[0], false, reply);
}

void run_plug(Bench &bench, const Words &words, const Reply &reply)
{
	set_plugged(bench, words[0], true, reply);
}

constexpr BoardCommand PART_COMMANDS[] = {
	{"fail",
	 "LINE ERRNO|none [read|write|export] | "
	 "CONVERTER ERRNO|none [transfer|ioctl|open] | IIO ERRNO|SHORT|none "
	 "[read|event|attribute|write|ioctl|open|ATTRIBUTE]",
	 "make the use of its files fail, or work again", 2, 3, run_fail},
	{"unplug", "CHIP|LINE|CONVERTER|IIO", "take it from its driver", 1, 1,
	 run_unplug},
	{"plug", "CHIP|LINE|CONVERTER|IIO", "give it back", 1, 1, run_plug},
};

} // namespace

std::span<const BoardCommand> part_commands()
{
	return PART_COMMANDS;
}

} // namespace simboard
