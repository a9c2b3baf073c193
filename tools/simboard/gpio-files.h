#pragma once

/// The files of the kernel's GPIO interface, /sys/class/gpio, over the model
/// (Documentation/admin-guide/gpio/sysfs.rst of Linux 6.1).

#include "attribute.h"
#include "board.h"
#include "util/scoped-source.h"

namespace simboard
{

class GpioFiles
{
public:
	/// Fills folder and powers the board on, whose listener it becomes.
	/// @param board, folder must outlive this.
	GpioFiles(Board &board, const std::shared_ptr<Folder> &folder);
	GpioFiles(const GpioFiles &) = delete;
	GpioFiles &operator=(const GpioFiles &) = delete;

private:
	/// An exported line.
	struct Exported {
		std::shared_ptr<Folder> folder;
		AttributePtr value; ///< Null until it appears.
		util::ScopedSource delay;
	};
	/// A step that is due after a delay.
	struct Step {
		GpioFiles *files;
		Line *line;
		void (GpioFiles::*run)(Line &line);
	};

	void add_control(const std::string &name,
			 int (Board::*change)(long number, Actor actor));
	void add_chip(const Chip &chip);
	void add_line(Line &line);
	void remove_line(Line &line);
	void fill_line(Line &line);
	void give_to_group(Line &line);
	void run_later(Line &line, unsigned delay_ms,
		       void (GpioFiles::*run)(Line &line));
	void add_file(Line &line, const std::string &name, Attribute::Show show,
		      Attribute::Store store);
	void notify(Line &line);

	Board &board_;
	std::shared_ptr<Folder> folder_;
	std::map<const Line *, Exported> exported_;
};

} // namespace simboard
