#pragma once

#include "output.h"
#include "util/glib-ptr.h"

#include <cstdio>
#include <memory>
#include <string>

namespace orvadctl
{

/// The file that a recording goes to. Until begin() nothing becomes of it: one
/// that is there already keeps its contents, and none is made.
class VcdFile
{
public:
	/// Opens a file for writing, or finds out whether one that is not there
	/// could be made.
	/// @param path "-" stands for standard output.
	/// @param standard_output must outlive this.
	/// @returns null with error set when that fails.
	static std::unique_ptr<VcdFile>
	open(const std::string &path, Output &standard_output, GError **error);

	/// Where to write to: null when the file has to be made first.
	Output *output()
	{
		return is_standard_output() ? &standard_output_ : own_.get();
	}
	bool is_standard_output() const;

	/// Makes the file, or drops what it held before. There is an output()
	/// then. False with error set when that fails.
	bool begin(GError **error);

	/// Ends writing. False with error set when anything could not be
	/// written, except that its reader is gone, which is no failure. About
	/// standard output, whoever owns it tells.
	bool close(GError **error);

private:
	using FilePtr = util::Handle<FILE, fclose>;

	VcdFile(std::string path, Output &standard_output);
	bool open_own();
	bool clear() const;

	std::string path_;
	FilePtr file_;
	Output &standard_output_;
	std::unique_ptr<Output> own_;
};

} // namespace orvadctl
