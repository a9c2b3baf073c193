#pragma once

/// The model of the alarm loops that a board's converters measure. Knows no
/// files. Belongs to the main loop's thread.

#include "board.h"
#include "circuit.h"
#include "converters.h"
#include "iio.h"

namespace simboard
{

/// A loop, for reading; Loops changes it.
struct Loop {
	std::string name;
	/// What measures it; the other one is null.
	Converter *converter = nullptr;
	IioChannel *channel = nullptr;
	unsigned address = 0;
	Circuit circuit;
	Line *line = nullptr; ///< Reads the same contact; null: none does.
	std::string state;    ///< Its word, ohms, or "raw".

	gint64 level() const;
	/// The level of nothing there.
	unsigned full_scale() const;
	/// How often its level was read.
	guint64 readings() const;
	const std::string &converter_name() const;
};

class Loops
{
public:
	/// Every contact is as nobody has touched it.
	/// @param converters, iio, board must outlive this.
	Loops(const BoardDescription &description, Converters &converters,
	      Iio &iio, Board &board);
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
	void set_raw(IioChannel &channel, gint64 value);

private:
	void add(const LoopDescription &description);
	void apply(Loop &loop, const std::string &state, gint64 level);
	/// Shows the contact to the line that reads it too.
	void move_contact(Loop &loop, bool open);

	Converters &converters_;
	Iio &iio_;
	Board &board_;
	std::map<std::string, Loop> loops_;
};

} // namespace simboard
