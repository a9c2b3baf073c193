#pragma once

/// The model of the alarm loops that a board's converters measure. Knows no
/// files. Belongs to the main loop's thread.

#include "board.h"
#include "circuit.h"
#include "converters.h"

namespace simboard
{

/// A loop, for reading; Loops changes it.
struct Loop {
	std::string name;
	Converter *converter = nullptr;
	unsigned address = 0;
	Circuit circuit;
	Line *line = nullptr; ///< Reads the same contact; null: none does.
	std::string state;    ///< Its word, ohms, or "raw".

	unsigned level() const
	{
		return converter->adc.level(address);
	}
};

class Loops
{
public:
	/// Every contact is as nobody has touched it.
	/// @param converters, board must outlive this.
	Loops(const BoardDescription &description, Converters &converters,
	      Board &board);
	Loops(const Loops &) = delete;
	Loops &operator=(const Loops &) = delete;

	std::map<std::string, Loop> &all()
	{
		return loops_;
	}
	/// Null when there is none.
	Loop *find(const std::string &name);
	Loop *find_contact(const Line &line);

	void set(Loop &loop, LoopState state);
	/// @param ohms at most MOST_OHMS.
	void set_ohms(Loop &loop, unsigned ohms);
	/// Sets what a channel reads, whatever is connected to it; a loop there
	/// is "raw" until it is set again.
	void set_raw(Converter &converter, unsigned address, unsigned level);

private:
	void add(const LoopDescription &description);
	void apply(Loop &loop, const std::string &state, unsigned level);
	/// Shows the contact to the line that reads it too.
	void move_contact(Loop &loop, bool open);

	Converters &converters_;
	Board &board_;
	std::map<std::string, Loop> loops_;
};

} // namespace simboard
