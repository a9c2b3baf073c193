#pragma once

#include "output.h"
#include "util/glib-ptr.h"

#include <cstdio>
#include <memory>
#include <string>

namespace orvadctl
{

/// The file that a recording goes to. One that is there already keeps its
/// contents until clear().
class VcdFile
{
public:
	/// Opens a file for writing, and makes one that is not there.
	/// @param path "-" stands for standard output.
	/// @param standard_output must outlive this.
	/// @returns null with error set when that fails.
	static std::unique_ptr<VcdFile>
	open(const std::string &path, Output &standard_output, GError **error);

	Output &output()
	{
		return own_ ? *own_ : standard_output_;
	}
	/// Whether this is standard output.
	bool is_standard_output() const
	{
		return !own_;
	}

	/// Drops what the file held before.
	bool clear(GError **error);

	/// Ends writing. False with error set when anything could not be
	/// written, except that its reader is gone, which is no failure. About
	/// standard output, whoever owns it tells.
	bool close(GError **error);

private:
	using FilePtr = util::Handle<FILE, fclose>;

	VcdFile(std::string path, FilePtr file, Output &standard_output);

	std::string path_;
	FilePtr file_;
	Output &standard_output_;
	std::unique_ptr<Output> own_;
};

} // namespace orvadctl
