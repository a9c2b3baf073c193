#pragma once

/// A directory of its own for one test, removed with everything in it.

#include "util/glib-ptr.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class TempDir
{
public:
	TempDir()
	{
		util::Error error;
		const util::CharPtr path(
			g_dir_make_tmp("orvad-test-XXXXXX", &error));
		EXPECT_FALSE(error) << error.message();
		if (path)
			path_ = path.get();
	}
	~TempDir()
	{
		std::filesystem::remove_all(path_);
	}
	TempDir(const TempDir &) = delete;
	TempDir &operator=(const TempDir &) = delete;

	/// The path of the entry @p name in it, made or not.
	std::string file(const std::string &name) const
	{
		return path_ + "/" + name;
	}

private:
	std::string path_;
};

/// Makes the contents of the file @p path be @p text; a file that is there
/// stays the same file.
inline void write_file(const std::string &path, const std::string &text)
{
	std::ofstream file(path, std::ios::binary | std::ios::trunc);
	file << text << std::flush;
	ASSERT_TRUE(file.good()) << path;
}

/// The contents of the file @p path.
inline std::string read_file(const std::string &path)
{
	std::ifstream file(path, std::ios::binary);
	EXPECT_TRUE(file.good()) << path;
	return std::string(std::istreambuf_iterator<char>(file), {});
}
