#pragma once

#include <string>

namespace orvadctl
{

/// A picture of a few lines at the end of what a terminal shows, drawn over in
/// place. Nothing of the terminal is changed for it, hence nothing is to be
/// restored: the cursor waits below the picture, which stays there at the end.
class Drawing
{
public:
	/// What to write so that frame takes the place of the picture.
	/// @param frame lines, each but the last ended by a line break; the
	///        caller writes the last one's. Colours are its only control
	///        sequences.
	/// @param columns how wide the terminal is now. It may have been wider:
	///        many a terminal has wrapped the lines of the picture then.
	std::string replace(const std::string &frame, std::size_t columns);

	/// Whether frame is what the terminal shows already.
	bool shows(const std::string &frame) const
	{
		return frame == drawn_;
	}

	/// From now on the picture stays; the next one comes below it.
	void leave()
	{
		drawn_.clear();
	}

private:
	std::string drawn_; ///< Empty: nothing to draw over.
};

} // namespace orvadctl
