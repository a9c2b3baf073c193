#pragma once

/// The kernel's SPI devices, /dev/spidevX.Y, over the model
/// (Documentation/spi/spidev.rst of Linux 6.1).

#include "converters.h"
#include "node.h"

namespace simboard
{

class SpiFiles
{
public:
	/// Fills folder and powers the converters on, whose listener it
	/// becomes.
	/// @param converters, board must outlive this, and what was opened.
	SpiFiles(Converters &converters, const BoardDescription &board,
		 const std::shared_ptr<Folder> &folder);
	SpiFiles(const SpiFiles &) = delete;
	SpiFiles &operator=(const SpiFiles &) = delete;

private:
	void add(Converter &converter);

	Converters &converters_;
	const BoardDescription &board_;
	std::shared_ptr<Folder> folder_;
};

} // namespace simboard
